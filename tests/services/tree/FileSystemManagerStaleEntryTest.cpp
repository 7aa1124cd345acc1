// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <gmock/gmock.h>

#include "services/tree/FileSystemManagerTestSupport.hpp"

namespace {

using namespace zt_test;
using namespace opc::ztservices;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(FileSystemManagerStaleEntry, DeletedFileIsNotFound) {
  NewFileSystem fs;
  TemporaryDirectory directory;
  FileSystemEntry const entry = createPlainFile(fs.manager, u"/f");
  fs.manager.deleteFile(entry);
  char const* const message = "File system entry does not exist: /f";
  EXPECT_THROW_MESSAGE(fs.manager.deleteFile(entry), FileSystemEntryNotFound, message);
  EXPECT_THROW_MESSAGE(fs.manager.getFileOutputStream(entry), FileSystemEntryNotFound, message);
  EXPECT_THROW_MESSAGE(fs.manager.getFileContentSource(entry, TransformMode::None), FileSystemEntryNotFound, message);
  EXPECT_THROW_MESSAGE(fs.manager.extractEntry(directory.u16("out"), entry, RestoreMode::None, TransformMode::None),
                       FileSystemEntryNotFound, message);
  EXPECT_FALSE(std::filesystem::exists(directory / "out"));
}

TEST(FileSystemManagerStaleEntry, DeletedLinkIsNotFound) {
  NewFileSystem fs;
  FileSystemEntry const entry = fs.manager.createLink(u"/l", u"t");
  fs.manager.deleteLink(entry);
  char const* const message = "File system entry does not exist: /l";
  EXPECT_THROW_MESSAGE(fs.manager.deleteLink(entry), FileSystemEntryNotFound, message);
  EXPECT_THROW_MESSAGE(fs.manager.getLinkTarget(entry), FileSystemEntryNotFound, message);
}

TEST(FileSystemManagerStaleEntry, DeletedFolderIsNotFound) {
  NewFileSystem fs;
  FileSystemEntry const entry = fs.manager.createFolder(u"/d");
  fs.manager.deleteFolder(entry);
  EXPECT_THROW_MESSAGE(fs.manager.deleteFolder(entry), FileSystemEntryNotFound, "File system entry does not exist: /d");
}

TEST(FileSystemManagerStaleEntry, QuestionsAboutItsPathAreAnswered) {
  NewFileSystem fs;
  createPlainFile(fs.manager, u"/d/f");
  FileSystemEntry const entry = fs.manager.getEntry(u"/d");
  fs.manager.deleteFolder(entry);
  EXPECT_FALSE(fs.manager.hasChildren(entry));
  EXPECT_THAT(fs.manager.getChildren(entry), IsEmpty());
  EXPECT_FALSE(fs.manager.hasParent(entry));
  EXPECT_THROW_MESSAGE(fs.manager.getParent(entry), FileSystemEntryHasNoParent, "File system entry has no parent");
}

TEST(FileSystemManagerStaleEntry, DoesNotReachTheFolderThatTookItsPath) {
  NewFileSystem fs;
  FileSystemEntry const entry = createPlainFile(fs.manager, u"/x");
  fs.manager.deleteFile(entry);
  createPlainFile(fs.manager, u"/x/y");
  EXPECT_THROW(fs.manager.deleteFile(entry), FileSystemEntryNotFound);
  EXPECT_THAT(leafs(fs.manager), ElementsAre(u"/x/y"));
}

TEST(FileSystemManagerStaleEntry, DoesNotReachTheFileThatTookItsPart) {
  NewFileSystem fs;
  addPart(*fs.package, u"/fsroot/x", u"a/b", "foreign");
  FileSystemEntry const entry = createPlainFile(fs.manager, u"/x");
  ASSERT_EQ(entry.getContentName(), u"/fsroot/x_1");
  fs.manager.deleteFile(entry);
  addText(fs.manager, u"/x_1", "of another file");
  EXPECT_THROW(fs.manager.getFileOutputStream(entry), FileSystemEntryNotFound);
  EXPECT_THROW(fs.manager.deleteFile(entry), FileSystemEntryNotFound);
  EXPECT_EQ(textAt(fs.manager, u"/x_1"), "of another file");
}

TEST(FileSystemManagerStaleEntry, OtherTimesAndPermissionsDoNotMakeAnEntryStale) {
  NewFileSystem fs;
  FileSystemEntry const entry = createPlainFile(fs.manager, u"/f");
  fs.manager.deleteFile(entry);
  fs.manager.createFile(u"/f", ContentType(u"a/b"), opc::Perms::OwnerRead, opc::getCurrentTime());
  fs.manager.deleteFile(entry);
  EXPECT_THAT(leafs(fs.manager), IsEmpty());
}

TEST(FileSystemManagerStaleEntry, DoesNotMakeAManagerDirty) {
  NewFileSystem fs;
  FileSystemEntry const entry = createPlainFile(fs.manager, u"/f");
  auto const other = Package::createInMemory();
  FileSystemManager manager(*other);
  EXPECT_THROW(manager.deleteFile(entry), FileSystemEntryNotFound);
  EXPECT_FALSE(manager.isDirty());
}

}  // namespace
