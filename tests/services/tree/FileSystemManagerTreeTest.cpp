// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gmock/gmock.h>
#include <memory>
#include <string>
#include <vector>

#include "services/tree/FileSystemManagerTestSupport.hpp"

namespace {

using namespace zt_test;
using namespace opc::ztservices;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(FileSystemManagerTree, NewFileSystemHoldsTheRootAlone) {
  NewFileSystem fs;
  EXPECT_EQ(fs.manager.getRoot().getPathName(), u"/");
  EXPECT_TRUE(fs.manager.getRoot().isFolder());
  EXPECT_FALSE(fs.manager.hasChildren(u"/"));
  EXPECT_THAT(fs.manager.getAllLeafs(), IsEmpty());
  EXPECT_FALSE(fs.manager.isDirty());
}

TEST(FileSystemManagerTree, CreateFolderTakesBackslashesAndMakesAncestors) {
  NewFileSystem fs;
  FileSystemEntry const entry = fs.manager.createFolder(u"a\\b");
  EXPECT_EQ(entry.getPathName(), u"/a/b");
  EXPECT_TRUE(fs.manager.getEntry(u"/a").isFolder());
  EXPECT_EQ(fs.manager.getEntry(u"/a").getPermissions(), FileSystemEntry::getUnknownPermissions());
  EXPECT_TRUE(fs.manager.getEntry(u"/a").getLastModifiedTime().is_not_a_date_time());
  EXPECT_TRUE(fs.manager.isDirty());
}

TEST(FileSystemManagerTree, LookingUpAddsNoLeadingSlash) {
  NewFileSystem fs;
  fs.manager.createFolder(u"a\\b");
  EXPECT_FALSE(fs.manager.hasEntry(u"a/b"));
  EXPECT_FALSE(fs.manager.hasEntry(u"a\\b"));
  EXPECT_TRUE(fs.manager.hasEntry(u"/a/b"));
  EXPECT_TRUE(fs.manager.hasEntry(u"\\a\\b"));
  EXPECT_TRUE(fs.manager.hasEntry(u"\\\\a\\b"));
}

TEST(FileSystemManagerTree, LookingUpWhatIsAbsentThrows) {
  NewFileSystem fs;
  char const* const message = "File system entry does not exist: /x/y";
  EXPECT_THROW_MESSAGE(fs.manager.getEntry(u"\\x/y"), FileSystemEntryNotFound, message);
  EXPECT_THROW_MESSAGE(fs.manager.hasParent(u"/x/y"), FileSystemEntryNotFound, message);
  EXPECT_THROW_MESSAGE(fs.manager.getParent(u"/x/y"), FileSystemEntryNotFound, message);
  EXPECT_THROW_MESSAGE(fs.manager.hasChildren(u"/x/y"), FileSystemEntryNotFound, message);
  EXPECT_THROW_MESSAGE(fs.manager.getChildren(u"/x/y"), FileSystemEntryNotFound, message);
  EXPECT_THROW_MESSAGE(fs.manager.throwIfNotFound(u"/x/y"), FileSystemEntryNotFound, message);
}

TEST(FileSystemManagerTree, FileIsCreatedEmptyWithItsPart) {
  NewFileSystem fs;
  auto const time = boost::posix_time::from_time_t(1'000'000'000);
  FileSystemEntry const entry =
      fs.manager.createFile(u"d/x.txt", ContentType(u"text/plain"), opc::Perms::Perms_tag(0640), time);
  EXPECT_TRUE(entry.isFile());
  EXPECT_EQ(entry.getContentName(), u"/fsroot/d/x.txt");
  EXPECT_EQ(entry.getPermissions(), 0640);
  EXPECT_EQ(entry.getLastModifiedTime(), time);
  EXPECT_EQ(fs.package->getPart(PartName(u"/fsroot/d/x.txt")).getContentType().toString(), u"text/plain");
  EXPECT_EQ(textAt(fs.manager, u"/d/x.txt"), "");
}

TEST(FileSystemManagerTree, NothingIsCreatedWhereAnEntryIs) {
  NewFileSystem fs;
  createPlainFile(fs.manager, u"/x.txt");
  char const* const message = "File system entry already exists: /x.txt";
  EXPECT_THROW_MESSAGE(createPlainFile(fs.manager, u"/x.txt"), FileSystemEntryAlreadyExists, message);
  EXPECT_THROW_MESSAGE(fs.manager.createFolder(u"x.txt"), FileSystemEntryAlreadyExists, message);
  EXPECT_THROW_MESSAGE(fs.manager.createLink(u"\\x.txt", u"t"), FileSystemEntryAlreadyExists, message);
  EXPECT_THROW_MESSAGE(addText(fs.manager, u"x.txt", "t"), FileSystemEntryAlreadyExists, message);
  EXPECT_THROW_MESSAGE(fs.manager.throwIfAlreadyExists(u"/x.txt"), FileSystemEntryAlreadyExists, message);
  EXPECT_THAT(contentParts(*fs.package), ElementsAre(u"/fsroot/x.txt"));
}

TEST(FileSystemManagerTree, TheRootExistsAlready) {
  NewFileSystem fs;
  EXPECT_THROW_MESSAGE(fs.manager.createFolder(u""), FileSystemEntryAlreadyExists,
                       "File system entry already exists: /");
  EXPECT_THROW_MESSAGE(createPlainFile(fs.manager, u"/"), FileSystemEntryAlreadyExists,
                       "File system entry already exists: /");
}

TEST(FileSystemManagerTree, RepeatedSlashesAndOneAtTheEndAreKept) {
  NewFileSystem fs;
  fs.manager.createFolder(u"/a/");
  createPlainFile(fs.manager, u"/b//c");
  EXPECT_TRUE(fs.manager.hasEntry(u"/a") && fs.manager.hasEntry(u"/a/") && fs.manager.hasEntry(u"/b//c"));
  EXPECT_FALSE(fs.manager.hasEntry(u"/b/c"));
  EXPECT_EQ(fs.manager.getParent(u"/a/").getPathName(), u"/a");
}

TEST(FileSystemManagerTree, SlashesAtTheBeginningMakeNoOtherEntry) {
  NewFileSystem fs;
  createPlainFile(fs.manager, u"//a");
  EXPECT_THROW(createPlainFile(fs.manager, u"/a"), FileSystemEntryAlreadyExists);
  EXPECT_THROW(createPlainFile(fs.manager, u"//a"), FileSystemEntryAlreadyExists);
  EXPECT_THROW(createPlainFile(fs.manager, u"//"), FileSystemEntryAlreadyExists);
  EXPECT_EQ(contentParts(*fs.package).size(), 1U);
}

TEST(FileSystemManagerTree, FolderCreatedWithASlashAtTheEndCanBeDeleted) {
  NewFileSystem fs;
  fs.manager.deleteFolder(fs.manager.createFolder(u"/a/"));
  EXPECT_THAT(leafs(fs.manager), ElementsAre(u"/a"));
}

TEST(FileSystemManagerTree, LinkKeepsItsTargetButForSeparators) {
  NewFileSystem fs;
  FileSystemEntry const entry = fs.manager.createLink(u"l", u"..\\not\\there");
  EXPECT_TRUE(entry.isLink());
  EXPECT_EQ(fs.manager.getLinkTarget(entry), u"../not/there");
  EXPECT_EQ(entry.getPermissions(), FileSystemEntry::getUnknownPermissions());
  EXPECT_TRUE(entry.getLastModifiedTime().is_not_a_date_time());
}

TEST(FileSystemManagerTree, RootHasNoParent) {
  NewFileSystem fs;
  EXPECT_FALSE(fs.manager.hasParent(u"/"));
  EXPECT_FALSE(fs.manager.hasParent(fs.manager.getRoot()));
  EXPECT_THROW_MESSAGE(fs.manager.getParent(u"/"), FileSystemEntryHasNoParent, "File system entry has no parent");
  EXPECT_THROW_MESSAGE(fs.manager.getParent(fs.manager.getRoot()), FileSystemEntryHasNoParent,
                       "File system entry has no parent");
}

TEST(FileSystemManagerTree, ParentsAndChildrenAreFound) {
  NewFileSystem fs;
  FileSystemEntry const file = createPlainFile(fs.manager, u"/a/f");
  EXPECT_TRUE(fs.manager.hasParent(file));
  EXPECT_EQ(fs.manager.getParent(file).getPathName(), u"/a");
  EXPECT_EQ(fs.manager.getParent(u"/a").getPathName(), u"/");
  EXPECT_TRUE(fs.manager.hasChildren(fs.manager.getEntry(u"/a")));
  EXPECT_FALSE(fs.manager.hasChildren(file));
  EXPECT_THAT(fs.manager.getChildren(file), IsEmpty());
}

TEST(FileSystemManagerTree, ChildrenComeAsInsertedAndLeavesInOrderOfPath) {
  NewFileSystem fs;
  createPlainFile(fs.manager, u"/z");
  fs.manager.createLink(u"/a", u"t");
  fs.manager.createFolder(u"/B");
  EXPECT_THAT(pathsOf(fs.manager.getChildren(u"/")), ElementsAre(u"/z", u"/a", u"/B"));
  EXPECT_THAT(pathsOf(fs.manager.getChildren(fs.manager.getRoot())), ElementsAre(u"/z", u"/a", u"/B"));
  EXPECT_THAT(leafs(fs.manager), ElementsAre(u"/B", u"/a", u"/z"));
}

TEST(FileSystemManagerTree, VisitsEntriesAndLeafsInOrderOfPath) {
  NewFileSystem fs;
  for (auto const path : {u"/b/c", u"/b!", u"/a"}) fs.manager.createFolder(path);
  std::vector<std::u16string> entries, leaves;
  fs.manager.visitEntries([&](FileSystemEntry const& entry) { entries.push_back(entry.getPathName()); });
  fs.manager.visitLeafs([&](FileSystemEntry const& leaf) { leaves.push_back(leaf.getPathName()); });
  EXPECT_THAT(entries, ElementsAre(u"/a", u"/b", u"/b!", u"/b/c"));
  EXPECT_THAT(leaves, ElementsAre(u"/a", u"/b!", u"/b/c"));
}

TEST(FileSystemManagerTree, EmptyFolderIsALeaf) {
  NewFileSystem fs;
  fs.manager.createFolder(u"/e");
  EXPECT_THAT(leafs(fs.manager), ElementsAre(u"/e"));
}

TEST(FileSystemManagerTree, KindsAreNotMixedUp) {
  NewFileSystem fs;
  FileSystemEntry const file = createPlainFile(fs.manager, u"/f");
  FileSystemEntry const link = fs.manager.createLink(u"/l", u"t");
  FileSystemEntry const folder = fs.manager.createFolder(u"/d");
  EXPECT_THROW_MESSAGE(fs.manager.deleteFile(link), FileSystemEntryMustBeFile, "File system entry must be a file");
  EXPECT_THROW_MESSAGE(fs.manager.deleteLink(file), FileSystemEntryMustBeLink, "File system entry must be a link");
  EXPECT_THROW_MESSAGE(fs.manager.deleteFolder(file), FileSystemEntryMustBeFolder,
                       "File system entry must be a folder");
  EXPECT_THROW_MESSAGE(fs.manager.getLinkTarget(file), FileSystemEntryMustBeLink,
                       "File system entry must be a symbolic link");
  EXPECT_THROW_MESSAGE(fs.manager.getFileOutputStream(folder), FileSystemEntryMustBeFile,
                       "File system entry must be a file");
  EXPECT_THROW_MESSAGE(fs.manager.getFileContentSource(link, TransformMode::None), FileSystemEntryMustBeFile,
                       "File system entry must be a file");
  EXPECT_THAT(leafs(fs.manager), ElementsAre(u"/d", u"/f", u"/l"));
}

TEST(FileSystemManagerTree, DeleteFileTakesThePartAlong) {
  NewFileSystem fs;
  FileSystemEntry const entry = createPlainFile(fs.manager, u"/d/f");
  fs.manager.deleteFile(entry);
  EXPECT_FALSE(fs.manager.hasEntry(u"/d/f"));
  EXPECT_THAT(leafs(fs.manager), ElementsAre(u"/d"));
  EXPECT_THAT(contentParts(*fs.package), IsEmpty());
}

TEST(FileSystemManagerTree, DeleteLinkLeavesTheTarget) {
  NewFileSystem fs;
  createPlainFile(fs.manager, u"/f");
  fs.manager.deleteLink(fs.manager.createLink(u"/l", u"/f"));
  EXPECT_THAT(leafs(fs.manager), ElementsAre(u"/f"));
  EXPECT_THAT(contentParts(*fs.package), ElementsAre(u"/fsroot/f"));
}

TEST(FileSystemManagerTree, DeleteFolderTakesEverythingBelow) {
  NewFileSystem fs;
  createPlainFile(fs.manager, u"/a/f.txt");
  createPlainFile(fs.manager, u"/a/sub/g.txt");
  fs.manager.createLink(u"/a/sub/l", u"g.txt");
  createPlainFile(fs.manager, u"/ab");
  fs.manager.deleteFolder(fs.manager.getEntry(u"/a"));
  EXPECT_THAT(leafs(fs.manager), ElementsAre(u"/ab"));
  EXPECT_FALSE(fs.manager.hasEntry(u"/a/sub"));
  EXPECT_FALSE(fs.manager.hasEntry(u"/a"));
  EXPECT_THAT(contentParts(*fs.package), ElementsAre(u"/fsroot/ab"));
}

TEST(FileSystemManagerTree, DeleteFolderCountsAMissingPartAsDeleted) {
  NewFileSystem fs;
  createPlainFile(fs.manager, u"/a/3");
  FileSystemEntry const second = createPlainFile(fs.manager, u"/a/2");
  createPlainFile(fs.manager, u"/a/1");
  fs.package->deletePart(PartName(second.getContentName()));
  fs.manager.deleteFolder(fs.manager.getEntry(u"/a"));
  EXPECT_THAT(leafs(fs.manager), IsEmpty());
  EXPECT_THAT(contentParts(*fs.package), IsEmpty());
}

TEST(FileSystemManagerTree, NothingIsCreatedBelowWhatIsNoFolder) {
  constexpr char kMessage[] = "File system entry must be a folder";
  NewFileSystem fs;
  createPlainFile(fs.manager, u"/f");
  fs.manager.createLink(u"/l", u"t");
  fs.package->save();
  for (std::u16string const path : {u"/f/x", u"/l/x", u"/f/x/y", u"/l/x/y", u"\\f\\x", u"//f/x", u"/f/"}) {
    EXPECT_THROW_MESSAGE(fs.manager.createFolder(path), FileSystemEntryMustBeFolder, kMessage);
    EXPECT_THROW_MESSAGE(fs.manager.createLink(path, u"t"), FileSystemEntryMustBeFolder, kMessage);
    EXPECT_THROW_MESSAGE(createPlainFile(fs.manager, path), FileSystemEntryMustBeFolder, kMessage);
    EXPECT_THROW_MESSAGE(addText(fs.manager, path, "t"), FileSystemEntryMustBeFolder, kMessage);
  }
  EXPECT_FALSE(fs.manager.isDirty());
  EXPECT_THAT(leafs(fs.manager), ElementsAre(u"/f", u"/l"));
  EXPECT_THAT(contentParts(*fs.package), ElementsAre(u"/fsroot/f"));
}

TEST(FileSystemManagerTree, NothingIsCreatedInAFolderBelowWhatIsNoFolder) {
  auto const package = foreignPackage(entryOf("/f", "/c") + entryOf("/f/d", "", "Folder"));
  FileSystemManager manager(*package);
  EXPECT_THROW(manager.createFolder(u"/f/d/x"), FileSystemEntryMustBeFolder);
}

TEST(FileSystemManagerTree, ALinkNeedsATarget) {
  NewFileSystem fs;
  EXPECT_THROW_MESSAGE(fs.manager.createLink(u"/l", u""), InvalidEntryName, "Link has no target: /l");
  EXPECT_FALSE(fs.manager.hasEntry(u"/l"));
  EXPECT_FALSE(fs.manager.isDirty());
}

TEST(FileSystemManagerTree, DeletingTheRootEmptiesIt) {
  NewFileSystem fs;
  createPlainFile(fs.manager, u"/a/f");
  fs.manager.createLink(u"/l", u"t");
  fs.manager.deleteFolder(fs.manager.getRoot());
  EXPECT_THAT(leafs(fs.manager), IsEmpty());
  EXPECT_THAT(contentParts(*fs.package), IsEmpty());
  EXPECT_EQ(createPlainFile(fs.manager, u"/a/f").getContentName(), u"/fsroot/a/f");
}

TEST(FileSystemManagerTree, OutputStreamReplacesStoredBytes) {
  NewFileSystem fs;
  FileSystemEntry const entry = addText(fs.manager, u"/f", "a long text of before");
  auto const output = fs.manager.getFileOutputStream(entry);
  output->write("new", 3);
  output->close();
  EXPECT_EQ(textAt(fs.manager, u"/f"), "new");
}

TEST(FileSystemManagerTree, EntriesAreSnapshotsThatOutliveTheManager) {
  auto fs = std::make_unique<NewFileSystem>();
  FileSystemEntry const entry = createPlainFile(fs->manager, u"/d/f");
  fs->manager.deleteFile(entry);
  fs.reset();
  EXPECT_EQ(entry.getPathName(), u"/d/f");
  EXPECT_EQ(entry.getContentName(), u"/fsroot/d/f");
}

TEST(FileSystemManagerTree, DeeplyNestedFoldersAreDeleted) {
  NewFileSystem fs;
  std::u16string path;
  for (int i = 0; i < 1000; ++i) path += u"/d";
  createPlainFile(fs.manager, path + u"/f");
  fs.manager.deleteFolder(fs.manager.getEntry(u"/d"));
  EXPECT_THAT(leafs(fs.manager), IsEmpty());
  EXPECT_THAT(contentParts(*fs.package), IsEmpty());
}

TEST(FileSystemManagerTree, WideFoldersAreDeleted) {
  NewFileSystem fs;
  for (std::size_t i = 0; i < 20'000; ++i) fs.manager.createLink(numbered(u"/d/", i), u"t");
  fs.manager.deleteFolder(fs.manager.getEntry(u"/d"));
  EXPECT_THAT(leafs(fs.manager), IsEmpty());
}

TEST(FileSystemManagerTree, ReadOnlyPackageRefusesFiles) {
  NewFileSystem fs;
  auto const package = reopen(*fs.package, AccessMode::ReadOnly);
  FileSystemManager manager(*package);
  EXPECT_THROW(createPlainFile(manager, u"/f"), opc::model::PackageIsReadOnly);
  EXPECT_FALSE(manager.hasEntry(u"/f"));
  EXPECT_FALSE(manager.isDirty());
}

TEST(FileSystemManagerTree, EntriesWithSlashesAtTheBeginningSurviveAReopening) {
  NewFileSystem fs;
  FileSystemEntry const first = createPlainFile(fs.manager, u"//x/y");
  EXPECT_EQ(first.getPathName(), u"/x/y");
  EXPECT_THROW(createPlainFile(fs.manager, u"/x"), FileSystemEntryAlreadyExists);
  fs.manager.deleteFile(first);
  createPlainFile(fs.manager, u"///z");
  auto const package = reopen(*fs.package);
  FileSystemManager const again(*package);
  EXPECT_THAT(pathsOf(again.getChildren(u"/")), ElementsAre(u"/x", u"/z"));
  EXPECT_TRUE(again.hasEntry(u"/x") && again.hasEntry(u"/z"));
}

TEST(FileSystemManagerTree, LinkPathIsCheckedBeforeItsTarget) {
  NewFileSystem fs;
  fs.manager.createFolder(u"/l");
  EXPECT_THROW(fs.manager.createLink(u"/l", u"\x01"), FileSystemEntryAlreadyExists);
}

}  // namespace
