// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <optional>
#include <sstream>
#include <string>

#include "opc/Streams.hpp"
#include "services/tree/EncryptionTestSupport.hpp"
#include "services/tree/FileSystemManagerTestSupport.hpp"

namespace {

using namespace zt_test;
using namespace opc::ztservices;
using testing::ElementsAre;

TEST(FileSystemManagerMoving, AFolderTakesAlongWhatIsBelow) {
  NewFileSystem fs;
  addText(fs.manager, u"/a/d/f", "text");
  fs.manager.createLink(u"/a/d/l", u"f");
  FileSystemEntry const moved = fs.manager.moveEntry(fs.manager.getEntry(u"/a/d"), u"new\\e");
  EXPECT_EQ(moved.getPathName(), u"/new/e");
  auto const package = reopen(*fs.package);
  FileSystemManager manager(*package);
  EXPECT_THAT(leafs(manager), ElementsAre(u"/a", u"/new/e/f", u"/new/e/l"));
  EXPECT_EQ(textAt(manager, u"/new/e/f"), "text");
  EXPECT_EQ(manager.getLinkTarget(manager.getEntry(u"/new/e/l")), u"f");
  EXPECT_THAT(contentParts(*package), ElementsAre(u"/fsroot/a/d/f"));
}

TEST(FileSystemManagerMoving, AFileKeepsItsTimeAndPermissions) {
  NewFileSystem fs;
  fs.manager.createFile(u"/f", ContentType(u"text/plain"), opc::Perms::OwnerRead, kTime);
  FileSystemEntry const moved = fs.manager.moveEntry(fs.manager.getEntry(u"/f"), u"/g");
  EXPECT_EQ(moved.getPermissions(), opc::Perms::OwnerRead);
  EXPECT_EQ(moved.getLastModifiedTime(), kTime);
}

TEST(FileSystemManagerMoving, ANewFileTakesTheFormerPathAndNoOthersContent) {
  NewFileSystem fs;
  addText(fs.manager, u"/f.txt", "first");
  fs.manager.moveEntry(fs.manager.getEntry(u"/f.txt"), u"/g.txt");
  addText(fs.manager, u"/f.txt", "second");
  EXPECT_EQ(textAt(fs.manager, u"/g.txt"), "first");
  fs.manager.deleteFile(fs.manager.getEntry(u"/g.txt"));
  EXPECT_EQ(textAt(fs.manager, u"/f.txt"), "second");
}

TEST(FileSystemManagerMoving, EncryptedContentsStayAsTheyAreStored) {
  NewEncryptedFileSystem fs;
  addText(fs.manager, u"/f", "secret");
  std::string const stored = textAt(fs.manager, u"/f");
  auto const parts = contentParts(*fs.package);
  fs.manager.moveEntry(fs.manager.getEntry(u"/f"), u"/d/g");
  auto const package = reopen(*fs.package);
  FileSystemManager manager(*package);
  manager.enableDecryption(testKey());
  EXPECT_EQ(textAt(manager, u"/d/g"), stored);
  EXPECT_EQ(decryptedTextAt(manager, u"/d/g"), "secret");
  EXPECT_EQ(contentParts(*package), parts);
}

TEST(FileSystemManagerMoving, NothingMovesBelowItself) {
  NewFileSystem fs;
  fs.manager.createFolder(u"/a/b");
  EXPECT_THROW_MESSAGE(fs.manager.moveEntry(fs.manager.getEntry(u"/a"), u"/a/b/c"), CannotMoveIntoItself,
                       "File system entry cannot be moved below itself: /a/b/c");
  EXPECT_THROW_MESSAGE(fs.manager.moveEntry(fs.manager.getRoot(), u"/x"), CannotMoveIntoItself,
                       "File system entry cannot be moved below itself: /x");
  EXPECT_THAT(leafs(fs.manager), ElementsAre(u"/a/b"));
}

TEST(FileSystemManagerMoving, NothingMovesOntoOrBelowAnotherFile) {
  NewFileSystem fs;
  createPlainFile(fs.manager, u"/f");
  FileSystemEntry const folder = fs.manager.createFolder(u"/d");
  EXPECT_THROW(fs.manager.moveEntry(folder, u"/f"), FileSystemEntryAlreadyExists);
  EXPECT_THROW(fs.manager.moveEntry(folder, u"/f/d"), FileSystemEntryMustBeFolder);
  EXPECT_THROW(fs.manager.moveEntry(folder, u"/d"), FileSystemEntryAlreadyExists);
  EXPECT_THAT(leafs(fs.manager), ElementsAre(u"/d", u"/f"));
}

TEST(FileSystemManagerMoving, AStaleEntryDoesNotMove) {
  NewFileSystem fs;
  FileSystemEntry const folder = fs.manager.createFolder(u"/d");
  fs.manager.moveEntry(folder, u"/e");
  EXPECT_THROW(fs.manager.moveEntry(folder, u"/f"), FileSystemEntryNotFound);
}

TEST(FileSystemManagerMoving, NoPathBelowBecomesTooLong) {
  NewFileSystem fs;
  std::u16string const deep = u"/" + std::u16string(100, u'x');
  FileSystemEntry const folder = fs.manager.createFolder(u"/a");
  fs.manager.createFolder(u"/a" + deep);
  EXPECT_THROW(fs.manager.moveEntry(folder, u"/" + std::u16string(131'000, u'y')), InvalidEntryName);
  EXPECT_THAT(leafs(fs.manager), ElementsAre(u"/a" + deep));
}

TEST(FileSystemManagerMoving, PermissionsAndTimeChangeWithoutTheContent) {
  NewFileSystem fs;
  FileSystemEntry const file = addText(fs.manager, u"/f", "text");
  FileSystemEntry const changed = fs.manager.setPermissionsAndTime(file, opc::Perms::OwnerRead, kTime);
  EXPECT_EQ(changed.getPermissions(), opc::Perms::OwnerRead);
  auto const package = reopen(*fs.package);
  FileSystemManager manager(*package);
  EXPECT_EQ(manager.getEntry(u"/f"), changed);
  EXPECT_EQ(textAt(manager, u"/f"), "text");
}

bool hasText(FileSystemManager& manager, std::u16string const& path, std::string const& text) {
  std::istringstream stream(text);
  opc::StdIStreamAdaptor input(stream);
  return manager.hasContent(manager.getEntry(path), input);
}

TEST(FileSystemManagerMoving, ContentsAreComparedByTheContainersChecksum) {
  NewFileSystem fs;
  addText(fs.manager, u"/f", "text");
  EXPECT_EQ(fs.manager.getCRC32(fs.manager.getEntry(u"/f")), std::nullopt);
  EXPECT_TRUE(hasText(fs.manager, u"/f", "text"));
  EXPECT_FALSE(hasText(fs.manager, u"/f", "tex"));
  auto const package = reopen(*fs.package);
  FileSystemManager manager(*package);
  EXPECT_EQ(manager.getCRC32(manager.getEntry(u"/f")), 0x3B8BA7C7U);  // of "text", computed by Python's zlib
  EXPECT_TRUE(hasText(manager, u"/f", "text"));
  for (auto const other : {"Text", "texts", "tex", ""}) EXPECT_FALSE(hasText(manager, u"/f", other));
}

TEST(FileSystemManagerMoving, EncryptedContentsAreComparedByDecryptingThem) {
  NewEncryptedFileSystem fs;
  addText(fs.manager, u"/f", "text");
  auto const package = reopen(*fs.package);
  FileSystemManager manager(*package);
  EXPECT_THROW(manager.ensureLoaded(), CouldNotDecryptContent);
  manager.enableDecryption(testKey());
  EXPECT_EQ(manager.getCRC32(manager.getEntry(u"/f")), std::nullopt);
  EXPECT_TRUE(hasText(manager, u"/f", "text"));
  EXPECT_FALSE(hasText(manager, u"/f", "test"));
}

}  // namespace
