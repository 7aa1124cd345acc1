// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <gmock/gmock.h>
#include <memory>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "opc/ConfinedFileSystemOps.hpp"
#include "opc/Progress.hpp"
#include "opc/ztservices/Rekey.hpp"
#include "services/tree/EncryptionTestSupport.hpp"
#include "support/CryptoAnswers.hpp"

namespace {

using namespace zt_test;
using opc::Cancelled;
using opc::Monitor;
using opc::Progress;
using opc::ztservices::Compression;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t kLong = 3'000'000;

/// A directory "in" with three files, one of them long and hard to compress.
class Monitored : public testing::Test {
 protected:
  Monitored() {
    std::filesystem::create_directories(directory_ / "in/folder");
    writeFile(directory_ / "in/a.txt", "first");
    writeFile(directory_ / "in/folder/long", textOf(sampleContent(kLong)));
    writeFile(directory_ / "in/z.txt", "last");
    std::filesystem::create_symlink("a.txt", directory_ / "in/link");
  }

  Monitor recording() {
    return {.report = [this](Progress const& progress) {
      reports_.push_back(progress);
      return true;
    }};
  }
  /// Ends the operation at that report, or at the first one behind it.
  Monitor endingAt(std::size_t report) {
    return {.report = [this, report](Progress const& progress) {
      reports_.push_back(progress);
      return reports_.size() < report;
    }};
  }

  /// Ends the operation when it checks its monitor for that time, and not between two reports.
  Monitor endingAtCheck(std::size_t check) {
    return {.report = [this, check](Progress const& progress) {
      reports_.push_back(progress);
      std::this_thread::sleep_for(std::chrono::milliseconds(21));  // so that the next check reports too
      return reports_.size() < check;
    }};
  }

  void makePackage(Bytes const* key = nullptr) const {
    auto const package = Package::create(path_);
    FileSystemManager files(*package);
    if (key) files.enableEncryption(*key, IVMode::Random, {});
    files.addAll(directory_ / "in");
    package->save();
  }

  void expectWhole(std::uint64_t files, std::uint64_t bytes) const {
    ASSERT_FALSE(reports_.empty());
    for (std::size_t i = 1; i < reports_.size(); ++i) {
      EXPECT_GE(reports_[i].files, reports_[i - 1].files);
      EXPECT_GE(reports_[i].bytes, reports_[i - 1].bytes);
    }
    EXPECT_EQ(reports_.back().files, files);
    EXPECT_EQ(reports_.back().allFiles, files);
    EXPECT_EQ(reports_.back().bytes, bytes);
    EXPECT_EQ(reports_.back().allBytes, bytes);
  }

  /// The names in a folder, temporary ones too.
  static std::vector<std::string> namesIn(std::filesystem::path const& folder) {
    std::vector<std::string> names;
    for (auto const& item : std::filesystem::recursive_directory_iterator(folder))
      if (!item.is_directory()) names.push_back(item.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

  TemporaryDirectory directory_;
  std::filesystem::path path_ = directory_ / "p";
  std::vector<Progress> reports_;
};

std::vector<FileSystemEntry> filesOf(FileSystemManager const& manager) {
  std::vector<FileSystemEntry> files = manager.getAllLeafs();
  std::erase_if(files, [](FileSystemEntry const& entry) { return !entry.isFile(); });
  return files;
}

TEST_F(Monitored, AddAllCountsFilesAndBytes) {
  NewFileSystem fs;
  fs.package->setMonitor(recording());
  fs.manager.addAll(directory_ / "in");
  expectWhole(3, 5 + kLong + 4);
}

TEST_F(Monitored, AddAllEndsWhenAReportSaysSo) {
  NewFileSystem fs;
  fs.package->setMonitor(endingAt(1));
  EXPECT_THROW(fs.manager.addAll(directory_ / "in"), Cancelled);
  fs.package->setMonitor({});
  EXPECT_NO_THROW(fs.manager.createFolder("/new"));
}

TEST_F(Monitored, AddAllEndsAfterAStopRequest) {
  NewFileSystem fs;
  std::stop_source stop;
  fs.package->setMonitor({.report =
                              [&](Progress const&) {
                                stop.request_stop();
                                return true;
                              },
                          .stop = stop.get_token()});
  EXPECT_THROW(fs.manager.addAll(directory_ / "in"), Cancelled);
  EXPECT_FALSE(fs.manager.hasEntry("/z.txt"));
}

TEST_F(Monitored, AddFileCountsOneFile) {
  NewFileSystem fs;
  fs.package->setMonitor(recording());
  fs.manager.addFile(directory_ / "in/a.txt", "/a.txt");
  expectWhole(1, 5);
}

TEST_F(Monitored, AddFileThatEndsLeavesNothing) {
  writeFile(directory_ / "shorter", std::string(150'000, 'x'));
  for (bool const compresses : {false, true})
    for (std::size_t check = 1;; ++check) {
      NewFileSystem fs;
      if (compresses) fs.manager.enableEncryption(testKey(), IVMode::Random, {}, Compression::Deflate);
      fs.manager.createFolder("/kept");
      reports_.clear();
      fs.package->setMonitor(endingAtCheck(check));
      EXPECT_THROW(fs.manager.addFile(directory_ / "shorter", "/kept/new/shorter"), Cancelled) << check;
      fs.package->setMonitor({});
      EXPECT_THAT(leafs(fs.manager), ElementsAre(u"/kept")) << check;
      EXPECT_THAT(contentParts(*fs.package), IsEmpty()) << check;
      if (reports_.back().files == 1) break;  // that was the last report
    }
}

TEST_F(Monitored, AddFileThatEndsByAnExceptionOfTheReportLeavesNothing) {
  NewFileSystem fs;
  fs.package->setMonitor({.report = [](Progress const&) -> bool { throw std::runtime_error("mine"); }});
  EXPECT_THROW_MESSAGE(fs.manager.addFile(directory_ / "in/a.txt", "/new/a.txt"), std::runtime_error, "mine");
  EXPECT_THAT(leafs(fs.manager), IsEmpty());
  EXPECT_THAT(contentParts(*fs.package), IsEmpty());
}

TEST_F(Monitored, AddFileThatFailsKeepsItsEmptyEntry) {
  NewFileSystem fs;
  fs.package->setMonitor(recording());
  EXPECT_THROW(
      fs.manager.addFile(std::make_unique<FailingSource>(), "/f", opc::Perms::OwnerRead, opc::getCurrentTime()),
      opc::StreamError);
  EXPECT_EQ(textAt(fs.manager, u"/f"), "");
}

TEST_F(Monitored, AddFileOfBytesCountsThemAndEnds) {
  NewFileSystem fs;
  Bytes const bytes = sampleContent(kLong);
  fs.package->setMonitor(recording());
  fs.manager.addFile(bytes, "/bytes");
  expectWhole(1, kLong);
  fs.package->setMonitor(endingAt(reports_.size() + 1));
  EXPECT_THROW(fs.manager.addFile(bytes, "/more"), Cancelled);
  EXPECT_FALSE(fs.manager.hasEntry("/more"));
}

TEST_F(Monitored, AddFileOfASourceCountsItsBytesAndEnds) {
  NewFileSystem fs;
  auto const add = [&](char const* const path) {
    fs.manager.addFile(std::make_unique<TextSource>(std::string(kLong, 'x')), path, opc::Perms::OwnerRead,
                       opc::getCurrentTime());
  };
  fs.package->setMonitor(recording());
  add("/source");
  expectWhole(1, kLong);
  EXPECT_EQ(reports_.front().bytes, 0u);
  reports_.clear();
  fs.package->setMonitor(endingAt(1));
  EXPECT_THROW(add("/more"), Cancelled);
  EXPECT_FALSE(fs.manager.hasEntry("/more"));
}

TEST_F(Monitored, AddAllThatEndsLeavesWholeFilesAlone) {
  std::filesystem::resize_file(directory_ / "in/folder/long", 100'000);
  writeFile(directory_ / "in/y.txt", std::string(100'000, 'x'));
  for (unsigned const threads : {0u, 2u})
    for (std::size_t check = 1;; ++check) {
      NewFileSystem fs;
      fs.manager.enableEncryption(testKey(), IVMode::Random, {}, Compression::Deflate);
      fs.manager.enableDecryption(testKey());
      fs.package->setCompressionThreads(threads);
      reports_.clear();
      fs.package->setMonitor(endingAtCheck(check));
      EXPECT_THROW(fs.manager.addAll(directory_ / "in"), Cancelled) << check;
      fs.package->setMonitor({});
      std::vector<std::u16string> const files = pathsOf(filesOf(fs.manager));
      EXPECT_EQ(contentParts(*fs.package).size(), files.size()) << check;
      for (std::u16string const& file : files)
        EXPECT_EQ(fs.manager.readFile(file).size(), std::filesystem::file_size(directory_.u16("in") + file)) << check;
      if (reports_.back().files == 4) break;  // that was the last report
    }
}

TEST_F(Monitored, AddAllPassesOnWhatAReportThrowsWhileFilesWait) {
  for (std::size_t i = 0; i < 20; ++i) writeFile(directory_ / "in" / std::to_string(i), std::string(50'000, 'x'));
  NewFileSystem fs;
  fs.manager.enableEncryption(testKey(), IVMode::Random, {}, Compression::Deflate);
  fs.package->setCompressionThreads(2);
  std::size_t reports = 0;
  fs.package->setMonitor({.report = [&](Progress const&) -> bool {
    std::this_thread::sleep_for(std::chrono::milliseconds(21));
    if (++reports < 10) return true;
    throw std::runtime_error("mine");
  }});
  EXPECT_THROW_MESSAGE(fs.manager.addAll(directory_ / "in"), std::runtime_error, "mine");
  EXPECT_THAT(leafs(fs.manager), IsEmpty());
}

TEST_F(Monitored, SaveCountsItems) {
  auto const package = Package::create(path_);
  FileSystemManager files(*package);
  files.addAll(directory_ / "in");
  package->setMonitor(recording());
  package->save();
  EXPECT_EQ(reports_.back().files, 5u);  // relationships, the manifest and three files
  EXPECT_EQ(reports_.back().bytes, reports_.back().allBytes);
  EXPECT_GT(reports_.back().bytes, 10'000u);  // of the long one, compressed
}

TEST_F(Monitored, SaveThatEndsLeavesTheOldFileAndNoTemporary) {
  makePackage();
  std::string const before = readFile(path_);
  for (unsigned const threads : {0u, 2u}) {
    auto const package = Package::open(path_, AccessMode::ReadWrite);
    package->setCompressionThreads(threads);
    FileSystemManager files(*package);
    files.addFile(directory_ / "in/folder/long", "/more");
    for (std::size_t report : {1u, 2u, 3u}) {
      reports_.clear();
      package->setMonitor(endingAt(report));
      EXPECT_THROW(package->save(), Cancelled) << report;
      EXPECT_TRUE(readFile(path_) == before);
      EXPECT_EQ(namesIn(directory_.path()), (std::vector<std::string>{"a.txt", "link", "long", "p", "z.txt"}));
      if (reports_.back().bytes == reports_.back().allBytes) break;  // that was the last report
    }
  }
}

TEST_F(Monitored, SaveCanBeRepeatedAfterItEnded) {
  auto const package = Package::create(path_);
  FileSystemManager files(*package);
  files.addAll(directory_ / "in");
  package->setMonitor({.report = [](Progress const&) { return false; }});
  EXPECT_THROW(package->save(), Cancelled);
  EXPECT_FALSE(std::filesystem::exists(path_));
  package->setMonitor({});
  package->save();
  auto const saved = Package::open(path_, AccessMode::ReadOnly);
  EXPECT_EQ(FileSystemManager(*saved).getAllLeafs().size(), 4u);
}

/// Neither a new manager nor a save without the first one finds a manifest that is empty.
TEST_F(Monitored, FirstSaveThatEndsLeavesNoPartOfAManifest) {
  for (std::size_t check = 1;; ++check) {
    auto const package = Package::createInMemory();
    auto files = std::make_unique<FileSystemManager>(*package);
    for (char const* const path : {"/a", "/b"}) files->createFolder(path);
    reports_.clear();
    package->setMonitor(endingAtCheck(check));
    try {
      package->save();
      break;
    } catch (Cancelled const&) {
      package->setMonitor({});
    }
    bool const hasManifest = files->isNonEncrypted();
    EXPECT_EQ(leafs(FileSystemManager(*package)).size(), hasManifest ? 2u : 0u) << check;
    files.reset();
    package->save();
    EXPECT_EQ(leafs(FileSystemManager(*reopen(*package))).size(), hasManifest ? 2u : 0u) << check;
  }
}

TEST_F(Monitored, SaveThatEndsWhileTheManifestTakesAnotherFormLeavesOneThatCanBeRead) {
  Bytes const key = testKey();
  makePackage(&key);
  auto const leafsAfter = [&](Package& package) {
    FileSystemManager reader(package);
    reader.enableDecryption(key);
    return leafs(reader);
  };
  for (std::size_t check = 1;; ++check) {
    auto const package = Package::open(path_, AccessMode::ReadWrite);
    std::size_t const parts = package->getPartNames().size();
    auto files = std::make_unique<FileSystemManager>(*package);
    files->enableDecryption(key);
    files->enableEncryption(key, IVMode::Random, {}, Compression::Deflate);
    files->createFolder("/new");
    reports_.clear();
    package->setMonitor(endingAtCheck(check));
    try {
      package->saveToBytes();
      break;
    } catch (Cancelled const&) {
      package->setMonitor({});
    }
    EXPECT_EQ(package->getPartNames().size(), parts) << check;
    EXPECT_THAT(leafsAfter(*package), testing::SizeIs(testing::AnyOf(4, 5))) << check;
    files.reset();
    EXPECT_THAT(leafsAfter(*reopen(*package)), testing::SizeIs(testing::AnyOf(4, 5))) << check;
  }
}

TEST_F(Monitored, SavesElsewhereAndInMemoryEndToo) {
  makePackage();
  auto const package = Package::open(path_, AccessMode::ReadOnly);
  package->setMonitor({.report = [](Progress const&) { return false; }});
  EXPECT_THROW(package->saveAs(directory_ / "q"), Cancelled);
  EXPECT_FALSE(std::filesystem::exists(directory_ / "q"));
  EXPECT_THROW(package->saveToBytes(), Cancelled);
}

TEST_F(Monitored, ExtractAllCountsFilesAndBytes) {
  makePackage();
  for (std::size_t const threads : {0u, 2u}) {
    reports_.clear();
    auto const package = Package::open(path_, AccessMode::ReadOnly);
    package->setMonitor(recording());
    FileSystemManager files(*package);
    files.setExtractionThreads(threads);
    files.extractAll(directory_ / ("out" + std::to_string(threads)));
    expectWhole(3, 5 + kLong + 4);
  }
}

TEST_F(Monitored, ExtractAllCountsDecryptedBytes) {
  Bytes const key = testKey();
  makePackage(&key);
  auto const package = Package::open(path_, AccessMode::ReadOnly);
  package->setMonitor(recording());
  FileSystemManager files(*package);
  files.enableDecryption(key);
  files.extractAll(directory_ / "out");
  expectWhole(3, 5 + kLong + 4);
}

TEST_F(Monitored, ExtractAllThatEndsLeavesNoPartOfAFile) {
  makePackage();
  for (std::size_t const threads : {0u, 2u})
    for (std::size_t const report : {1u, 2u}) {
      reports_.clear();
      auto const package = Package::open(path_, AccessMode::ReadOnly);
      package->setMonitor(endingAt(report));
      std::filesystem::path const out = directory_ / ("out" + std::to_string(10 * threads + report));
      opc::ConfinedFileSystemOps disk(out);
      FileSystemManager files(*package, disk, disk);
      files.setExtractionThreads(threads);
      EXPECT_THROW(files.extractAll(out), Cancelled);
      auto const names = namesIn(out);
      if (std::ranges::find(names, "long") != names.end()) {
        EXPECT_EQ(std::filesystem::file_size(out / "folder/long"), kLong);
      }
      for (std::string const& name : names) EXPECT_FALSE(name.starts_with(".ztservices")) << name;
    }
}

TEST_F(Monitored, ExtractionWithAFaultHandlerEndsToo) {
  makePackage();
  auto const package = Package::open(path_, AccessMode::ReadOnly);
  package->setMonitor({.report = [](Progress const&) { return false; }});
  FileSystemManager files(*package);
  int faults = 0;
  EXPECT_THROW(files.extractEntries(directory_.u16("out"), files.getAllLeafs(), kRestore, TransformMode::None,
                                    [&](auto const&, auto const&) { ++faults; }),
               Cancelled);
  EXPECT_EQ(faults, 0);
}

TEST_F(Monitored, ExtractionNamesAnEntryWhosePartHasNoPossibleName) {
  auto const package = foreignPackage(entryOf("/bad", "/a//b") + entryOf("/good", "/c"));
  package->setMonitor(recording());
  FileSystemManager files(*package);
  std::vector<std::u16string> bad;
  files.extractEntries(directory_.u16("out"), files.getAllLeafs(), kRestore, TransformMode::None,
                       [&](FileSystemEntry const& entry, auto const&) { bad.push_back(entry.getPathName()); });
  EXPECT_THAT(bad, ElementsAre(u"/bad"));
  EXPECT_EQ(readFile(directory_ / "out/good"), "content");
}

TEST_F(Monitored, RekeyCountsContentsAndEndsWithTheOldPackageWhole) {
  makePackage();
  Bytes const key = testKey();
  std::string const before = readFile(path_);
  opc::ztservices::RekeyOptions options{.newKey = &key};
  options.monitor = endingAt(1);
  EXPECT_THROW(rekeyPackage(path_, path_, options), Cancelled);
  EXPECT_TRUE(readFile(path_) == before);
  EXPECT_EQ(namesIn(directory_.path()), (std::vector<std::string>{"a.txt", "link", "long", "p", "z.txt"}));
  reports_.clear();
  options.monitor = recording();
  rekeyPackage(path_, path_, options);
  expectWhole(3, 5 + kLong + 4);
}

TEST_F(Monitored, PassesOnWhatAReportThrows) {
  NewFileSystem fs;
  fs.package->setMonitor({.report = [](Progress const&) -> bool { throw std::runtime_error("mine"); }});
  EXPECT_THROW_MESSAGE(fs.manager.addAll(directory_ / "in"), std::runtime_error, "mine");
}

TEST_F(Monitored, StreamsThatOutliveTheOperationAreFree) {
  makePackage();
  auto const package = Package::open(path_, AccessMode::ReadOnly);
  std::unique_ptr<opc::InputStream> stream;
  std::stop_source stop;
  package->setMonitor({.report =
                           [&](Progress const&) {
                             if (!stream) stream = package->getPart("/fsroot/folder/long").getInputStream();
                             return true;
                           },
                       .stop = stop.get_token()});
  FileSystemManager(*package).extractAll(directory_ / "out");
  stop.request_stop();
  EXPECT_EQ(readAll(*stream).size(), kLong);
}

}  // namespace
