// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <exception>
#include <filesystem>
#include <gmock/gmock.h>
#include <map>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "opc/ConfinedFileSystemOps.hpp"
#include "opc/ForwardingFileSystemOps.hpp"
#include "services/tree/EncryptionTestSupport.hpp"

namespace {

using namespace zt_test;
using namespace opc::ztservices;
namespace fs = std::filesystem;

constexpr std::size_t kFiles = 300, kFailing = 150, kFilesOfFolder = 50;

std::u16string nameOfFile(std::size_t i) {
  return numbered(u"/d", 10 + i / kFilesOfFolder) + numbered(u"/f", 1000 + i);
}

void addRestorable(FileSystemManager& manager, std::u16string const& path, std::string const& text) {
  manager.addFile(std::make_unique<TextSource>(text), path, opc::Perms::Perms_tag(0640), kTime);
}

/// Many small files, two others, a link and an empty folder.
void fill(FileSystemManager& manager, std::size_t bytesOfOthers = 100) {
  for (std::size_t i = 0; i < kFiles; ++i) addRestorable(manager, nameOfFile(i), std::to_string(i));
  std::string text;
  while (text.size() < bytesOfOthers) text += std::to_string(text.size()) + " ";
  addRestorable(manager, u"/d12/long", text);
  addRestorable(manager, u"/z", text.substr(10));
  manager.createLink(u"/d13/link", u"f1000");
  manager.createFolder(u"/d14/empty");
}

constexpr std::size_t kInChunks = 9'000'000;

/// What lies below a folder: the contents of files with their permissions and times, and the targets of links.
std::map<std::string, std::string> treeBelow(fs::path const& root) {
  std::map<std::string, std::string> tree;
  for (auto const& entry : fs::recursive_directory_iterator(root)) {
    std::string const name = entry.path().lexically_relative(root).string();
    std::u16string const path = opc::toString(entry.path().string());
    if (entry.is_symlink())
      tree[name] = "-> " + fs::read_symlink(entry.path()).string();
    else if (entry.is_directory())
      tree[name] = "/";
    else
      tree[name] = std::to_string(permissionsOf(path)) + opc::toUTF8String(opc::convertTimeToString(timeOf(path))) +
                   readFile(entry.path());
  }
  return tree;
}

/// The files of treeBelow() alone: folders may be made ahead.
std::set<std::string> filesBelow(fs::path const& root) {
  std::set<std::string> files;
  for (auto const& [name, text] : treeBelow(root))
    if (text != "/") files.insert(name);
  return files;
}

/// A disk that nobody knows to be thread-safe. It notes the threads that use it.
class OwnDisk final : public opc::ForwardingFileSystemOps {
 public:
  using opc::ForwardingFileSystemOps::ForwardingFileSystemOps;

  std::unique_ptr<opc::FileOutputStream> createForRestoring(std::u16string const& path,
                                                            opc::Perms::Perms_tag permissions,
                                                            boost::posix_time::ptime const& time,
                                                            ErrorCode& error) override {
    threads.insert(std::this_thread::get_id());
    return inner().createForRestoring(path, permissions, time, error);
  }

  std::set<std::thread::id> threads;
};

/// Extracts with that many threads to a folder of its own.
class ExtractionThreads : public testing::TestWithParam<std::size_t> {
 protected:
  fs::path root() const { return directory / "root"; }
  std::u16string rootName() const { return directory.u16("root"); }

  /// Extracts what the source holds, or some of it; returns the text of the exception that ends it.
  std::string extracted(opc::FileSystemOps& disk, RestoreMode restore = kRestore,
                        std::vector<std::u16string> paths = {}) {
    auto const package = reopen(*source.package, AccessMode::ReadOnly);
    FileSystemManager manager(*package, disk, disk);
    manager.enableDecryption(testKey());
    manager.setExtractionThreads(GetParam());
    std::vector<FileSystemEntry> entries;
    for (auto const& path : paths) entries.push_back(manager.getEntry(path));
    try {
      if (entries.empty())
        manager.extractAll(rootName(), restore, TransformMode::Transform);
      else
        manager.extractEntries(rootName(), entries, restore, TransformMode::Transform);
    } catch (opc::Exception const& failure) {
      return failure.what();
    }
    return "";
  }
  /// The files of the first entries, in the order of their paths.
  static std::set<std::string> firstFiles(std::size_t count) {
    std::set<std::string> files;
    for (std::size_t i = 0; i < count; ++i) files.insert(opc::toUTF8String(nameOfFile(i)).substr(1));
    return files;
  }

  static std::set<std::string> filesBeforeTheFailing() {
    auto files = firstFiles(kFailing);
    files.insert("d12/long");
    return files;
  }

  NewFileSystem source;
  TemporaryDirectory directory;
};

INSTANTIATE_TEST_SUITE_P(OfExtraction, ExtractionThreads, testing::Values(0, 1, 3),
                         [](auto const& threads) { return "Threads" + std::to_string(threads.param); });

TEST_P(ExtractionThreads, MakeTheSameTreeOnEveryDisk) {
  fill(source.manager, kInChunks);
  source.manager.extractAll(directory.u16("expected"), kRestore, TransformMode::None);
  auto const expected = treeBelow(directory / "expected");
  ASSERT_EQ(expected.size(), kFiles + 6 + 4);  // with six folders, two long files, a link and an empty folder
  opc::ConfinedFileSystemOps confined(rootName());
  opc::LocalFileSystemOps local;
  OwnDisk own(local);
  for (opc::FileSystemOps* const disk :
       {static_cast<opc::FileSystemOps*>(&confined), static_cast<opc::FileSystemOps*>(&local),
        static_cast<opc::FileSystemOps*>(&own)}) {
    EXPECT_EQ(extracted(*disk), "");
    EXPECT_TRUE(treeBelow(root()) == expected);
    for (auto const& entry : fs::directory_iterator(root())) fs::remove_all(entry);
  }
}

TEST_P(ExtractionThreads, MakeTheSameTreeWithoutTimesAndPermissions) {
  fill(source.manager);
  opc::ConfinedFileSystemOps disk(rootName());
  EXPECT_EQ(extracted(disk, RestoreMode::None), "");
  EXPECT_EQ(readFile(root() / "d12/f1100"), "100");
  EXPECT_EQ(filesBelow(root()).size(), kFiles + 3);
}

TEST_P(ExtractionThreads, UseADiskOfAnApplicationOnTheCallersThreadAlone) {
  fill(source.manager);
  opc::LocalFileSystemOps local;
  OwnDisk disk(local);
  EXPECT_EQ(extracted(disk), "");
  EXPECT_EQ(disk.threads, std::set{std::this_thread::get_id()});
}

TEST_P(ExtractionThreads, EndAtAMissingPartAsOneThreadDoes) {
  fill(source.manager);
  source.package->deletePart(PartName(u"/fsroot" + nameOfFile(kFailing)));
  opc::ConfinedFileSystemOps disk(rootName());
  EXPECT_EQ(extracted(disk), "Part not found: /fsroot/d13/f1150");
  EXPECT_EQ(filesBelow(root()), filesBeforeTheFailing());
}

TEST_P(ExtractionThreads, EndAtAFolderInTheWayAsOneThreadDoes) {
  fill(source.manager);
  fs::create_directories(root() / "d13/f1150");
  opc::ConfinedFileSystemOps disk(rootName());
  EXPECT_EQ(extracted(disk), "Could not create file: " + (root() / "d13/f1150").string());
  EXPECT_EQ(filesBelow(root()), filesBeforeTheFailing());
}

TEST_P(ExtractionThreads, RefuseTheSecondOfTwoEqualEntriesAsOneThreadDoes) {
  fill(source.manager);
  std::vector<std::u16string> paths;
  for (std::size_t i = 0; i < 40; ++i) paths.push_back(nameOfFile(i));
  paths[30] = paths[3];
  opc::ConfinedFileSystemOps disk(rootName(), {.replaceExisting = false});
  EXPECT_EQ(extracted(disk, kRestore, paths), "Could not create file: " + (root() / "d10/f1003").string());
  EXPECT_EQ(filesBelow(root()), firstFiles(30));
}

TEST_P(ExtractionThreads, HandOutFaultsInTheOrderOfTheEntries) {
  fill(source.manager);
  for (std::size_t const i : {5u, 140u, 250u}) source.package->deletePart(PartName(u"/fsroot" + nameOfFile(i)));
  auto const package = reopen(*source.package, AccessMode::ReadOnly);
  opc::ConfinedFileSystemOps disk(rootName());
  fs::create_directories(root() / "d11/f1080");
  FileSystemManager manager(*package, disk, disk);
  manager.setExtractionThreads(GetParam());
  std::vector<std::u16string> faults;
  auto const owner = std::this_thread::get_id();
  manager.extractEntries(rootName(), manager.getAllLeafs(), kRestore, TransformMode::None,
                         [&](FileSystemEntry const& entry, std::exception_ptr const&) {
                           EXPECT_EQ(std::this_thread::get_id(), owner);
                           faults.push_back(entry.getPathName());
                         });
  EXPECT_EQ(faults, (std::vector{nameOfFile(5), nameOfFile(80), nameOfFile(140), nameOfFile(250)}));
  EXPECT_EQ(filesBelow(root()).size(), kFiles + 3 - 4);
}

TEST_P(ExtractionThreads, DecryptContents) {
  source.manager.enableEncryption(testKey(), IVMode::Random, {});
  fill(source.manager, kInChunks);
  opc::ConfinedFileSystemOps disk(rootName());
  EXPECT_EQ(extracted(disk), "");
  EXPECT_EQ(readFile(root() / "d15/f1299"), "299");
  EXPECT_EQ(filesBelow(root()).size(), kFiles + 3);
}

TEST_P(ExtractionThreads, EndAtADamagedContentAndReportItOnce) {
  source.manager.enableEncryption(testKey(), IVMode::Random, {});
  fill(source.manager);
  std::u16string const part = source.manager.getEntry(nameOfFile(kFailing)).getContentName();
  overwritePart(*source.package, part, std::string(kIVBytes + kTagBytes + 3, 'x'));
  opc::ConfinedFileSystemOps disk(rootName());
  CapturedLines lines;
  EXPECT_EQ(extracted(disk), kWrongContent);
  EXPECT_EQ(lines.take(), kDamagedLine);
  EXPECT_EQ(filesBelow(root()), filesBeforeTheFailing());
}

TEST_P(ExtractionThreads, AreNotUsedForAPackageThatMayChange) {
  fill(source.manager);
  auto const package = reopen(*source.package);
  opc::LocalFileSystemOps local;
  FileSystemManager manager(*package, local, local);
  manager.setExtractionThreads(GetParam());
  addText(manager, nameOfFile(kFiles), "new");
  manager.extractAll(rootName(), kRestore, TransformMode::None);
  EXPECT_EQ(filesBelow(root()).size(), kFiles + 4);
}

}  // namespace
