// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <memory>
#include <string>

#include "services/tree/FileSystemManagerTestSupport.hpp"
#include "text/SchemaBaseURI.hpp"

namespace {

using namespace zt_test;
using namespace opc::ztservices;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char16_t kManifestType[] = u"application/vnd.corvanta.package.filesystemManifest+xml";

/// A manifest of the current version with these entries.
std::string manifestOf(std::string const& entries) {
  return "<fileEntries xmlns=\"" ZT_SCHEMA_BASE_URI
         "/package/2013/filesystemManifest\" createdByEncoding=\"UTF-8\" "
         "createdByPlatform=\"macx64\" version=\"2.5\">" +
         entries + "</fileEntries>";
}

std::unique_ptr<Package> packageWithManifest(std::string const& xml, std::u16string const& type = kManifestType) {
  auto package = Package::createInMemory();
  addPart(*package, kManifest, type, xml);
  package->createInternalRelationship(FileSystemManager::getRelationshipType(), opc::model::URI(kManifest));
  return package;
}

TEST(FileSystemManagerPersistence, NamesAreFixed) {
  EXPECT_EQ(FileSystemManager::getPartURI().toString(), kManifest);
  EXPECT_EQ(FileSystemManager::getPartURIV1().toString(), kManifestV1);
  EXPECT_EQ(FileSystemManager::getPartContentType().toString(), kManifestType);
  EXPECT_EQ(FileSystemManager::getPartContentTypeV1().toString(),
            u"application/vnd.corvanta.talbex.compiler.fileManifest+xml");
  EXPECT_EQ(FileSystemManager::getRelationshipType(),
            u"http://schemas.corvanta.example/package/2013/relationships/filesystemManifest");
  EXPECT_EQ(FileSystemManager::getRelationshipTypeV1(),
            u"http://schemas.corvanta.example/talbex/compiler/2011/relationships/fileManifest");
}

TEST(FileSystemManagerPersistence, TreeSurvivesSavingAndReopening) {
  NewFileSystem fs;
  auto const time = boost::posix_time::from_time_t(1'234'567'890);
  fs.manager.addFile(std::make_unique<TextSource>("content"), u"/a/f.txt", opc::Perms::Perms_tag(0640), time);
  fs.manager.createLink(u"/l", u"../x y");
  fs.manager.createFolder(u"/e");
  auto const package = reopen(*fs.package);
  FileSystemManager manager(*package);
  EXPECT_THAT(leafs(manager), ElementsAre(u"/a/f.txt", u"/e", u"/l"));
  EXPECT_EQ(manager.getEntry(u"/a/f.txt"), fs.manager.getEntry(u"/a/f.txt"));
  EXPECT_EQ(manager.getLinkTarget(manager.getEntry(u"/l")), u"../x y");
  EXPECT_TRUE(manager.getEntry(u"/e").isFolder());
  EXPECT_EQ(textAt(manager, u"/a/f.txt"), "content");
  EXPECT_FALSE(manager.isDirty());
}

TEST(FileSystemManagerPersistence, FirstSaveMakesPartAndRelationship) {
  NewFileSystem fs;
  fs.manager.createFolder(u"/e");
  fs.package->saveToBytes();
  auto const relationships = fs.package->getRelationshipsByType(FileSystemManager::getRelationshipType());
  ASSERT_EQ(relationships.size(), 1U);
  EXPECT_EQ(relationships.front().getTargetURI().toString(), kManifest);
  EXPECT_EQ(fs.package->getPart(PartName(kManifest)).getContentType().toString(), kManifestType);
}

TEST(FileSystemManagerPersistence, FirstSaveTakesThePlaceOfOrphanedManifests) {
  NewFileSystem fs;
  addPart(*fs.package, kManifest, std::u16string(kManifestType) + u";encryption=x", "lost");
  addPart(*fs.package, kManifestV1, FileSystemManager::getPartContentTypeV1().toString(), "lost");
  fs.manager.setSaveV1Manifest(true);
  fs.manager.createFolder(u"/d");
  auto const package = reopen(*fs.package);
  EXPECT_EQ(package->getPart(PartName(kManifest)).getContentType().toString(), kManifestType);
  EXPECT_THAT(leafs(FileSystemManager(*package)), ElementsAre(u"/d"));
  EXPECT_NE(textOfPart(*package, kManifestV1).find("\"/d\""), std::string::npos);
}

TEST(FileSystemManagerPersistence, FirstSaveNeverTouchesAPartOfAnotherType) {
  NewFileSystem fs;
  addPart(*fs.package, kManifest, u"application/xml", "somebody's");
  fs.manager.createFolder(u"/d");
  EXPECT_THROW(fs.package->saveToBytes(), opc::model::PartNameClash);
  EXPECT_EQ(textOfPart(*fs.package, kManifest), "somebody's");
}

TEST(FileSystemManagerPersistence, LaterSavesKeepPartAndRelationship) {
  NewFileSystem fs;
  fs.manager.createFolder(u"/e");
  fs.package->saveToBytes();
  fs.manager.createFolder(u"/g");
  auto const package = reopen(*fs.package);
  EXPECT_EQ(package->getRelationshipsByType(FileSystemManager::getRelationshipType()).size(), 1U);
  EXPECT_THAT(leafs(FileSystemManager(*package)), ElementsAre(u"/e", u"/g"));
}

TEST(FileSystemManagerPersistence, UnusedManagerWritesNothing) {
  NewFileSystem fs;
  EXPECT_FALSE(fs.manager.hasEntry(u"/x"));
  fs.package->saveToBytes();
  EXPECT_FALSE(fs.package->hasPart(PartName(kManifest)));
}

TEST(FileSystemManagerPersistence, ManagerThatWasOnlyMarkedDirtyKeepsTheFileSystem) {
  NewFileSystem fs;
  fs.manager.createFolder(u"/e");
  auto const package = reopen(*fs.package);
  FileSystemManager manager(*package);
  manager.markAsDirty();
  EXPECT_THAT(leafs(FileSystemManager(*reopen(*package))), ElementsAre(u"/e"));
}

TEST(FileSystemManagerPersistence, ManifestIsFoundByItsRelationship) {
  auto const package = Package::createInMemory();
  addPart(*package, u"/elsewhere.xml", kManifestType,
          manifestOf("<fileEntry name=\"/d\" content=\"\" type=\"Folder\"/>"));
  package->createInternalRelationship(FileSystemManager::getRelationshipType(), opc::model::URI(u"/elsewhere.xml"));
  FileSystemManager manager(*package);
  EXPECT_THAT(leafs(manager), ElementsAre(u"/d"));
  manager.createFolder(u"/x");
  package->saveToBytes();
  EXPECT_FALSE(package->hasPart(PartName(kManifest)));
  EXPECT_THAT(leafs(FileSystemManager(*package)), ElementsAre(u"/d", u"/x"));
}

TEST(FileSystemManagerPersistence, ManifestIsFoundWhereItsRelationshipWritesItInAnotherCase) {
  auto const package = Package::createInMemory();
  addPart(*package, u"/Here.xml", kManifestType, manifestOf("<fileEntry name=\"/d\" content=\"\" type=\"Folder\"/>"));
  package->createInternalRelationship(FileSystemManager::getRelationshipType(), opc::model::URI(u"/hERE.xml"));
  FileSystemManager manager(*package);
  manager.createFolder(u"/x");
  package->saveToBytes();
  EXPECT_THAT(leafs(FileSystemManager(*package)), ElementsAre(u"/d", u"/x"));
}

TEST(FileSystemManagerPersistence, HeadersComeFromTheManifest) {
  auto const package = packageWithManifest(manifestOf(""));
  FileSystemManager const manager(*package);
  EXPECT_EQ(manager.getVersion(), u"2.5");
  EXPECT_EQ(manager.getCreatedByPlatform(), u"macx64");
  EXPECT_EQ(manager.getCreatedByEncoding(), u"UTF-8");
}

TEST(FileSystemManagerPersistence, NewFileSystemHasTheCurrentVersion) {
  NewFileSystem fs;
  EXPECT_EQ(fs.manager.getVersion(), u"2.0");
  EXPECT_FALSE(fs.manager.getCreatedByPlatform().empty());
  EXPECT_FALSE(fs.manager.getCreatedByEncoding().empty());
}

TEST(FileSystemManagerPersistence, EncryptedManifestIsRefusedBeforeItIsRead) {
  auto const package =
      packageWithManifest("no XML at all", std::u16string(kManifestType) + u";encryption=AES256-GCM;iv=inline");
  FileSystemManager manager(*package);
  EXPECT_THROW_MESSAGE(manager.getAllLeafs(), CouldNotDecryptContent,
                       "Manifest is encrypted but enableDecryption() has not been called yet");
  EXPECT_THROW(manager.createFolder(u"/x"), CouldNotDecryptContent);
  EXPECT_FALSE(manager.isDirty());
}

TEST(FileSystemManagerPersistence, DamagedManifestIsReportedByEveryOperation) {
  auto const package = packageWithManifest("<fileEntries");
  FileSystemManager manager(*package);
  EXPECT_THROW(manager.hasEntry(u"/"), opc::model::InvalidPartContent);
  EXPECT_THROW(manager.getRoot(), opc::model::InvalidPartContent);
  EXPECT_THROW(manager.getVersion(), opc::model::InvalidPartContent);
}

TEST(FileSystemManagerPersistence, LoadingStartsAfreshAfterItFailed) {
  auto const package =
      packageWithManifest(manifestOf("<fileEntry name=\"/d\" content=\"\" type=\"Folder\"/>"
                                     "<fileEntry name=\"/f\" content=\"/f\" type=\"File\" permissions=\"644\"/>"));
  FileSystemManager manager(*package);
  EXPECT_THROW_MESSAGE(manager.hasEntry(u"/d"), opc::model::InvalidPartContent,
                       "Permissions are not a valid octal value");
  auto const output = package->getPart(PartName(kManifest)).getOutputStream();
  std::string const repaired = manifestOf("<fileEntry name=\"/repaired\" content=\"\" type=\"Folder\"/>");
  output->write(repaired.data(), repaired.size());
  output->close();
  EXPECT_THAT(leafs(manager), ElementsAre(u"/repaired"));
}

TEST(FileSystemManagerPersistence, MissingManifestPartIsReported) {
  auto const package = Package::createInMemory();
  package->createInternalRelationship(FileSystemManager::getRelationshipType(), opc::model::URI(kManifest));
  EXPECT_THROW(FileSystemManager(*package).getRoot(), opc::model::PartNotFound);
}

TEST(FileSystemManagerPersistence, ManagedPartsAreManifestAndContents) {
  NewFileSystem fs;
  createPlainFile(fs.manager, u"/f");
  fs.manager.createFolder(u"/d");
  fs.manager.createLink(u"/l", u"f");
  EXPECT_THAT(fs.manager.getManagedPartNames(), ElementsAre(kManifest, u"/fsroot/f"));
  EXPECT_THAT(fs.manager.getManagedRelationshipTypes(), ElementsAre(FileSystemManager::getRelationshipType()));
}

TEST(FileSystemManagerPersistence, VersionOneIsManagedWhenItIsKept) {
  NewFileSystem fs;
  fs.manager.setSaveV1Manifest(true);
  createPlainFile(fs.manager, u"/f");
  EXPECT_THAT(fs.manager.getManagedPartNames(), ElementsAre(kManifest, kManifestV1, u"/fsroot/f"));
  EXPECT_THAT(fs.manager.getManagedRelationshipTypes(),
              ElementsAre(FileSystemManager::getRelationshipType(), FileSystemManager::getRelationshipTypeV1()));
}

TEST(FileSystemManagerPersistence, SaveWritesBothManifestsWhenAsked) {
  NewFileSystem fs;
  fs.manager.setSaveV1Manifest(true);
  addText(fs.manager, u"/f", "t");
  auto const package = reopen(*fs.package);
  EXPECT_EQ(package->getPart(PartName(kManifestV1)).getContentType(), FileSystemManager::getPartContentTypeV1());
  EXPECT_THAT(textOfPart(*package, kManifestV1), testing::HasSubstr("/talbex/compiler/2011/fileManifest"));
  EXPECT_THAT(textOfPart(*package, kManifest), testing::HasSubstr("/package/2013/filesystemManifest"));
  EXPECT_THAT(leafs(FileSystemManager(*package)), ElementsAre(u"/f"));
  EXPECT_TRUE(package->hasPart(PartName(kManifestV1)));
}

TEST(FileSystemManagerPersistence, SecondOfTwoDirtyManagersReportsTheConflict) {
  NewFileSystem fs;
  {
    FileSystemManager second(*fs.package);
    createPlainFile(second, u"/second");
    createPlainFile(fs.manager, u"/first");
    EXPECT_FALSE(second.hasEntry(u"/first"));
    EXPECT_THROW_MESSAGE(fs.package->save(), FileSystemConflict,
                         "The file system was saved by another manager after it was loaded");
    EXPECT_TRUE(second.isDirty());
  }
  EXPECT_THAT(leafs(FileSystemManager(*reopen(*fs.package))), ElementsAre(u"/first"));
}

TEST(FileSystemManagerPersistence, ManagerThatLoadedBeforeAnotherSavedReportsTheConflict) {
  NewFileSystem fs;
  FileSystemManager second(*fs.package);
  EXPECT_FALSE(second.hasEntry(u"/first"));
  createPlainFile(fs.manager, u"/first");
  fs.package->save();
  createPlainFile(fs.manager, u"/more");
  fs.package->save();
  createPlainFile(second, u"/second");
  EXPECT_THROW(fs.package->save(), FileSystemConflict);
  EXPECT_TRUE(fs.package->hasPart(PartName(u"/fsroot/first")));
}

TEST(FileSystemManagerPersistence, ManagersInTurnDoNotConflict) {
  NewFileSystem fs;
  createPlainFile(fs.manager, u"/first");
  fs.package->save();
  FileSystemManager second(*fs.package);
  createPlainFile(second, u"/second");
  fs.package->save();
  EXPECT_THAT(leafs(FileSystemManager(*reopen(*fs.package))), ElementsAre(u"/first", u"/second"));
}

TEST(FileSystemManagerPersistence, CleanManagerDoesNotUndoAnothersChanges) {
  NewFileSystem fs;
  FileSystemManager second(*fs.package);
  EXPECT_TRUE(second.hasEntry(u"/"));
  fs.manager.createFolder(u"/first");
  EXPECT_THAT(leafs(FileSystemManager(*reopen(*fs.package))), ElementsAre(u"/first"));
}

TEST(FileSystemManagerPersistence, ManagerOfADestroyedPackageThrows) {
  auto package = Package::createInMemory();
  FileSystemManager manager(*package);
  manager.createFolder(u"/d");
  package.reset();
  EXPECT_THROW(createPlainFile(manager, u"/f"), opc::model::InvalidState);
  EXPECT_TRUE(manager.hasEntry(u"/d"));
}

TEST(FileSystemManagerPersistence, ManagerThatIsDestroyedDirtySavesNothing) {
  auto const package = Package::createInMemory();
  {
    FileSystemManager manager(*package);
    manager.createFolder(u"/d");
  }
  package->saveToBytes();
  EXPECT_FALSE(package->hasPart(PartName(kManifest)));
}

TEST(FileSystemManagerPersistence, FailedSaveCanBeRepeated) {
  NewFileSystem fs;
  FileSystemEntry const entry = createPlainFile(fs.manager, u"/f");
  {
    auto const open = fs.manager.getFileOutputStream(entry);
    EXPECT_THROW(fs.package->saveToBytes(), opc::model::InvalidState);
    EXPECT_TRUE(fs.manager.isDirty());
    open->close();
  }
  EXPECT_THAT(leafs(FileSystemManager(*reopen(*fs.package))), ElementsAre(u"/f"));
}

TEST(FileSystemManagerPersistence, CurrentManifestThatCallsItselfVersion1IsSavedAsCurrent) {
  std::string xml = manifestOf("<fileEntry name=\"f\" content=\"/f\" type=\"File\" permissions=\"33188\"/>");
  xml.replace(xml.find("2.5"), 3, "1.0");
  auto const package = packageWithManifest(xml);
  FileSystemManager manager(*package);
  manager.createFolder(u"/x");
  auto const saved = reopen(*package);
  FileSystemManager const again(*saved);
  EXPECT_EQ(again.getVersion(), u"2.0");
  EXPECT_EQ(manager.getVersion(), u"2.0");
  EXPECT_EQ(again.getEntry(u"/f").getPermissions(), 0644);
}

}  // namespace
