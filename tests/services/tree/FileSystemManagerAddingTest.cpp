// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <filesystem>
#include <gmock/gmock.h>
#include <ios>
#include <istream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "services/tree/FileSystemManagerTestSupport.hpp"

namespace {

using namespace zt_test;
using namespace opc::ztservices;
using boost::system::errc::errc_t;
using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;
namespace errc = boost::system::errc;

/// A manager that adds from a disk on which one operation fails.
struct FaultySource {
  FaultySource(Operation operation, errc_t code) : disk(operation, code) { writeFile(directory / "f", "text"); }

  void add() { manager.addFile(directory.u16("f"), u"/f", TransformMode::None); }
  void addAll() { manager.addAll(directory.u16(), TransformMode::None); }
  std::string message(std::string const& text) const { return text + disk.code().message(); }

  TemporaryDirectory directory;
  FaultyDisk disk;
  std::unique_ptr<Package> package = Package::createInMemory();
  FileSystemManager manager{*package, disk, disk};
};

/// Routes one directory to operations of its own.
class Router final : public opc::FileSystemOpsSelector {
 public:
  explicit Router(std::u16string prefix) : prefix_(std::move(prefix)) {}

  opc::FileSystemOps& getForPath(std::u16string const& path) override {
    asked.push_back(path);
    if (path.starts_with(prefix_)) return special;
    return local;
  }

  opc::LocalFileSystemOps local;
  opc::LocalFileSystemOps special;
  std::vector<std::u16string> asked;

 private:
  std::u16string prefix_;
};

TEST(FileSystemManagerAdding, AddFileTakesContentPermissionsAndTime) {
  TemporaryDirectory directory;
  writeFile(directory / "a.bin", "content");
  fs::permissions(directory / "a.bin", fs::perms(0640));
  boost::system::error_code error;
  opc::LocalFileSystemOps().setLastModifiedTime(directory.u16("a.bin"), boost::posix_time::from_time_t(1'234'567'890),
                                                error);
  NewFileSystem target;
  FileSystemEntry const entry = target.manager.addFile(directory.u16("a.bin"), u"x\\a.bin", TransformMode::None);
  EXPECT_EQ(entry.getPathName(), u"/x/a.bin");
  EXPECT_EQ(entry.getPermissions(), 0640);
  EXPECT_EQ(entry.getLastModifiedTime(), boost::posix_time::from_time_t(1'234'567'890));
  EXPECT_EQ(textAt(target.manager, u"/x/a.bin"), "content");
  EXPECT_TRUE(target.manager.isDirty());
}

TEST(FileSystemManagerAdding, ContentTypeComesFromTheSourceWithItsParameters) {
  NewFileSystem target;
  target.manager.addFile(std::make_unique<TextSource>("t", ContentType(u"text/plain;charset=utf-8")), u"/f",
                         opc::Perms::OwnerRead, opc::getCurrentTime());
  EXPECT_EQ(target.package->getPart(PartName(u"/fsroot/f")).getContentType().toString(), u"text/plain;charset=utf-8");
}

TEST(FileSystemManagerAdding, EmptyAndLargeContentsArrive) {
  NewFileSystem target;
  std::string const large(1'000'000, 'x');
  addText(target.manager, u"/empty", "");
  addText(target.manager, u"/large", large);
  EXPECT_EQ(textAt(target.manager, u"/empty"), "");
  EXPECT_EQ(textAt(target.manager, u"/large"), large);
}

TEST(FileSystemManagerAdding, MissingSourceFileAddsNothing) {
  TemporaryDirectory directory;
  NewFileSystem target;
  EXPECT_THROW_MESSAGE(target.manager.addFile(directory.u16("none"), u"/f", TransformMode::None), CouldNotOpenFile,
                       "Could not open file: " + (directory / "none").string());
  EXPECT_FALSE(target.manager.hasEntry(u"/f"));
  EXPECT_FALSE(target.manager.isDirty());
}

TEST(FileSystemManagerAdding, ExistingEntryIsRefusedBeforeTheSourceIsOpened) {
  NewFileSystem target;
  target.manager.createFolder(u"/f");
  EXPECT_THROW_MESSAGE(target.manager.addFile(u"/not/there", u"/f", TransformMode::None), FileSystemEntryAlreadyExists,
                       "File system entry already exists: /f");
}

TEST(FileSystemManagerAdding, UnreadablePermissionsAreReportedWithTheirCode) {
  FaultySource source(Operation::GetPermissions, errc::io_error);
  EXPECT_THROW_MESSAGE(source.add(), CouldNotGetPermissions, source.message("Could not get permissions: "));
  EXPECT_EQ(codeOf<CouldNotGetPermissions>([&] { source.add(); }), source.disk.code());
  EXPECT_FALSE(source.manager.hasEntry(u"/f"));
}

TEST(FileSystemManagerAdding, UnreadableTimeIsReportedWithItsCode) {
  FaultySource source(Operation::GetLastModifiedTime, errc::permission_denied);
  EXPECT_THROW_MESSAGE(source.add(), CouldNotGetLastModifiedTime, source.message("Could not get last modified time: "));
  EXPECT_EQ(codeOf<CouldNotGetLastModifiedTime>([&] { source.add(); }), source.disk.code());
  EXPECT_THAT(contentParts(*source.package), IsEmpty());
}

TEST(FileSystemManagerAdding, UnlistableRootIsReportedWithoutItsCode) {
  FaultySource source(Operation::GetFiles, errc::permission_denied);
  EXPECT_THROW_MESSAGE(source.addAll(), CouldNotGetSourceFilesAndLinks,
                       source.message("Could not get source files and links at source root: "));
  EXPECT_EQ(codeOf<CouldNotGetSourceFilesAndLinks>([&] { source.addAll(); }), boost::system::error_code());
}

TEST(FileSystemManagerAdding, MissingRootCannotBeListed) {
  TemporaryDirectory directory;
  NewFileSystem target;
  EXPECT_THROW(target.manager.addAll(directory.u16("none"), TransformMode::None), CouldNotGetSourceFilesAndLinks);
}

TEST(FileSystemManagerAdding, FailureWhileReadingKeepsTheEntryWithAnEmptyPart) {
  NewFileSystem target;
  EXPECT_THROW_MESSAGE(
      target.manager.addFile(std::make_unique<FailingSource>(), u"/f", opc::Perms::OwnerRead, opc::getCurrentTime()),
      opc::StreamError, "reading fails");
  EXPECT_TRUE(target.manager.hasEntry(u"/f"));
  EXPECT_EQ(textAt(target.manager, u"/f"), "");
  target.manager.deleteFile(target.manager.getEntry(u"/f"));
  EXPECT_NO_THROW(target.package->saveToBytes());
}

TEST(FileSystemManagerAdding, AddAllTakesFilesAndLinksButNoEmptyFolders) {
  TemporaryDirectory source;
  writeFile(source / "a/b.txt", "b");
  fs::create_directory(source / "e");
  fs::create_symlink("a/b.txt", source / "link");
  NewFileSystem target;
  target.manager.addAll(source.u16(), TransformMode::None);
  EXPECT_THAT(leafs(target.manager), ElementsAre(u"/a/b.txt", u"/link"));
  EXPECT_EQ(target.manager.getEntry(u"/a").getPermissions(), FileSystemEntry::getUnknownPermissions());
  EXPECT_EQ(target.manager.getLinkTarget(target.manager.getEntry(u"/link")), u"a/b.txt");
  EXPECT_EQ(textAt(target.manager, u"/a/b.txt"), "b");
}

TEST(FileSystemManagerAdding, AddAllTakesARootWithTrailingSeparators) {
  TemporaryDirectory source;
  writeFile(source / "a/b", "b");
  fs::create_symlink(source.path(), source / "up");
  NewFileSystem target;
  target.manager.addAll(source.u16() + u"//", TransformMode::None);
  EXPECT_THAT(leafs(target.manager), ElementsAre(u"/a/b", u"/up"));
  EXPECT_EQ(target.manager.getLinkTarget(target.manager.getEntry(u"/up")), u"/");
}

TEST(FileSystemManagerAdding, LinksToFoldersAndDanglingLinksAreAddedAsLinks) {
  TemporaryDirectory source;
  writeFile(source / "d/f", "f");
  fs::create_symlink("d", source / "to-folder");
  fs::create_symlink("nowhere", source / "dangling");
  NewFileSystem target;
  target.manager.addAll(source.u16(), TransformMode::None);
  EXPECT_THAT(leafs(target.manager), ElementsAre(u"/d/f", u"/dangling", u"/to-folder"));
  EXPECT_TRUE(target.manager.getEntry(u"/to-folder").isLink());
}

TEST(FileSystemManagerAdding, AbsoluteTargetBelowTheRootBecomesAbsoluteInThePackage) {
  TemporaryDirectory source;
  writeFile(source / "d/f", "f");
  fs::create_symlink(source / "d/f", source / "link");
  NewFileSystem target;
  target.manager.addAll(source.u16(), TransformMode::None);
  EXPECT_EQ(target.manager.getLinkTarget(target.manager.getEntry(u"/link")), u"/d/f");
}

TEST(FileSystemManagerAdding, AbsoluteTargetOutsideTheRootEndsAddAll) {
  TemporaryDirectory source;
  writeFile(source / "a", "a");
  fs::create_symlink("/etc/passwd", source / "link");
  writeFile(source / "z", "z");
  NewFileSystem target;
  EXPECT_THROW_MESSAGE(target.manager.addAll(source.u16(), TransformMode::None), CouldNotMakeRelativeToSourceRoot,
                       "Could not make source file name relative to source root");
  EXPECT_THAT(leafs(target.manager), ElementsAre(u"/a"));
}

TEST(FileSystemManagerAdding, FailureOfOneFileEndsAddAllAndKeepsTheOthers) {
  TemporaryDirectory source;
  for (char const* name : {"a", "b", "c"}) writeFile(source / name, name);
  NewFileSystem target;
  target.manager.createFolder(u"/b");
  EXPECT_THROW_MESSAGE(target.manager.addAll(source.u16(), TransformMode::None), FileSystemEntryAlreadyExists,
                       "File system entry already exists: /b");
  EXPECT_THAT(leafs(target.manager), ElementsAre(u"/a", u"/b"));
}

TEST(FileSystemManagerAdding, UncarriableNameIsRefusedBeforeAnyFileIsAdded) {
  TemporaryDirectory source;
  writeFile(source / "a", "a");
  writeFile(source / "b\x01", "b");
  NewFileSystem target;
  EXPECT_THROW(target.manager.addAll(source.u16(), TransformMode::None), InvalidEntryName);
  EXPECT_THAT(leafs(target.manager), IsEmpty());
  EXPECT_FALSE(target.manager.isDirty());
}

TEST(FileSystemManagerAdding, NameThatIsNotUTF8IsRefused) {
  TemporaryDirectory source;
  writeFile(source / "b\xFF", "b");
  NewFileSystem target;
  EXPECT_THROW(target.manager.addAll(source.u16(), TransformMode::None), InvalidEntryName);
  EXPECT_THAT(leafs(target.manager), IsEmpty());
}

TEST(FileSystemManagerAdding, LinkTargetThatIsNotUTF8IsRefused) {
  TemporaryDirectory source;
  fs::create_symlink("b\xFF", source / "link");
  NewFileSystem target;
  EXPECT_THROW(target.manager.addAll(source.u16(), TransformMode::None), InvalidEntryName);
  EXPECT_THAT(leafs(target.manager), IsEmpty());
}

TEST(FileSystemManagerAdding, UncarriableLinkTargetIsRefused) {
  TemporaryDirectory source;
  fs::create_symlink("b\x02", source / "link");
  NewFileSystem target;
  EXPECT_THROW(target.manager.addAll(source.u16(), TransformMode::None), InvalidEntryName);
}

std::string contentTypeAt(NewFileSystem& target, std::u16string const& path) {
  PartName const part(target.manager.getEntry(path).getContentName());
  return opc::toUTF8String(target.package->getPart(part).getContentType().toString());
}

std::string const kLatin1 = "Nous \xE9tions all\xE9s \xE0 la for\xEAt cet \xE9t\xE9.\n";
std::string const kUTF8 = "Nous \u00E9tions all\u00E9s \u00E0 la for\u00EAt cet \u00E9t\u00E9.\n";

TEST(FileSystemManagerAdding, TransformMakesTextUTF8AndSaysSoInItsType) {
  TemporaryDirectory source;
  writeFile(source / "t.txt", kLatin1);
  writeFile(source / "d/t.tq", kLatin1);
  NewFileSystem target;
  target.manager.addAll(source.u16(), TransformMode::Transform);
  for (std::u16string const path : {u"/t.txt", u"/d/t.tq"}) {
    EXPECT_EQ(textAt(target.manager, path), kUTF8);
    EXPECT_EQ(contentTypeAt(target, path), "text/plain;charset=utf-8");
  }
}

TEST(FileSystemManagerAdding, TransformMarksTextThatIsUTF8OrEmptyAlready) {
  TemporaryDirectory source;
  writeFile(source / "u.txt", "\uFEFF" + kUTF8);
  writeFile(source / "e.txt", "");
  NewFileSystem target;
  target.manager.addFile(source.u16("u.txt"), u"/u.txt", TransformMode::Transform);
  target.manager.addFile(source.u16("e.txt"), u"/e.txt", TransformMode::Transform);
  EXPECT_EQ(textAt(target.manager, u"/u.txt"), "\uFEFF" + kUTF8);
  EXPECT_EQ(textAt(target.manager, u"/e.txt"), "");
  EXPECT_EQ(contentTypeAt(target, u"/e.txt"), "text/plain;charset=utf-8");
}

TEST(FileSystemManagerAdding, TransformLeavesOtherFilesAsTheyAre) {
  TemporaryDirectory source;
  for (std::string const name : {"p.png", "plain", "h.html", "b.bin"}) writeFile(source / name, kLatin1);
  NewFileSystem target;
  target.manager.addAll(source.u16(), TransformMode::Transform);
  for (std::u16string const path : {u"/p.png", u"/plain", u"/h.html", u"/b.bin"}) {
    EXPECT_EQ(textAt(target.manager, path), kLatin1);
    EXPECT_EQ(contentTypeAt(target, path).find(';'), std::string::npos);
  }
}

TEST(FileSystemManagerAdding, TextStaysAsItIsWithoutTransform) {
  TemporaryDirectory source;
  writeFile(source / "t.txt", kLatin1);
  NewFileSystem target;
  for (TransformMode const mode : {TransformMode::None, TransformMode(2)}) {
    std::u16string const path = numbered(u"/t", static_cast<std::size_t>(mode));
    target.manager.addFile(source.u16("t.txt"), path, mode);
    EXPECT_EQ(textAt(target.manager, path), kLatin1);
    EXPECT_EQ(contentTypeAt(target, path), "text/plain");
  }
}

TEST(FileSystemManagerAdding, NoTransformAppliesToAGivenSource) {
  NewFileSystem target;
  target.manager.addFile(std::make_unique<TextSource>(kLatin1, ContentType(u"text/plain")), u"/t.txt",
                         opc::Perms::OwnerRead, kTime);
  EXPECT_EQ(textAt(target.manager, u"/t.txt"), kLatin1);
}

TEST(FileSystemManagerAdding, UndecodableTextEndsTheOperation) {
  TemporaryDirectory source;
  writeFile(source / "a.txt", "a");
  writeFile(source / "b.txt", "\uFEFF\xFF");
  writeFile(source / "c.txt", "c");
  NewFileSystem target;
  EXPECT_THROW_MESSAGE(target.manager.addAll(source.u16(), TransformMode::Transform), opc::UndecodableText,
                       "Text is not valid UTF-8 at byte 3");
  EXPECT_EQ(textAt(target.manager, u"/a.txt"), "a");
  EXPECT_FALSE(target.manager.hasEntry(u"/c.txt"));
}

TEST(FileSystemManagerAdding, TransformedTextSurvivesASave) {
  TemporaryDirectory source;
  writeFile(source / "t.txt", kLatin1);
  NewFileSystem target;
  target.manager.addAll(source.u16(), TransformMode::Transform);
  auto const package = reopen(*target.package);
  FileSystemManager manager(*package);
  EXPECT_EQ(textAt(manager, u"/t.txt"), kUTF8);
  EXPECT_EQ(package->getPart(PartName(u"/fsroot/t.txt")).getContentType().toString(), u"text/plain;charset=utf-8");
}

TEST(FileSystemManagerAdding, SelectorChoosesTheOperationsForRootAndFiles) {
  TemporaryDirectory source;
  writeFile(source / "a", "a");
  writeFile(source / "s/b", "b");
  writeFile(source / "z", "z");
  Router router(source.u16("s"));
  auto const package = Package::createInMemory();
  FileSystemManager manager(*package, router);
  manager.addAll(source.u16(), TransformMode::None);
  EXPECT_THAT(router.asked, ElementsAre(source.u16(), source.u16("a"), source.u16("s/b"), source.u16("z")));
  EXPECT_EQ(&manager.getSourceFSImpl(), &router.local);
  manager.addFile(source.u16("s/b"), u"/again", TransformMode::None);
  EXPECT_EQ(&manager.getSourceFSImpl(), &router.special);
}

TEST(FileSystemManagerAdding, GivenOperationsAreTheOnesUsed) {
  opc::LocalFileSystemOps source, destination;
  auto const package = Package::createInMemory();
  FileSystemManager const manager(*package, source, destination);
  EXPECT_EQ(&manager.getSourceFSImpl(), &source);
  EXPECT_EQ(&manager.getDestFSImpl(), &destination);
}

TEST(FileSystemManagerAdding, LocalDiskIsUsedWithoutOperations) {
  NewFileSystem target;
  EXPECT_EQ(&target.manager.getSourceFSImpl(), &target.manager.getDestFSImpl());
  EXPECT_TRUE(dynamic_cast<opc::LocalFileSystemOps*>(&target.manager.getSourceFSImpl()));
}

TEST(FileSystemManagerAdding, NullSourceIsRefused) {
  NewFileSystem fs;
  EXPECT_THROW_MESSAGE(
      fs.manager.addFile(nullptr, u"/f", FileSystemEntry::getUnknownPermissions(), FileSystemEntry::getUnknownTime()),
      opc::Exception, "There is no content source for: /f");
  EXPECT_FALSE(fs.manager.hasEntry(u"/f"));
}

TEST(FileSystemManagerAdding, LinkThatIsGivenAsAFileIsFollowed) {
  TemporaryDirectory source;
  writeFile(source / "file", "text");
  fs::permissions(source / "file", fs::perms(0640));
  fs::create_symlink("file", source / "link");
  NewFileSystem target;
  FileSystemEntry const entry = target.manager.addFile(source.u16("link"), u"/added", TransformMode::None);
  EXPECT_EQ(textAt(target.manager, u"/added"), "text");
  EXPECT_EQ(entry.getPermissions(), 0640U);
}

/// Records the operations that adding calls.
class RecordingDisk final : public opc::LocalFileSystemOps {
 public:
  bool isFile(std::u16string const& path) override {
    calls.emplace_back("isFile");
    return LocalFileSystemOps::isFile(path);
  }
  std::unique_ptr<std::istream> createInputStream(std::u16string const& path, std::ios::openmode mode,
                                                  boost::system::error_code& error) override {
    calls.emplace_back("open");
    return LocalFileSystemOps::createInputStream(path, mode, error);
  }
  opc::Perms::Perms_tag getPermissions(std::u16string const& path, boost::system::error_code& error) override {
    calls.emplace_back("permissions");
    return LocalFileSystemOps::getPermissions(path, error);
  }
  boost::posix_time::ptime getLastModifiedTime(std::u16string const& path, boost::system::error_code& error) override {
    calls.emplace_back("time");
    return LocalFileSystemOps::getLastModifiedTime(path, error);
  }
  std::vector<std::string> calls;
};

TEST(FileSystemManagerAdding, DiskThatOpensNoFilesForAddingIsCalledStepByStep) {
  TemporaryDirectory source;
  writeFile(source / "a", "a");
  RecordingDisk disk;
  auto const package = Package::createInMemory();
  FileSystemManager manager(*package, disk, disk);
  manager.addAll(source.u16(), TransformMode::None);
  EXPECT_THAT(disk.calls, ElementsAre("isFile", "open", "permissions", "time"));
}

TEST(FileSystemManagerAdding, AddsNothingBelowWhatIsNoFolder) {
  TemporaryDirectory source;
  writeFile(source / "a", "a");
  std::filesystem::create_directory(source / "src");
  writeFile(source / "src/f", "f");
  NewFileSystem fs;
  fs.manager.createLink(u"/src", u"elsewhere");
  EXPECT_THROW_MESSAGE(fs.manager.addAll(source.u16(), TransformMode::None), FileSystemEntryMustBeFolder,
                       "File system entry must be a folder");
  EXPECT_THROW(fs.manager.addFile(source.u16("a"), u"/src/a", TransformMode::None), FileSystemEntryMustBeFolder);
  EXPECT_THAT(leafs(fs.manager), testing::ElementsAre(u"/src"));
  EXPECT_THAT(contentParts(*fs.package), testing::IsEmpty());
  EXPECT_EQ(fs.manager.getLinkTarget(fs.manager.getEntry(u"/src")), u"elsewhere");
}

}  // namespace
