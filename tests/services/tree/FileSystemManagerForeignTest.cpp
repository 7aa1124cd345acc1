// SPDX-License-Identifier: Apache-2.0
#include <exception>
#include <filesystem>
#include <gmock/gmock.h>
#include <memory>
#include <string>
#include <vector>

#include "services/tree/FileSystemManagerTestSupport.hpp"
#include "services/tree/ManifestSamples.hpp"

/// Manifests of other makers: entries below files and links, contents that several entries share, that are missing, or
/// that belong to somebody else.
namespace {

using namespace zt_test;
using namespace opc::ztservices;
using testing::ElementsAre;

std::string nested() {
  return entryOf("/f", "/fsroot/c") + entryOf("/f/below", "/c") + entryOf("/l", "t", "SymLink") +
         entryOf("/l/x/deep", "/c") + entryOf("/l/y", "", "Folder") + entryOf("/z", "/c");
}

std::vector<std::u16string> const kNested{u"/f", u"/f/below", u"/l", u"/l/x/deep", u"/l/y", u"/z"};

TEST(FileSystemManagerForeign, EntriesBelowFilesAndLinksAreListed) {
  auto const package = foreignPackage(nested());
  FileSystemManager const manager(*package);
  EXPECT_EQ(leafs(manager), kNested);
  std::vector<std::u16string> visited;
  manager.visitLeafs([&](FileSystemEntry const& entry) { visited.push_back(entry.getPathName()); });
  EXPECT_EQ(visited, kNested);
}

TEST(FileSystemManagerForeign, EntriesBelowFilesAndLinksSurviveAnEdit) {
  auto const package = foreignPackage(nested());
  FileSystemManager manager(*package);
  addText(manager, u"/new", "new");
  manager.deleteFile(manager.getEntry(u"/z"));
  auto const saved = reopen(*package);
  FileSystemManager again(*saved);
  EXPECT_THAT(leafs(again), ElementsAre(u"/f", u"/f/below", u"/l", u"/l/x/deep", u"/l/y", u"/new"));
  EXPECT_TRUE(again.getEntry(u"/f").isFile());
  EXPECT_EQ(textAt(again, u"/f"), "shared");
  EXPECT_EQ(textAt(again, u"/f/below"), "content");
  EXPECT_EQ(again.getLinkTarget(again.getEntry(u"/l")), u"t");
}

TEST(FileSystemManagerForeign, EntriesBelowFilesAndLinksSurviveInVersion1) {
  auto const package = foreignPackage(nested());
  FileSystemManager manager(*package);
  manager.setSaveV1Manifest(true);
  manager.createFolder(u"/new");
  EXPECT_THAT(textOfPart(*reopen(*package), kManifestV1), testing::HasSubstr("name=\"/f\""));
}

TEST(FileSystemManagerForeign, ContentPartsOfFilesWithEntriesBelowAreManaged) {
  auto const package = foreignPackage(nested());
  FileSystemManager manager(*package);
  manager.ensureLoaded();
  EXPECT_THAT(manager.getManagedPartNames(), testing::Contains(u"/fsroot/c"));
}

TEST(FileSystemManagerForeign, ExtractionNamesWhatCannotExistBelowAFileAndExtractsTheRest) {
  auto const package = foreignPackage(entryOf("/a", "/c") + entryOf("/f", "/fsroot/c") + entryOf("/f/below", "/c") +
                                      entryOf("/f/x/deep", "/c") + entryOf("/z", "/c"));
  TemporaryDirectory directory;
  EXPECT_THROW_MESSAGE(
      FileSystemManager(*package).extractAll(directory.u16("out"), RestoreMode::None, TransformMode::None),
      UnsafeEntryPath, "Entry path leads below a file: /f/below");
  EXPECT_EQ(readFile(directory / "out/a"), "content");
  EXPECT_EQ(readFile(directory / "out/f"), "shared");
  EXPECT_EQ(readFile(directory / "out/z"), "content");
}

TEST(FileSystemManagerForeign, ExtractionBelowALinkIsRefusedAsAWhole) {
  auto const package = foreignPackage(nested());
  TemporaryDirectory directory;
  EXPECT_THROW(FileSystemManager(*package).extractAll(directory.u16("out"), RestoreMode::None, TransformMode::None),
               UnsafeEntryPath);
  EXPECT_FALSE(std::filesystem::exists(directory / "out"));
}

/// The paths of the entries that could not be extracted.
std::vector<std::u16string> faultsOf(Package& package, std::u16string const& root) {
  FileSystemManager manager(package);
  std::vector<std::u16string> faults;
  manager.extractEntries(
      root, manager.getAllLeafs(), RestoreMode::None, TransformMode::None,
      [&](FileSystemEntry const& entry, std::exception_ptr const&) { faults.push_back(entry.getPathName()); });
  return faults;
}

TEST(FileSystemManagerForeign, TolerantExtractionLeavesOutWhatCannotExistAndWhatIsMissing) {
  auto const package = foreignPackage(nested() + entryOf("/gone", "/fsroot/gone") + entryOf("/../up", "/c") +
                                      entryOf("/l/-/l2", "x", "SymLink") + entryOf("/l/-/l2/deep", "/c"));
  TemporaryDirectory directory;
  EXPECT_THAT(faultsOf(*package, directory.u16("out")),
              testing::UnorderedElementsAre(u"/../up", u"/f/below", u"/gone", u"/l/-/l2", u"/l/-/l2/deep", u"/l/x/deep",
                                            u"/l/y"));
  EXPECT_EQ(readFile(directory / "out/f"), "shared");
  EXPECT_EQ(readFile(directory / "out/z"), "content");
  EXPECT_TRUE(std::filesystem::is_symlink(directory / "out/l"));
  EXPECT_FALSE(std::filesystem::exists(directory / "up"));
}

TEST(FileSystemManagerForeign, TolerantExtractionEndsWhereItsHandlerThrows) {
  auto const package = foreignPackage(entryOf("/a", "/gone") + entryOf("/b", "/c"));
  FileSystemManager manager(*package);
  TemporaryDirectory directory;
  auto const rethrow = [](FileSystemEntry const&, std::exception_ptr const& fault) { std::rethrow_exception(fault); };
  EXPECT_THROW(manager.extractEntries(directory.u16("out"), manager.getAllLeafs(), RestoreMode::None,
                                      TransformMode::None, rethrow),
               opc::model::PartNotFound);
  EXPECT_FALSE(std::filesystem::exists(directory / "out/b"));
}

TEST(FileSystemManagerForeign, DeletingOneOfTwoEntriesKeepsTheContentsOfTheOther) {
  auto const package = foreignPackage(entryOf("/a", "/fsroot/c") + entryOf("/b", "/fsroot/c"));
  FileSystemManager manager(*package);
  manager.deleteFile(manager.getEntry(u"/a"));
  EXPECT_EQ(textAt(manager, u"/b"), "shared");
  manager.deleteFile(manager.getEntry(u"/b"));
  EXPECT_FALSE(package->hasPart(PartName(u"/fsroot/c")));
}

TEST(FileSystemManagerForeign, DeletingAFolderKeepsTheContentsThatOthersShare) {
  auto const package =
      foreignPackage(entryOf("/d/1", "/fsroot/c") + entryOf("/d/2", "/fsroot/c") + entryOf("/kept", "/fsroot/c"));
  FileSystemManager manager(*package);
  manager.deleteFolder(manager.getEntry(u"/d"));
  EXPECT_EQ(textAt(manager, u"/kept"), "shared");
}

TEST(FileSystemManagerForeign, AFileThatReplacesOneWithSharedContentsGetsItsOwn) {
  auto const package = foreignPackage(entryOf("/a", "/fsroot/c") + entryOf("/b", "/fsroot/c"));
  FileSystemManager manager(*package);
  manager.deleteFile(manager.getEntry(u"/a"));
  addText(manager, u"/a", "new");
  addText(manager, u"/c", "of the shared name");
  EXPECT_EQ(textAt(manager, u"/a"), "new");
  EXPECT_EQ(textAt(manager, u"/b"), "shared");
}

TEST(FileSystemManagerForeign, WritingAFileLeavesTheContentsThatOthersShareAlone) {
  auto const package = foreignPackage(entryOf("/a", "/fsroot/c") + entryOf("/b", "/fsroot/c"));
  FileSystemManager manager(*package);
  {
    auto const output = manager.getFileOutputStream(manager.getEntry(u"/a"));
    EXPECT_EQ(textAt(manager, u"/a"), "shared");
    output->write("new", 3);
    output->close();
  }
  auto const saved = reopen(*package);
  FileSystemManager again(*saved);
  EXPECT_EQ(textAt(again, u"/a"), "new");
  EXPECT_EQ(textAt(again, u"/b"), "shared");
  manager.deleteFile(manager.getEntry(u"/b"));
  EXPECT_THAT(contentParts(*package), ElementsAre(u"/fsroot/a"));
}

TEST(FileSystemManagerForeign, AFileWithoutContentsCanBeDeletedWithItsFolder) {
  auto const package = foreignPackage(entryOf("/d/1", "/fsroot/c") + entryOf("/d/2", "/fsroot/none") +
                                      entryOf("/d/3", "/c") + entryOf("/d/4", "no part name"));
  FileSystemManager manager(*package);
  manager.deleteFolder(manager.getEntry(u"/d"));
  EXPECT_FALSE(manager.hasEntry(u"/d"));
  EXPECT_FALSE(package->hasPart(PartName(u"/fsroot/c")));
}

TEST(FileSystemManagerForeign, ANewFileDoesNotBecomeTheContentsOfOneThatHasNone) {
  auto const package = foreignPackage(entryOf("/old", "/fsroot/x"));
  FileSystemManager manager(*package);
  EXPECT_EQ(addText(manager, u"/x", "new").getContentName(), u"/fsroot/x_1");
  EXPECT_THROW(textAt(manager, u"/old"), opc::model::PartNotFound);
  manager.deleteFile(manager.getEntry(u"/old"));
  EXPECT_EQ(textAt(manager, u"/x"), "new");
}

TEST(FileSystemManagerForeign, ForeignPartsStayWhenTheirEntriesGo) {
  for (char const* const part : {"/word/document.xml", "/m.xml", "/_rels/.rels", "/word/_rels/document.xml.rels"}) {
    auto const package = foreignPackage(entryOf("/f", part));
    package->createInternalRelationship(u"http://document", opc::model::URI(u"/word/document.xml"));
    package->getPart(PartName(u"/word/document.xml")).createInternalRelationship(u"http://t", opc::model::URI(u"/c"));
    FileSystemManager manager(*package);
    manager.deleteFile(manager.getEntry(u"/f"));
    EXPECT_FALSE(manager.hasEntry(u"/f"));
    EXPECT_TRUE(package->hasPart(PartName(opc::toString(std::string(part))))) << part;
    EXPECT_TRUE(leafs(FileSystemManager(*reopen(*package))).empty());
  }
}

TEST(FileSystemManagerForeign, ContentsElsewhereGoWithTheirEntries) {
  for (char const* const part : {"/word/document.xml", "/c"}) {
    auto const package = foreignPackage(entryOf("/d/f", part));
    FileSystemManager manager(*package);
    manager.deleteFolder(manager.getEntry(u"/d"));
    EXPECT_FALSE(package->hasPart(PartName(opc::toString(std::string(part))))) << part;
  }
}

TEST(FileSystemManagerForeign, APartThatAnotherPartLeadsToStays) {
  for (char const* const part : {"/fsroot/c", "/c"}) {
    auto const package = foreignPackage(entryOf("/f", part));
    package->getPart(PartName(u"/word/document.xml"))
        .createInternalRelationship(u"http://image", opc::model::URI(opc::toString(".." + std::string(part))));
    FileSystemManager manager(*package);
    manager.deleteFile(manager.getEntry(u"/f"));
    EXPECT_TRUE(package->hasPart(PartName(opc::toString(std::string(part))))) << part;
  }
}

TEST(FileSystemManagerForeign, APartThatThePackageLeadsToStays) {
  auto const package = foreignPackage(entryOf("/f", "/fsroot/c"));
  package->createInternalRelationship(u"http://thumbnail", opc::model::URI(u"/FSROOT/c"));
  FileSystemManager manager(*package);
  manager.deleteFile(manager.getEntry(u"/f"));
  EXPECT_TRUE(package->hasPart(PartName(u"/fsroot/c")));
}

TEST(FileSystemManagerForeign, AManifestInAPartOfTheVersion1TypeIsSavedWhereItCanBeRead) {
  auto const package = Package::createInMemory();
  addPart(*package, u"/fsroot/c", u"a/b", "content");
  addPart(*package, u"/m.xml", FileSystemManager::getPartContentTypeV1().toString(),
          opc::ztservices::manifest_samples::version1(entryOf("/f", "/fsroot/c")));
  package->createInternalRelationship(FileSystemManager::getRelationshipType(), opc::model::URI(u"/m.xml"));
  FileSystemManager manager(*package);
  manager.createLink(u"/l", u"f");
  auto const saved = reopen(*package);
  FileSystemManager again(*saved);
  EXPECT_THAT(leafs(again), ElementsAre(u"/f", u"/l"));
  EXPECT_EQ(again.getLinkTarget(again.getEntry(u"/l")), u"f");
  EXPECT_FALSE(saved->hasPart(PartName(u"/m.xml")));
}

}  // namespace
