// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <memory>
#include <string>

#include "services/tree/EncryptionTestSupport.hpp"
#include "services/tree/FileSystemManagerTestSupport.hpp"
#include "services/tree/ManifestSamples.hpp"
#include "text/SchemaBaseURI.hpp"

namespace {

using namespace zt_test;
using namespace opc::ztservices;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kFileEntry[] = "<fileEntry name=\"a/f.txt\" content=\"/files/f\" type=\"File\" permissions=\"33188\"/>";
constexpr char kLinkEntry[] =
    "<fileEntry name=\"l\" content=\"/links/l\" type=\"SymLink\" permissions=\"33279\" date=\"2011-05-06T07:08:09Z\"/>";

/// A package as version 1 left it: the target of the link is the text of a part.
std::unique_ptr<Package> version1Package(std::string const& linkTarget = "a/f.txt",
                                         std::string const& entries = std::string(kFileEntry) + kLinkEntry) {
  auto package = Package::createInMemory();
  addPart(*package, u"/files/f", u"text/plain", "content");
  addPart(*package, u"/links/l", u"text/plain", linkTarget);
  addPart(*package, kManifestV1, FileSystemManager::getPartContentTypeV1().toString(),
          "<fileEntries xmlns=\"" ZT_SCHEMA_BASE_URI
          "/talbex/compiler/2011/fileManifest\" platform=\"wnx86\" "
          "encoding=\"ISO-8859-1\">" +
              entries + "</fileEntries>");
  package->createInternalRelationship(FileSystemManager::getRelationshipTypeV1(), opc::model::URI(kManifestV1));
  return package;
}

bool hasVersion1(Package const& package) {
  return package.hasPart(PartName(kManifestV1)) &&
         !package.getRelationshipsByType(FileSystemManager::getRelationshipTypeV1()).empty();
}

TEST(FileSystemManagerVersion1, IsLoadedAndUpgraded) {
  auto const package = version1Package();
  FileSystemManager manager(*package);
  EXPECT_EQ(manager.getVersion(), u"2.0");
  EXPECT_EQ(manager.getCreatedByPlatform(), u"wnx86");
  EXPECT_EQ(manager.getCreatedByEncoding(), u"ISO-8859-1");
  EXPECT_THAT(leafs(manager), ElementsAre(u"/a/f.txt", u"/l"));
  EXPECT_EQ(manager.getEntry(u"/a/f.txt").getPermissions(), 0644);
  EXPECT_EQ(textAt(manager, u"/a/f.txt"), "content");
}

TEST(FileSystemManagerVersion1, LinkTargetsComeFromTheirParts) {
  auto const package = version1Package("\xC3\xA9/x y");
  FileSystemManager manager(*package);
  FileSystemEntry const link = manager.getEntry(u"/l");
  EXPECT_EQ(manager.getLinkTarget(link), u"\u00E9/x y");
  EXPECT_EQ(link.getPermissions(), 0777);
  EXPECT_EQ(opc::convertTimeToString(link.getLastModifiedTime()), u"2011-05-06T07:08:09Z");
  EXPECT_FALSE(package->hasPart(PartName(u"/links/l")));
  EXPECT_TRUE(package->hasPart(PartName(u"/files/f")));
}

TEST(FileSystemManagerVersion1, IsRetiredAtTheFirstUse) {
  auto const package = version1Package();
  FileSystemManager manager(*package);
  EXPECT_TRUE(hasVersion1(*package));
  EXPECT_TRUE(manager.hasEntry(u"/l"));
  EXPECT_FALSE(package->hasPart(PartName(kManifestV1)));
  EXPECT_THAT(package->getRelationshipsByType(FileSystemManager::getRelationshipTypeV1()), IsEmpty());
  EXPECT_TRUE(manager.isDirty());
}

TEST(FileSystemManagerVersion1, IsRetiredWhereItsRelationshipWritesItInAnotherCase) {
  auto const package = version1Package();
  std::u16string const type = FileSystemManager::getRelationshipTypeV1();
  package->deleteRelationship(package->getRelationshipsByType(type).front().getID());
  package->createInternalRelationship(type, opc::model::URI(u"/METADATA/filesystemManifestV1.xml"));
  FileSystemManager manager(*package);
  EXPECT_TRUE(manager.hasEntry(u"/l"));
  EXPECT_FALSE(package->hasPart(PartName(kManifestV1)));
}

TEST(FileSystemManagerVersion1, SaveWritesTheCurrentVersion) {
  auto const package = version1Package();
  FileSystemManager manager(*package);
  manager.ensureLoaded();
  auto const saved = reopen(*package);
  EXPECT_FALSE(saved->hasPart(PartName(kManifestV1)));
  FileSystemManager const again(*saved);
  EXPECT_THAT(leafs(again), ElementsAre(u"/a/f.txt", u"/l"));
  EXPECT_EQ(again.getLinkTarget(again.getEntry(u"/l")), u"a/f.txt");
  EXPECT_EQ(again.getCreatedByPlatform(), u"wnx86");
}

TEST(FileSystemManagerVersion1, IsKeptAndRewrittenWhenAsked) {
  auto const package = version1Package();
  FileSystemManager manager(*package);
  manager.setSaveV1Manifest(true);
  manager.ensureLoaded();
  EXPECT_TRUE(hasVersion1(*package));
  EXPECT_TRUE(manager.isDirty());
  auto const saved = reopen(*package);
  EXPECT_TRUE(hasVersion1(*saved));
  EXPECT_THAT(textOfPart(*saved, kManifestV1), HasSubstr("content=\"a/f.txt\""));
  EXPECT_THAT(textOfPart(*saved, kManifest), HasSubstr("content=\"a/f.txt\""));
}

TEST(FileSystemManagerVersion1, IsSavedInTheCurrentVersionWhenItWasOnlyLoaded) {
  auto const package = version1Package();
  FileSystemManager manager(*package);
  manager.load();
  EXPECT_TRUE(hasVersion1(*package));
  auto const saved = reopen(*package);
  EXPECT_FALSE(hasVersion1(*saved));
  EXPECT_THAT(leafs(FileSystemManager(*saved)), ElementsAre(u"/a/f.txt", u"/l"));
}

TEST(FileSystemManagerVersion1, CurrentManifestGoesFirst) {
  auto const package = version1Package();
  {
    auto const other = Package::createInMemory();
    FileSystemManager current(*other);
    current.createFolder(u"/current");
    auto const saved = reopen(*other);
    addPart(*package, kManifest, FileSystemManager::getPartContentType().toString(), textOfPart(*saved, kManifest));
    package->createInternalRelationship(FileSystemManager::getRelationshipType(), opc::model::URI(kManifest));
  }
  FileSystemManager const manager(*package);
  EXPECT_THAT(leafs(manager), ElementsAre(u"/current"));
  EXPECT_TRUE(hasVersion1(*package));
  EXPECT_FALSE(manager.isDirty());
}

TEST(FileSystemManagerVersion1, ReadOnlyPackageIsLoadedAndLeftAlone) {
  auto const package = reopen(*version1Package(), AccessMode::ReadOnly);
  FileSystemManager const manager(*package);
  EXPECT_EQ(manager.getLinkTarget(manager.getEntry(u"/l")), u"a/f.txt");
  EXPECT_EQ(manager.getVersion(), u"2.0");
  EXPECT_TRUE(hasVersion1(*package));
  EXPECT_TRUE(package->hasPart(PartName(u"/links/l")));
  EXPECT_FALSE(manager.isDirty());
}

TEST(FileSystemManagerVersion1, EmptyLinkTargetCannotBeConverted) {
  auto const package = version1Package("");
  FileSystemManager manager(*package);
  EXPECT_THROW_MESSAGE(manager.hasEntry(u"/l"), CouldNotConvertFileSystemManifest,
                       "Error converting from V1 manifest to current format: Could not read link target for: /l");
  EXPECT_TRUE(hasVersion1(*package));
  EXPECT_FALSE(manager.isDirty());
}

TEST(FileSystemManagerVersion1, LinkTargetThatIsNotUTF8CannotBeConverted) {
  auto const package = version1Package("\xFF");
  EXPECT_THROW(FileSystemManager(*package).getRoot(), CouldNotConvertFileSystemManifest);
}

TEST(FileSystemManagerVersion1, MissingTargetPartCannotBeConverted) {
  auto const package = version1Package();
  package->deletePart(PartName(u"/links/l"));
  try {
    FileSystemManager(*package).getRoot();
    ADD_FAILURE() << "nothing was thrown";
  } catch (CouldNotConvertFileSystemManifest const& thrown) {
    EXPECT_THAT(thrown.what(), testing::StartsWith("Error converting from V1 manifest to current format: "));
    EXPECT_THAT(thrown.what(), HasSubstr("/links/l"));
    EXPECT_EQ(thrown.getErrorCode(), boost::system::error_code());
  }
}

TEST(FileSystemManagerVersion1, ConversionIsTriedAgain) {
  auto const package = version1Package("");
  FileSystemManager manager(*package);
  EXPECT_THROW(manager.getRoot(), CouldNotConvertFileSystemManifest);
  auto const output = package->getPart(PartName(u"/links/l")).getOutputStream();
  output->write("x", 1);
  output->close();
  EXPECT_EQ(manager.getLinkTarget(manager.getEntry(u"/l")), u"x");
}

TEST(FileSystemManagerVersion1, FailedUpgradeLeavesThePackageWhole) {
  auto const package = version1Package(
      "target", std::string(kLinkEntry) + "<fileEntry name=\"m\" content=\"/links/none\" type=\"SymLink\"/>" +
                    "<fileEntry name=\"n\" content=\"/files/f\" type=\"SymLink\"/>");
  EXPECT_THROW(FileSystemManager(*package).getRoot(), CouldNotConvertFileSystemManifest);
  EXPECT_TRUE(package->hasPart(PartName(u"/links/l")));
  EXPECT_TRUE(package->hasPart(PartName(u"/files/f")));
}

TEST(FileSystemManagerVersion1, PackageWithoutLinksIsUpgradedToo) {
  auto const package = version1Package("unused", kFileEntry);
  FileSystemManager const manager(*package);
  EXPECT_EQ(manager.getVersion(), u"2.0");
  EXPECT_FALSE(hasVersion1(*package));
}

// The version-1 manifest that is written beside the current one tells targets themselves: there is no part
// to take them from when only that manifest is left.
TEST(FileSystemManagerVersion1, WrittenManifestWithLinksIsNotReadAlone) {
  NewFileSystem fs;
  fs.manager.setSaveV1Manifest(true);
  addText(fs.manager, u"/f", "t");
  fs.manager.createLink(u"/l", u"f");
  auto const package = reopen(*fs.package);
  package->deleteRelationship(
      package->getRelationshipsByType(FileSystemManager::getRelationshipType()).front().getID());
  EXPECT_THROW(FileSystemManager(*package).getRoot(), CouldNotConvertFileSystemManifest);
}

// The schema of version 1 takes URIs alone, and what a folder has there is its path as it is.
TEST(FileSystemManagerVersion1, WrittenManifestWithAFolderThatIsNoURIIsNotReadAlone) {
  NewFileSystem fs;
  fs.manager.setSaveV1Manifest(true);
  fs.manager.createFolder(u"/a[1]");
  auto const package = reopen(*fs.package);
  EXPECT_TRUE(FileSystemManager(*package).hasEntry(u"/a[1]"));
  package->deleteRelationship(
      package->getRelationshipsByType(FileSystemManager::getRelationshipType()).front().getID());
  EXPECT_THROW(FileSystemManager(*package).getRoot(), opc::model::InvalidPartContent);
}

TEST(FileSystemManagerVersion1, WrittenManifestWithoutLinksIsReadAlone) {
  NewFileSystem fs;
  fs.manager.setSaveV1Manifest(true);
  fs.manager.addFile(std::make_unique<TextSource>("t"), u"/d/f", opc::Perms::Perms_tag(0640),
                     boost::posix_time::from_time_t(1));
  fs.manager.createFolder(u"/e");
  auto const package = reopen(*fs.package);
  package->deleteRelationship(
      package->getRelationshipsByType(FileSystemManager::getRelationshipType()).front().getID());
  FileSystemManager manager(*package);
  EXPECT_EQ(manager.getEntry(u"/d/f"), fs.manager.getEntry(u"/d/f"));
  EXPECT_THAT(leafs(manager), ElementsAre(u"/d/f", u"/e"));
  EXPECT_EQ(textAt(manager, u"/d/f"), "t");
}

TEST(FileSystemManagerVersion1, NothingOldIsFoundWhereThereIsNothing) {
  NewFileSystem fs;
  fs.manager.ensureLoaded();
  EXPECT_FALSE(fs.manager.isDirty());
}

TEST(FileSystemManagerVersion1, LinksMayShareOnePart) {
  auto const package = version1Package(
      "target", std::string(kLinkEntry) + "<fileEntry name=\"m\" content=\"/links/l\" type=\"SymLink\"/>" +
                    "<fileEntry name=\"m/below\" content=\"/files/f\" type=\"File\"/>");
  FileSystemManager const manager(*package);
  EXPECT_EQ(manager.getLinkTarget(manager.getEntry(u"/l")), u"target");
  EXPECT_EQ(manager.getLinkTarget(manager.getEntry(u"/m")), u"target");
  EXPECT_FALSE(package->hasPart(PartName(u"/links/l")));
}

TEST(FileSystemManagerVersion1, LinkTargetThatNoManifestCarriesCannotBeConverted) {
  for (std::string const& target : {std::string("a\x01"), std::string(131'073, 'x')}) {
    auto const package = version1Package(target);
    EXPECT_THROW(FileSystemManager(*package).getRoot(), CouldNotConvertFileSystemManifest);
    EXPECT_TRUE(package->hasPart(PartName(u"/links/l")));
  }
}

TEST(FileSystemManagerVersion1, HugeLinkTargetIsNotReadWhole) {
  auto const package = version1Package(std::string(3 * 131'072 + 1, 'x'));
  EXPECT_THROW_MESSAGE(FileSystemManager(*package).getRoot(), CouldNotConvertFileSystemManifest,
                       "Error converting from V1 manifest to current format: Link target is too long for: /l");
}

TEST(FileSystemManagerVersion1, IsNeitherEncryptedNorNot) {
  auto const package = version1Package();
  FileSystemManager const manager(*package);
  EXPECT_FALSE(manager.isEncrypted());
  EXPECT_FALSE(manager.isNonEncrypted());
}

TEST(FileSystemManagerVersion1, BecomesAnEncryptedManifestWhileItsContentsStayPlain) {
  auto const package = version1Package();
  FileSystemManager manager(*package);
  manager.enableEncryption(testKey(), IVMode::Random, {});
  addText(manager, u"/new", "secret");
  auto const again = reopen(*package);
  EXPECT_FALSE(hasVersion1(*again));
  EXPECT_EQ(textOfPart(*again, u"/files/f"), "content");
  FileSystemManager reader(*again);
  EXPECT_TRUE(reader.isEncrypted());
  reader.enableDecryption(testKey());
  EXPECT_THAT(leafs(reader), ElementsAre(u"/a/f.txt", u"/l", u"/new"));
  EXPECT_EQ(decryptedTextAt(reader, u"/a/f.txt"), "content");
  EXPECT_EQ(decryptedTextAt(reader, u"/new"), "secret");
  EXPECT_NE(textAt(reader, u"/new"), "secret");
}

TEST(FileSystemManagerVersion1, AFileKeepsThePartThatALinkShares) {
  auto const package = version1Package(
      "content", std::string(kFileEntry) + "<fileEntry name=\"l\" content=\"/files/f\" type=\"SymLink\"/>");
  FileSystemManager manager(*package);
  EXPECT_EQ(manager.getLinkTarget(manager.getEntry(u"/l")), u"content");
  EXPECT_EQ(textAt(manager, u"/a/f.txt"), "content");
}

TEST(FileSystemManagerVersion1, APartThatBelongsToOthersStaysWhenALinkTakesItsTargetFromIt) {
  auto const package = version1Package();
  addPart(*package, u"/document.xml", u"text/plain", "document");
  package->getPart(PartName(u"/document.xml")).createInternalRelationship(u"http://t", opc::model::URI(u"/links/l"));
  FileSystemManager manager(*package);
  EXPECT_EQ(manager.getLinkTarget(manager.getEntry(u"/l")), u"a/f.txt");
  EXPECT_TRUE(package->hasPart(PartName(u"/links/l")));
}

TEST(FileSystemManagerVersion1, ContentsGoWithTheirEntriesAlsoAfterASave) {
  auto const upgraded = version1Package();
  FileSystemManager manager(*upgraded);
  manager.createFolder(u"/new");
  auto const package = reopen(*upgraded);
  FileSystemManager again(*package);
  again.deleteFile(again.getEntry(u"/a/f.txt"));
  EXPECT_FALSE(package->hasPart(PartName(u"/files/f")));
}

/// A current manifest in a part of the version-1 type, and a relationship of version 1 that leads elsewhere.
std::unique_ptr<Package> withOldRelationshipTo(std::u16string const& target, std::u16string const& type) {
  auto package = Package::createInMemory();
  addPart(*package, u"/files/f", u"text/plain", "content");
  addPart(*package, u"/word/document.xml", type, "document");
  addPart(*package, u"/m.xml", FileSystemManager::getPartContentTypeV1().toString(),
          opc::ztservices::manifest_samples::version1(kFileEntry));
  package->createInternalRelationship(FileSystemManager::getRelationshipType(), opc::model::URI(u"/m.xml"));
  package->createInternalRelationship(FileSystemManager::getRelationshipTypeV1(), opc::model::URI(target));
  return package;
}

TEST(FileSystemManagerVersion1, APartThatIsNoManifestStaysWhenItsOldRelationshipGoes) {
  for (char16_t const* const target : {u"/word/document.xml", u"/files/f", u"/m.xml", u"/none"}) {
    auto const package = withOldRelationshipTo(target, u"application/xml");
    FileSystemManager manager(*package);
    EXPECT_EQ(textAt(manager, u"/a/f.txt"), "content");
    EXPECT_THAT(package->getRelationshipsByType(FileSystemManager::getRelationshipTypeV1()), IsEmpty());
    for (char16_t const* const part : {u"/word/document.xml", u"/files/f", u"/m.xml"})
      EXPECT_TRUE(package->hasPart(PartName(part)));
    manager.createFolder(u"/new");
    EXPECT_TRUE(FileSystemManager(*reopen(*package)).hasEntry(u"/new"));
  }
}

TEST(FileSystemManagerVersion1, AnOldManifestBesideTheCurrentOneStaysOnlyWhereSomethingElseLeadsToIt) {
  for (bool const isLedTo : {true, false}) {
    auto const package =
        withOldRelationshipTo(u"/word/document.xml", FileSystemManager::getPartContentTypeV1().toString());
    if (isLedTo) package->createInternalRelationship(u"http://t", opc::model::URI(u"/word/document.xml"));
    FileSystemManager(*package).getRoot();
    EXPECT_EQ(package->hasPart(PartName(u"/word/document.xml")), isLedTo);
  }
}

TEST(FileSystemManagerVersion1, TheFirstOfSeveralOldRelationshipsIsRetired) {
  auto const package = version1Package();
  addPart(*package, u"/document.xml", u"text/plain", "document");
  package->createInternalRelationship(FileSystemManager::getRelationshipTypeV1(), opc::model::URI(u"/document.xml"));
  EXPECT_TRUE(FileSystemManager(*package).hasEntry(u"/l"));
  EXPECT_FALSE(package->hasPart(PartName(kManifestV1)));
  EXPECT_TRUE(package->hasPart(PartName(u"/document.xml")));
  EXPECT_EQ(package->getRelationshipsByType(FileSystemManager::getRelationshipTypeV1()).size(), 1U);
}

}  // namespace
