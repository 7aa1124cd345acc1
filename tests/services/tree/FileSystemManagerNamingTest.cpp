// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gmock/gmock.h>
#include <string>
#include <vector>

#include "services/tree/FileSystemManagerTestSupport.hpp"

namespace {

using namespace zt_test;
using namespace opc::ztservices;
using testing::IsEmpty;

std::u16string nameFor(std::vector<std::u16string> const& existing, std::u16string const& path) {
  auto const package = Package::createInMemory();
  for (std::u16string const& name : existing) addPart(*package, name, u"a/b", "");
  return FileSystemManager(*package).makeUniquePartName(path);
}

TEST(FileSystemManagerNaming, NormalizePathConvertsSeparatorsAndAddsALeadingSlash) {
  NewFileSystem fs;
  EXPECT_EQ(fs.manager.normalizePath(u"a\\b"), u"/a/b");
  EXPECT_EQ(fs.manager.normalizePath(u""), u"/");
  EXPECT_EQ(fs.manager.normalizePath(u"/a/"), u"/a/");
  EXPECT_EQ(fs.manager.normalizePath(u"\\\\server\\x"), u"/server/x");
  EXPECT_EQ(fs.manager.normalizePath(u"\\"), u"/");
  EXPECT_EQ(fs.manager.normalizePath(u"\\\\"), u"/");
}

TEST(FileSystemManagerNaming, NormalizePathKeepsDotsAndRepeatedSlashes) {
  NewFileSystem fs;
  EXPECT_EQ(fs.manager.normalizePath(u"./a/../b//c"), u"/./a/../b//c");
  EXPECT_EQ(fs.manager.normalizePath(u"//a"), u"//a");
  EXPECT_EQ(fs.manager.normalizePath(u"\\\\\\a"), u"//a");
}

TEST(FileSystemManagerNaming, FileNamesAndLinkTargetsStayRelative) {
  NewFileSystem fs;
  EXPECT_EQ(fs.manager.normalizeFileName(u"a\\b"), u"a/b");
  EXPECT_EQ(fs.manager.normalizeLinkTarget(u"..\\b"), u"../b");
  EXPECT_EQ(fs.manager.normalizeLinkTarget(u"\\\\h\\b"), u"/h/b");
  EXPECT_EQ(fs.manager.normalizeLinkTarget(u""), u"");
}

TEST(FileSystemManagerNaming, MakeRelativePathDropsTheRootAndOneSlash) {
  NewFileSystem fs;
  EXPECT_EQ(fs.manager.makeRelativePath(u"/src", u"/src/a/b"), u"a/b");
  EXPECT_EQ(fs.manager.makeRelativePath(u"/src", u"/src"), u"");
  EXPECT_EQ(fs.manager.makeRelativePath(u"/src", u"/src//a"), u"/a");
  EXPECT_EQ(fs.manager.makeRelativePath(u"", u"/a"), u"a");
}

TEST(FileSystemManagerNaming, MakeRelativePathDoesNotLookAtComponents) {
  NewFileSystem fs;
  EXPECT_EQ(fs.manager.makeRelativePath(u"/a/b", u"/a/bc/d"), u"c/d");
}

TEST(FileSystemManagerNaming, MakeRelativePathRefusesWhatLiesElsewhere) {
  NewFileSystem fs;
  char const* const message = "Could not make source file name relative to source root";
  EXPECT_THROW_MESSAGE(fs.manager.makeRelativePath(u"/src", u"/other/a"), CouldNotMakeRelativeToSourceRoot, message);
  EXPECT_THROW_MESSAGE(fs.manager.makeRelativePath(u"/src", u"/x/src/a"), CouldNotMakeRelativeToSourceRoot, message);
  EXPECT_THROW_MESSAGE(fs.manager.makeRelativePath(u"/src", u""), CouldNotMakeRelativeToSourceRoot, message);
}

TEST(FileSystemManagerNaming, PartNameIsThePercentEncodedPath) {
  EXPECT_EQ(nameFor({}, u"/a b/\u00E9.txt"), u"/fsroot/a%20b/%C3%A9.txt");
  EXPECT_EQ(nameFor({}, u"/a+b@c~d-e_f.g"), u"/fsroot/a+b@c~d-e_f.g");
  EXPECT_EQ(nameFor({}, u"/50%.txt"), u"/fsroot/50%25.txt");
}

TEST(FileSystemManagerNaming, SuffixesAccumulate) {
  EXPECT_EQ(nameFor({u"/fsroot/x.txt"}, u"/x.txt"), u"/fsroot/x_1.txt");
  EXPECT_EQ(nameFor({u"/fsroot/x.txt", u"/fsroot/x_1.txt"}, u"/x.txt"), u"/fsroot/x_1_2.txt");
  EXPECT_EQ(nameFor({u"/fsroot/x", u"/fsroot/x_1", u"/fsroot/x_1_2"}, u"/x"), u"/fsroot/x_1_2_3");
}

TEST(FileSystemManagerNaming, SuffixGoesBeforeTheLastDotOfTheWholeName) {
  EXPECT_EQ(nameFor({u"/fsroot/docs.old/readme"}, u"/docs.old/readme"), u"/fsroot/docs_1.old/readme");
  EXPECT_EQ(nameFor({u"/fsroot/a.tar.gz"}, u"/a.tar.gz"), u"/fsroot/a.tar_1.gz");
}

TEST(FileSystemManagerNaming, NamesThatDifferInCaseClash) {
  EXPECT_EQ(nameFor({u"/fsroot/a.txt"}, u"/A.txt"), u"/fsroot/A.txt_1");
}

TEST(FileSystemManagerNaming, SuffixFollowsAnExistingNameThatThePathContinues) {
  EXPECT_EQ(nameFor({u"/fsroot/a"}, u"/a/b.txt"), u"/fsroot/a_1/b.txt");
}

TEST(FileSystemManagerNaming, SuffixGoesToTheEndWhereAPartLiesBelow) {
  EXPECT_EQ(nameFor({u"/fsroot/x/y/z"}, u"/x"), u"/fsroot/x_1");
}

TEST(FileSystemManagerNaming, NamesThatNoPartMayBearAreSteppedRound) {
  EXPECT_EQ(nameFor({}, u"/foo."), u"/fsroot/foo._1");
  EXPECT_EQ(nameFor({}, u"/_rels/x.rels"), u"/fsroot/_rels_1/x.rels");
  EXPECT_EQ(nameFor({}, u"/./a"), u"/fsroot/._1/a");
  EXPECT_EQ(nameFor({}, u"/../a"), u"/fsroot/.._1/a");
  EXPECT_EQ(nameFor({}, u"/a//b"), u"/fsroot/a/_1/b");
  EXPECT_EQ(nameFor({}, u"/a/"), u"/fsroot/a/_1");
}

TEST(FileSystemManagerNaming, MakeUniquePartNameCreatesNothing) {
  NewFileSystem fs;
  fs.manager.makeUniquePartName(u"/x");
  EXPECT_THAT(contentParts(*fs.package), IsEmpty());
  EXPECT_FALSE(fs.manager.isDirty());
}

TEST(FileSystemManagerNaming, EveryNameThatIsGivenCanBeCreated) {
  NewFileSystem fs;
  for (std::u16string const path : {u"/foo.", u"/foo", u"/FOO", u"/fOO/x", u"/_rels/.rels", u"/a/_rels/b.rels", u"/b/",
                                    u"/...", u"/.", u"/..", u"/c//d", u"/%2f", u"/?#[]", u"/\t\n"})
    EXPECT_NO_THROW(createPlainFile(fs.manager, path)) << opc::toUDEString(path);
}

TEST(FileSystemManagerNaming, WhatXmlCannotCarryIsRefusedBeforeAnythingChanges) {
  NewFileSystem fs;
  for (std::u16string const& bad :
       {std::u16string(u"/a\x01/b"), std::u16string(u"/a/\xD800"), std::u16string(u"/\xFFFE"),
        std::u16string(u"/a\0b", 4), std::u16string(u"/\xDC00x")}) {
    EXPECT_THROW(createPlainFile(fs.manager, bad), InvalidEntryName);
    EXPECT_THROW(fs.manager.createFolder(bad), InvalidEntryName);
    EXPECT_THROW(fs.manager.createLink(bad, u"t"), InvalidEntryName);
    EXPECT_THROW(fs.manager.createLink(u"/l", bad), InvalidEntryName);
    EXPECT_THROW(addText(fs.manager, bad, "t"), InvalidEntryName);
  }
  EXPECT_FALSE(fs.manager.isDirty());
  EXPECT_THAT(leafs(fs.manager), IsEmpty());
  EXPECT_THAT(contentParts(*fs.package), IsEmpty());
}

TEST(FileSystemManagerNaming, CreatedFileStepsRoundForeignParts) {
  NewFileSystem fs;
  addPart(*fs.package, u"/fsroot/x.txt", u"a/b", "");
  addPart(*fs.package, u"/fsroot/x_1.txt", u"a/b", "");
  EXPECT_EQ(createPlainFile(fs.manager, u"/x.txt").getContentName(), u"/fsroot/x_1_2.txt");
}

TEST(FileSystemManagerNaming, MakeUniquePartNameLoadsFirst) {
  auto const package = Package::createInMemory();
  package->createInternalRelationship(FileSystemManager::getRelationshipType(), FileSystemManager::getPartURI());
  EXPECT_THROW(FileSystemManager(*package).makeUniquePartName(u"/x"), opc::model::PartNotFound);
}

/// The text with the letters of the set bits in upper case.
std::u16string inCaseOf(std::u16string text, std::size_t bits) {
  for (std::size_t i = 0; i < text.size(); ++i)
    if (bits >> i & 1U) text[i] = static_cast<char16_t>(text[i] - u'a' + u'A');
  return text;
}

// The names that files had of old, so that a package comes out the same.
TEST(FileSystemManagerNaming, FirstHundredCaseVariantsGetAccumulatedNumbers) {
  NewFileSystem fs;
  std::u16string suffix;
  for (std::size_t i = 0; i < 100; ++i) {
    std::u16string const name = inCaseOf(u"abcdefg", i) + u".txt";
    ASSERT_EQ(createPlainFile(fs.manager, u"/" + name).getContentName(), u"/fsroot/" + name + suffix);
    suffix += numbered(u"_", i + 1);
  }
}

TEST(FileSystemManagerNaming, ThousandsOfCaseVariantsKeepShortNames) {
  NewFileSystem fs;
  for (std::size_t i = 0; i < 2000; ++i) {
    FileSystemEntry const entry = createPlainFile(fs.manager, u"/" + inCaseOf(u"abcdefghijk", i));
    ASSERT_LT(entry.getContentName().size(), 400U) << i;
  }
  EXPECT_EQ(contentParts(*fs.package).size(), 2000U);
}

TEST(FileSystemManagerNaming, MoreThanAHundredBadSegmentsAreMended) {
  std::u16string path;
  for (int i = 0; i < 150; ++i) path += u"/a.";
  EXPECT_TRUE(PartName(nameFor({}, path)).isValid());
}

TEST(FileSystemManagerNaming, NumbersBeyondAHundredGoOnWhereAnotherPartIsInTheWay) {
  NewFileSystem fs;
  for (std::size_t i = 0; i < 300; ++i) addPart(*fs.package, fs.manager.makeUniquePartName(u"/d/x.txt"), u"a/b", "");
  EXPECT_EQ(contentParts(*fs.package).size(), 300U);
}

}  // namespace
