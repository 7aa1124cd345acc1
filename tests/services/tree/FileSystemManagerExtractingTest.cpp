// SPDX-License-Identifier: Apache-2.0

#include <filesystem>
#include <gmock/gmock.h>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "services/tree/FileSystemManagerTestSupport.hpp"

namespace {

using namespace zt_test;
using namespace opc::ztservices;
namespace fs = std::filesystem;
namespace errc = boost::system::errc;

TEST(FileSystemManagerExtracting, AllLeavesAppear) {
  NewFileSystem source;
  addText(source.manager, u"/a/b/f.txt", "text");
  source.manager.createFolder(u"/e/empty");
  source.manager.createLink(u"/a/l", u"b/f.txt");
  TemporaryDirectory directory;
  source.manager.extractAll(directory.u16("new/root"), kRestore, TransformMode::None);
  EXPECT_EQ(readFile(directory / "new/root/a/b/f.txt"), "text");
  EXPECT_EQ(readFile(directory / "new/root/a/l"), "text");
  EXPECT_EQ(fs::read_symlink(directory / "new/root/a/l"), "b/f.txt");
  EXPECT_TRUE(fs::is_directory(directory / "new/root/e/empty"));
}

TEST(FileSystemManagerExtracting, SomeEntriesAppearAloneAndInTheOrderGiven) {
  NewFileSystem source;
  addText(source.manager, u"/a/f", "text");
  addText(source.manager, u"/b", "other");
  source.manager.createLink(u"/a/l", u"f");
  TemporaryDirectory directory;
  source.manager.extractEntries(directory.u16("root"),
                                {source.manager.getEntry(u"/a/l"), source.manager.getEntry(u"/a/f")}, kRestore,
                                TransformMode::None);
  EXPECT_EQ(readFile(directory / "root/a/l"), "text");
  EXPECT_FALSE(fs::exists(directory / "root/b"));
}

TEST(FileSystemManagerExtracting, OneUnsafeEntryOfSomeKeepsAllFromBeingMade) {
  NewFileSystem source;
  addText(source.manager, u"/-l/x", "text");
  source.manager.createLink(u"/./-l", u"/elsewhere");
  TemporaryDirectory directory;
  EXPECT_THROW_MESSAGE(
      source.manager.extractEntries(directory.u16("root"),
                                    {source.manager.getEntry(u"/./-l"), source.manager.getEntry(u"/-l/x")}, kRestore,
                                    TransformMode::None),
      UnsafeEntryPath, "Entry path leaves the destination root: /-l/x");
  EXPECT_FALSE(fs::exists(directory / "root"));
}

TEST(FileSystemManagerExtracting, EmptyFileSystemMakesTheRootAlone) {
  NewFileSystem source;
  TemporaryDirectory directory;
  source.manager.extractAll(directory.u16("root"), kRestore, TransformMode::None);
  EXPECT_TRUE(fs::is_empty(directory / "root"));
}

TEST(FileSystemManagerExtracting, TimeAndPermissionsAreRestoredWhenAsked) {
  NewFileSystem source;
  source.manager.addFile(std::make_unique<TextSource>("t"), u"/f", opc::Perms::Perms_tag(0600), kTime);
  TemporaryDirectory directory;
  source.manager.extractAll(directory.u16("plain"), RestoreMode::None, TransformMode::None);
  source.manager.extractAll(directory.u16("restored"), kRestore, TransformMode::None);
  EXPECT_NE(timeOf(directory.u16("plain/f")), kTime);
  EXPECT_EQ(timeOf(directory.u16("restored/f")), kTime);
  EXPECT_EQ(permissionsOf(directory.u16("restored/f")), 0600);
}

TEST(FileSystemManagerExtracting, ReadOnlyFilesGetTheirTimeToo) {
  NewFileSystem source;
  source.manager.addFile(std::make_unique<TextSource>("t"), u"/f", opc::Perms::Perms_tag(0400), kTime);
  TemporaryDirectory directory;
  source.manager.extractAll(directory.u16(), kRestore, TransformMode::None);
  EXPECT_EQ(timeOf(directory.u16("f")), kTime);
  EXPECT_EQ(permissionsOf(directory.u16("f")), 0400);
}

TEST(FileSystemManagerExtracting, UnknownTimeAndPermissionsAreNotSet) {
  NewFileSystem source;
  addText(source.manager, u"/f", "t");
  FaultyDisk noTimes(Operation::SetLastModifiedTime, errc::io_error);
  FaultyDisk noPermissions(Operation::SetPermissions, errc::io_error);
  auto const package = reopen(*source.package);
  TemporaryDirectory directory;
  EXPECT_NO_THROW(
      FileSystemManager(*package, noTimes, noTimes).extractAll(directory.u16(), kRestore, TransformMode::None));
  EXPECT_NO_THROW(FileSystemManager(*package, noPermissions, noPermissions)
                      .extractAll(directory.u16(), kRestore, TransformMode::None));
}

TEST(FileSystemManagerExtracting, ExistingFilesAreReplacedAndFoldersAccepted) {
  NewFileSystem source;
  addText(source.manager, u"/a/f", "new");
  source.manager.createFolder(u"/e");
  TemporaryDirectory directory;
  writeFile(directory / "a/f", "much longer than the new one");
  writeFile(directory / "e/kept", "kept");
  source.manager.extractAll(directory.u16(), kRestore, TransformMode::None);
  EXPECT_EQ(readFile(directory / "a/f"), "new");
  EXPECT_EQ(readFile(directory / "e/kept"), "kept");
}

TEST(FileSystemManagerExtracting, ExtractingTwiceRefusesExistingLinks) {
  NewFileSystem source;
  source.manager.createLink(u"/l", u"t");
  TemporaryDirectory directory;
  source.manager.extractAll(directory.u16(), kRestore, TransformMode::None);
  EXPECT_THROW_MESSAGE(
      source.manager.extractAll(directory.u16(), kRestore, TransformMode::None), CouldNotCreateLink,
      "Could not create link: " + (directory / "l").string() + ": " + make_error_code(errc::file_exists).message());
}

TEST(FileSystemManagerExtracting, FolderEntryComesWithoutItsContents) {
  NewFileSystem source;
  addText(source.manager, u"/a/d/f", "t");
  TemporaryDirectory directory;
  source.manager.extractEntry(directory.u16("root"), source.manager.getEntry(u"/a/d"), kRestore, TransformMode::None);
  EXPECT_TRUE(fs::is_empty(directory / "root/a/d"));
}

TEST(FileSystemManagerExtracting, RootEntryIsTheDestinationRoot) {
  NewFileSystem source;
  TemporaryDirectory directory;
  source.manager.extractEntry(directory.u16("root"), source.manager.getRoot(), kRestore, TransformMode::None);
  EXPECT_TRUE(fs::is_empty(directory / "root"));
}

TEST(FileSystemManagerExtracting, AbsoluteLinksPointIntoTheDestination) {
  NewFileSystem source;
  addText(source.manager, u"/d/f", "text");
  source.manager.createLink(u"/x/l", u"/d/f");
  TemporaryDirectory directory;
  source.manager.extractAll(directory.u16(), kRestore, TransformMode::None);
  EXPECT_EQ(fs::read_symlink(directory / "x/l"), directory / "d/f");
}

TEST(FileSystemManagerExtracting, PathThatLeavesTheRootStopsAllBeforeAnythingIsMade) {
  NewFileSystem source;
  addText(source.manager, u"/a", "t");
  addText(source.manager, u"/z/../../x", "t");
  TemporaryDirectory directory;
  EXPECT_THROW_MESSAGE(source.manager.extractAll(directory.u16("root"), kRestore, TransformMode::None), UnsafeEntryPath,
                       "Entry path leaves the destination root: /z/../../x");
  EXPECT_FALSE(fs::exists(directory / "root"));
}

TEST(FileSystemManagerExtracting, EntryThatLeavesTheRootIsRefusedBeforeAnythingIsMade) {
  NewFileSystem source;
  FileSystemEntry const file = addText(source.manager, u"/../x", "t");
  addText(source.manager, u"/ok", "t");
  TemporaryDirectory directory;
  EXPECT_THROW_MESSAGE(source.manager.extractEntry(directory.u16("root"), file, kRestore, TransformMode::None),
                       UnsafeEntryPath, "Entry path leaves the destination root: /../x");
  EXPECT_FALSE(fs::exists(directory / "root"));
  source.manager.extractEntry(directory.u16("root"), source.manager.getEntry(u"/ok"), kRestore, TransformMode::None);
  EXPECT_EQ(readFile(directory / "root/ok"), "t");
}

TEST(FileSystemManagerExtracting, DotAndEmptySegmentsAreHarmless) {
  NewFileSystem source;
  addText(source.manager, u"/a/./b//f", "t");
  TemporaryDirectory directory;
  source.manager.extractAll(directory.u16("root"), kRestore, TransformMode::None);
  EXPECT_EQ(readFile(directory / "root/a/b/f"), "t");
}

TEST(FileSystemManagerExtracting, EncryptedContentIsRefusedOnlyWhenItIsToBeTransformed) {
  NewFileSystem source;
  FileSystemEntry const entry = source.manager.addFile(
      std::make_unique<TextSource>("cipher", ContentType(u"a/b;encryption=AES256-GCM;iv=inline")), u"/f",
      FileSystemEntry::getUnknownPermissions(), FileSystemEntry::getUnknownTime());
  EXPECT_THROW_MESSAGE(source.manager.getFileContentSource(entry, TransformMode::Transform), CouldNotDecryptContent,
                       "Content is encrypted but enableDecryption() has not been called yet");
  EXPECT_EQ(textAt(source.manager, u"/f"), "cipher");
}

TEST(FileSystemManagerExtracting, PlainContentIsGivenInEitherMode) {
  NewFileSystem source;
  FileSystemEntry const entry = addText(source.manager, u"/f", "plain");
  auto const content = source.manager.getFileContentSource(entry, TransformMode::Transform);
  EXPECT_EQ(readAll(content->getInputStream()), "plain");
  EXPECT_EQ(content->getContentType().toString(), u"application/octet-stream");
}

class OneOpsSelector final : public opc::FileSystemOpsSelector {
 public:
  opc::FileSystemOps& getForPath(std::u16string const& path) override {
    asked.push_back(path);
    return ops;
  }
  opc::LocalFileSystemOps ops;
  std::vector<std::u16string> asked;
};

TEST(FileSystemManagerExtracting, SelectorChoosesTheOperationsForTheRoot) {
  TemporaryDirectory directory;
  OneOpsSelector selector;
  auto const package = Package::createInMemory();
  FileSystemManager manager(*package, selector);
  FileSystemEntry const entry = addText(manager, u"/f", "t");
  manager.extractAll(directory.u16(), kRestore, TransformMode::None);
  manager.extractEntry(directory.u16("x"), entry, kRestore, TransformMode::None);
  EXPECT_THAT(selector.asked, testing::ElementsAre(directory.u16(), directory.u16("x")));
  EXPECT_EQ(&manager.getDestFSImpl(), &selector.ops);
  EXPECT_NE(&manager.getSourceFSImpl(), &selector.ops);
}

TEST(FileSystemManagerExtracting, FileBelowALinkOfThePackageStopsAllBeforeAnythingIsMade) {
  for (std::u16string const path : {u"/./-l/pwn", u"/./-l"}) {
    NewFileSystem source;
    source.manager.createLink(u"/-l", u"../evil");
    source.manager.createLink(u"/-l!", u"x");
    addText(source.manager, path, "t");
    source.manager.createFolder(u"/-l-/ok");
    TemporaryDirectory directory;
    EXPECT_THROW_MESSAGE(source.manager.extractAll(directory.u16("root"), kRestore, TransformMode::None),
                         UnsafeEntryPath, "Entry path leaves the destination root: " + opc::toUDEString(path));
    EXPECT_FALSE(fs::exists(directory / "root"));
  }
}

TEST(FileSystemManagerExtracting, LinkBelowALinkOrInItsPlaceIsRefused) {
  for (std::u16string const path : {u"/./a/b", u"//./a"}) {
    NewFileSystem source;
    source.manager.createLink(u"/a", u"../evil");
    source.manager.createLink(path, u"x");
    addText(source.manager, u"/././a/b/c", "t");
    TemporaryDirectory directory;
    EXPECT_THROW(source.manager.extractAll(directory.u16("root"), kRestore, TransformMode::None), UnsafeEntryPath);
    EXPECT_FALSE(fs::exists(directory / "root"));
  }
}

TEST(FileSystemManagerExtracting, SingleEntriesAreNotWrittenThroughLinksOfThePackage) {
  NewFileSystem source;
  TemporaryDirectory directory;
  writeFile(directory / "evil/kept", "kept");
  auto const extract = [&](FileSystemEntry const& entry) {
    source.manager.extractEntry(directory.u16("root"), entry, kRestore, TransformMode::None);
  };
  extract(source.manager.createLink(u"/-l", u"../evil"));
  extract(source.manager.createLink(u"/-f", u"../evil/kept"));
  EXPECT_THROW(extract(addText(source.manager, u"/./-l/pwn", "t")), UnsafeEntryPath);
  EXPECT_THROW(extract(source.manager.createFolder(u"/./-l/d")), UnsafeEntryPath);
  EXPECT_THROW(extract(source.manager.createLink(u"/./-l/l", u"x")), UnsafeEntryPath);
  EXPECT_THROW(extract(addText(source.manager, u"/./-f", "t")), CouldNotCreateFile);
  EXPECT_EQ(readFile(directory / "evil/kept"), "kept");
  EXPECT_EQ(std::distance(fs::directory_iterator(directory / "evil"), fs::directory_iterator()), 1);
}

TEST(FileSystemManagerExtracting, LinksThatTheDestinationHasAreNotWrittenThrough) {
  NewFileSystem source;
  addText(source.manager, u"/a/b/c", "t");
  addText(source.manager, u"/a/f", "t");
  for (std::string const link : {"a", "a/b"}) {
    TemporaryDirectory directory;
    fs::create_directories((directory / "root" / link).parent_path());
    fs::create_directory(directory / "elsewhere");
    fs::create_symlink(directory / "elsewhere", directory / "root" / link);
    EXPECT_THROW(source.manager.extractAll(directory.u16("root"), kRestore, TransformMode::None), UnsafeEntryPath);
    EXPECT_TRUE(fs::is_empty(directory / "elsewhere"));
  }
}

TEST(FileSystemManagerExtracting, LinkInThePlaceOfAFileIsNotWrittenThrough) {
  NewFileSystem source;
  addText(source.manager, u"/f", "new");
  TemporaryDirectory directory;
  writeFile(directory / "victim", "kept");
  fs::create_directory(directory / "root");
  fs::create_symlink("../victim", directory / "root/f");
  EXPECT_THROW(source.manager.extractAll(directory.u16("root"), kRestore, TransformMode::None), CouldNotCreateFile);
  EXPECT_EQ(readFile(directory / "victim"), "kept");
}

TEST(FileSystemManagerExtracting, RootMayBeReachedThroughALink) {
  NewFileSystem source;
  addText(source.manager, u"/a/f", "t");
  TemporaryDirectory directory;
  fs::create_directory(directory / "real");
  fs::create_directory_symlink("real", directory / "link");
  source.manager.extractAll(directory.u16("link"), kRestore, TransformMode::None);
  EXPECT_EQ(readFile(directory / "real/a/f"), "t");
}

TEST(FileSystemManagerExtracting, EncryptedContentIsExtractedAsItIsStoredOrNotAtAll) {
  NewFileSystem source;
  source.manager.addFile(std::make_unique<TextSource>("cipher", ContentType(u"a/b;encryption=AES256-GCM;iv=inline")),
                         u"/f", FileSystemEntry::getUnknownPermissions(), FileSystemEntry::getUnknownTime());
  TemporaryDirectory directory;
  EXPECT_THROW_MESSAGE(source.manager.extractAll(directory.u16("a"), kRestore, TransformMode::Transform),
                       CouldNotDecryptContent, "Content is encrypted but enableDecryption() has not been called yet");
  source.manager.extractAll(directory.u16("b"), kRestore, TransformMode::None);
  source.manager.extractAll(directory.u16("c"), kRestore, TransformMode(2));
  EXPECT_EQ(readFile(directory / "b/f"), "cipher");
  EXPECT_EQ(readFile(directory / "c/f"), "cipher");
}

TEST(FileSystemManagerExtracting, PermissionsStayAsTheDiskGivesThem) {
  NewFileSystem source;
  source.manager.addFile(std::make_unique<TextSource>("t"), u"/known", opc::Perms::Perms_tag(0400), kTime);
  addText(source.manager, u"/unknown", "t");
  TemporaryDirectory directory;
  writeFile(directory / "plain", "t");
  source.manager.extractAll(directory.u16("none"), RestoreMode::None, TransformMode::None);
  source.manager.extractAll(directory.u16("all"), kRestore, TransformMode::None);
  EXPECT_EQ(permissionsOf(directory.u16("none/known")), permissionsOf(directory.u16("plain")));
  EXPECT_EQ(permissionsOf(directory.u16("all/unknown")), permissionsOf(directory.u16("plain")));
}

/// Puts a hard link to another file in the place of a file as soon as it is complete.
class SwappingFile final : public opc::FileOutputStream {
 public:
  SwappingFile(std::unique_ptr<opc::FileOutputStream> inner, fs::path path, fs::path other)
      : FileOutputStream(inner->rdbuf()), inner_(std::move(inner)), path_(std::move(path)), other_(std::move(other)) {}
  void commit(boost::system::error_code& error) override {
    inner_->commit(error);
    fs::remove(path_);
    fs::create_hard_link(other_, path_);
  }

 private:
  std::unique_ptr<opc::FileOutputStream> inner_;
  fs::path path_, other_;
};

class SwappingDisk final : public opc::LocalFileSystemOps {
 public:
  explicit SwappingDisk(fs::path other) : other_(std::move(other)) {}
  std::unique_ptr<opc::FileOutputStream> createForRestoring(std::u16string const& path,
                                                            opc::Perms::Perms_tag permissions,
                                                            boost::posix_time::ptime const& time,
                                                            boost::system::error_code& error) override {
    return std::make_unique<SwappingFile>(disk_.createForRestoring(path, permissions, time, error),
                                          opc::toUTF8String(path), other_);
  }

 private:
  opc::LocalFileSystemOps disk_;
  fs::path other_;
};

TEST(FileSystemManagerExtracting, FileThatTakesTheNameOfACompleteOneIsNotTouched) {
  TemporaryDirectory directory;
  writeFile(directory / "other", "other");
  fs::permissions(directory / "other", fs::perms(0640));
  SwappingDisk disk(directory / "other");
  auto const package = Package::createInMemory();
  FileSystemManager manager(*package, disk, disk);
  manager.addFile(std::make_unique<TextSource>("t"), u"/f", opc::Perms::Perms_tag(0777), kTime);
  manager.extractAll(directory.u16("root"), kRestore, TransformMode::None);
  EXPECT_EQ(fs::hard_link_count(directory / "other"), 2U);
  EXPECT_EQ(permissionsOf(directory.u16("other")), 0640U);
  EXPECT_NE(timeOf(directory.u16("other")), kTime);
}

}  // namespace
