// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <gmock/gmock.h>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "services/tree/FileSystemManagerTestSupport.hpp"

namespace {

using namespace zt_test;
using namespace opc::ztservices;
using testing::ElementsAre;
namespace fs = std::filesystem;

/// Names of files that no part may bear, or that parts of one package may not bear together.
std::vector<std::string> difficultNames() {
  std::string longest;
  while (longest.size() + 3 <= 255) longest += "\xE2\x82\xAC";
  return {"foo.",
          "_rels/x.rels",
          "_rels/.rels",
          "A",
          "a",
          "50%.txt",
          "#?[].txt",
          " blank at both ends ",
          longest,
          "tab\there",
          "line\nfeed",
          "...",
          "%2F",
          "~",
          "carriage\rreturn",
          "c/d.e/f",
          "C/d",
          "\xF0\x9F\x98\x80.txt",
          "&<>\"'.xml",
          "[1].piece",
          "[Content_Types].xml",
          "-",
          "name;type=x",
          "a:b|c*d"};
}

std::map<std::string, std::string> contentsOf(fs::path const& root) {
  std::map<std::string, std::string> contents;
  for (auto const& item : fs::recursive_directory_iterator(root))
    if (item.is_regular_file()) contents[item.path().lexically_relative(root).string()] = readFile(item.path());
  return contents;
}

TEST(FileSystemManagerRobustness, NamesThatNoPartMayBearSurvive) {
  TemporaryDirectory source, work;
  for (std::string const& name : difficultNames()) writeFile(source / name, "content of " + name);
  auto package = Package::create(work.u16("p.zip"));
  {
    FileSystemManager manager(*package);
    manager.addAll(source.u16(), TransformMode::None);
    package->save();
  }
  package = Package::open(work.u16("p.zip"), AccessMode::ReadOnly);
  FileSystemManager(*package).extractAll(work.u16("out"), RestoreMode::TimeAndPermissions, TransformMode::None);
  EXPECT_EQ(contentsOf(work / "out"), contentsOf(source.path()));
  EXPECT_EQ(contentsOf(source.path()).size(), difficultNames().size());
}

TEST(FileSystemManagerRobustness, OtherProgramsAcceptThePackage) {
  if (!haveProgram("unzip")) GTEST_SKIP() << "unzip is not installed";
  TemporaryDirectory source, work;
  for (std::string const& name : difficultNames()) writeFile(source / name, "content of " + name);
  auto const package = Package::create(work.u16("p.zip"));
  FileSystemManager manager(*package);
  manager.addAll(source.u16(), TransformMode::None);
  package->save();
  Outcome const outcome = run("unzip -tqq " + (work / "p.zip").string());
  EXPECT_EQ(outcome.exitCode, 0) << outcome.output;
}

TEST(FileSystemManagerRobustness, DifficultLinkTargetsSurvive) {
  std::vector<std::u16string> const targets{u" ", u"a b", u"tab\tline\nfeed", u"&<>\"'", u"%zz#?[]", u"..", u"\u20AC"};
  NewFileSystem source;
  for (std::size_t i = 0; i < targets.size(); ++i) source.manager.createLink(numbered(u"/", i), targets[i]);
  auto const package = reopen(*source.package);
  FileSystemManager const manager(*package);
  for (std::size_t i = 0; i < targets.size(); ++i)
    EXPECT_EQ(manager.getLinkTarget(manager.getEntry(numbered(u"/", i))), targets[i]);
}

TEST(FileSystemManagerRobustness, RepeatedCyclesChangeNothing) {
  NewFileSystem source;
  addText(source.manager, u"/A/x.", "1");
  addText(source.manager, u"/a/x.", "2");
  source.manager.createFolder(u"/e");
  auto package = reopen(*source.package);
  std::vector<unsigned char> const first = package->saveToBytes();
  for (int i = 0; i < 3; ++i) {
    {
      FileSystemManager manager(*package);
      manager.deleteFolder(manager.createFolder(u"/temporary/folder"));
      manager.deleteFolder(manager.getEntry(u"/temporary"));
      package->saveToBytes();
    }
    package = reopen(*package);
  }
  EXPECT_EQ(package->saveToBytes(), first);
}

TEST(FileSystemManagerRobustness, FileCanBeReplacedUnderItsPath) {
  NewFileSystem fs;
  for (int i = 0; i < 3; ++i) {
    if (fs.manager.hasEntry(u"/f")) fs.manager.deleteFile(fs.manager.getEntry(u"/f"));
    addText(fs.manager, u"/f", std::to_string(i));
    auto const package = reopen(*fs.package);
    FileSystemManager manager(*package);
    EXPECT_EQ(textAt(manager, u"/f"), std::to_string(i));
  }
  EXPECT_THAT(contentParts(*fs.package), ElementsAre(u"/fsroot/f"));
}

/// Entries where none should be, below files, and without their contents.
std::unique_ptr<Package> strangePackage() {
  return foreignPackage(entryOf("/d/f", "/fsroot/c") + entryOf("/d/f/below", "/fsroot/c") +
                        entryOf("/d/l", "/etc", "SymLink") + entryOf("/gone", "/not/there") +
                        entryOf("relative/x", "/c"));
}

TEST(FileSystemManagerRobustness, EntriesBelowAFileGoWithItsFolder) {
  auto const package = strangePackage();
  FileSystemManager manager(*package);
  manager.deleteFolder(manager.getEntry(u"/d"));
  EXPECT_FALSE(manager.hasEntry(u"/d"));
  EXPECT_FALSE(manager.hasEntry(u"/d/f/below"));
  EXPECT_FALSE(package->hasPart(PartName(u"/fsroot/c")));
}

TEST(FileSystemManagerRobustness, RelativePathsOfOthersCanBeExtractedAndDeleted) {
  auto const package = strangePackage();
  FileSystemManager manager(*package);
  TemporaryDirectory directory;
  FileSystemEntry const entry = manager.getEntry(u"relative/x");
  manager.extractEntry(directory.u16(), entry, RestoreMode::None, TransformMode::None);
  EXPECT_EQ(readFile(directory / "relative/x"), "content");
  manager.deleteFile(entry);
  EXPECT_FALSE(manager.hasEntry(u"relative/x"));
}

TEST(FileSystemManagerRobustness, DeletingAFileWhosePartIsMissingRemovesTheEntry) {
  auto const package = strangePackage();
  FileSystemManager manager(*package);
  manager.deleteFile(manager.getEntry(u"/gone"));
  EXPECT_FALSE(manager.hasEntry(u"/gone"));
  EXPECT_TRUE(manager.isDirty());
}

TEST(FileSystemManagerRobustness, DamagedContentIsReportedWhileItIsExtracted) {
  NewFileSystem source;
  std::string const content = "stored as it is, since it is too short to shrink";
  addText(source.manager, u"/f", content);
  std::vector<unsigned char> bytes = source.package->saveToBytes();
  auto const found = std::search(bytes.begin(), bytes.end(), content.begin(), content.end());
  if (found == bytes.end()) GTEST_SKIP() << "the content was compressed";
  *found = 'X';
  auto const package = Package::openInMemory(bytes, AccessMode::ReadOnly);
  TemporaryDirectory directory;
  EXPECT_THROW(FileSystemManager(*package).extractAll(directory.u16(), RestoreMode::None, TransformMode::None),
               opc::model::InvalidItem);
}

TEST(FileSystemManagerRobustness, ManyFilesOfOneFolderAreAddedAndDeleted) {
  NewFileSystem fs;
  constexpr std::size_t kCount = 2000;
  for (std::size_t i = 0; i < kCount; ++i) addText(fs.manager, numbered(u"/d/", i) + u".", "t");
  auto const package = reopen(*fs.package);
  FileSystemManager manager(*package);
  EXPECT_EQ(manager.getChildren(u"/d").size(), kCount);
  manager.deleteFolder(manager.getEntry(u"/d"));
  EXPECT_THAT(contentParts(*package), testing::IsEmpty());
}

TEST(FileSystemManagerRobustness, EntriesBelowAFileGoWithIt) {
  auto const package = strangePackage();
  FileSystemManager manager(*package);
  manager.deleteFile(manager.getEntry(u"/d/f"));
  EXPECT_FALSE(manager.hasEntry(u"/d/f") || manager.hasEntry(u"/d/f/below"));
  EXPECT_FALSE(package->hasPart(PartName(u"/fsroot/c")));
}

}  // namespace
