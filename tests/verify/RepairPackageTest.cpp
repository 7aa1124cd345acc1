// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "opc/Strings.hpp"
#include "opc/model/ContainerExceptions.hpp"
#include "opc/model/Package.hpp"
#include "opc/ztservices/Encryption.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "opc/ztservices/Repair.hpp"
#include "opc/ztservices/Verification.hpp"
#include "support/TestSupport.hpp"

namespace opc::ztservices {
namespace {

using model::Package;
using zt_test::TemporaryDirectory;

class RepairPackage : public testing::Test {
 protected:
  /// A package with a file system of files with these contents under /1, /2 ...
  std::string makeFiles(std::vector<std::string> const& contents, std::vector<unsigned char> const* key = nullptr) {
    auto const package = Package::create(directory_.u16("p.zip"), model::Existing::Replace);
    FileSystemManager manager(*package);
    if (key) manager.enableEncryption(*key, IVMode::Random, {});
    int number = 0;
    for (std::string const& content : contents) {
      std::string const name = "f" + std::to_string(++number);
      zt_test::writeFile(directory_ / name, content);
      manager.addFile(directory_.u16(name), toString("/" + std::to_string(number)), TransformMode::None);
    }
    package->save();
    std::string const bytes = zt_test::readFile(directory_ / "p.zip");
    return bytes;
  }

  RepairReport repair(std::string const& bytes, RepairOptions const& options = {}) {
    zt_test::writeFile(directory_ / "p.zip", bytes);
    return repairPackage(directory_.u16("p.zip"), directory_.u16("new.zip"), options);
  }

  std::string contentOf(std::u16string const& path, std::vector<unsigned char> const* key = nullptr) {
    auto const package = Package::open(directory_.u16("new.zip"), model::AccessMode::ReadOnly);
    FileSystemManager manager(*package);
    if (key) manager.enableDecryption(*key);
    auto const source = manager.getFileContentSource(manager.getEntry(path), TransformMode::Transform);
    std::vector<unsigned char> bytes;
    ByteArrayOutAdaptor to(bytes);
    StreamHelper::copyStreamToStream(source->getInputStream(), to);
    return {bytes.begin(), bytes.end()};
  }

  TemporaryDirectory directory_;
};

std::string withChange(std::string bytes, std::string const& place, std::size_t offset = 0) {
  bytes[bytes.find(place) + offset] ^= 1;
  return bytes;
}

TEST_F(RepairPackage, CopiesASoundPackageWhole) {
  auto const report = repair(makeFiles({"one", "two"}));
  EXPECT_TRUE(report.isComplete());
  EXPECT_EQ(report.manifest, ManifestOutcome::Whole);
  EXPECT_EQ(report.parts, 3u);
  EXPECT_EQ(contentOf(u"/2"), "two");
}

TEST_F(RepairPackage, DropsTheEntryWhoseContentIsDamaged) {
  auto const report = repair(withChange(makeFiles({"one", "two"}), "two"));
  EXPECT_FALSE(report.isComplete());
  EXPECT_EQ(report.lostParts, std::vector<std::u16string>{u"/fsroot/2"});
  EXPECT_EQ(report.lostEntries, std::vector<std::u16string>{u"/2"});
  EXPECT_EQ(contentOf(u"/1"), "one");
  EXPECT_TRUE(verifyPackage(directory_.u16("new.zip")).isHealthy());
}

TEST_F(RepairPackage, FindsPartsWithoutADirectory) {
  std::string const bytes = makeFiles({"one", "two"});
  auto const report = repair(bytes.substr(0, bytes.find("PK\x01\x02")));
  EXPECT_TRUE(report.isComplete());
  EXPECT_EQ(contentOf(u"/2"), "two");
}

TEST_F(RepairPackage, FindsPartsBehindADamagedHeaderWithoutADirectory) {
  std::string bytes = makeFiles({"one", "two", "three"});
  bytes.resize(bytes.find("PK\x01\x02"));
  auto const report = repair(withChange(bytes, "PK\x03\x04", bytes.find("fsroot/2") - 30));
  EXPECT_EQ(report.lostEntries, std::vector<std::u16string>{u"/2"});
  EXPECT_EQ(contentOf(u"/3"), "three");
}

TEST_F(RepairPackage, ReadsAPartWhoseHeaderHasAnotherLength) {
  std::string const bytes = makeFiles({"one", "two"});
  std::string changed = bytes;
  changed[bytes.find("fsroot/1") - 2] ^= 1;  // the length of the extra field
  auto const report = repair(changed);
  EXPECT_TRUE(report.isComplete());
  EXPECT_EQ(contentOf(u"/1"), "one");
}

TEST_F(RepairPackage, GivesContentsWithoutAnEntryAPlaceBelowLostAndFound) {
  std::string const bytes = makeFiles({"one", "two"});
  auto const report = repair(bytes.substr(0, bytes.find("metadata/filesystemManifest.xml") + 40));
  EXPECT_EQ(report.manifest, ManifestOutcome::Lost);
  ASSERT_EQ(report.found.size(), 2u);
  EXPECT_EQ(report.found.front().path, u"/lost+found/1");
  EXPECT_EQ(contentOf(u"/lost+found/2"), "two");
}

TEST_F(RepairPackage, FindsContentsOfAFileSystemWithoutAManifest) {
  std::string const bytes = makeFiles({"one", "two"});
  auto const report = repair(bytes.substr(0, bytes.find("metadata/filesystemManifest.xml") - 30));
  EXPECT_EQ(report.manifest, ManifestOutcome::Lost);
  EXPECT_EQ(contentOf(u"/lost+found/1"), "one");
}

TEST_F(RepairPackage, KnowsItsOwnPartsWithoutTheContentTypes) {
  auto const report = repair(withChange(makeFiles({"one"}), "[Content_Types].xml", 25));
  EXPECT_TRUE(report.areContentTypesLost);
  EXPECT_EQ(report.manifest, ManifestOutcome::Whole);
  EXPECT_EQ(contentOf(u"/1"), "one");
}

TEST_F(RepairPackage, LeadsToTheManifestWhereTheRelationshipsAreLost) {
  auto const report = repair(withChange(makeFiles({"one"}), "_rels/.rels", 20));
  EXPECT_FALSE(report.isComplete());
  EXPECT_EQ(contentOf(u"/1"), "one");
}

TEST_F(RepairPackage, KeepsExternalRelationships) {
  makeFiles({"one"});
  {
    auto const package = Package::open(directory_.u16("p.zip"), model::AccessMode::ReadWrite);
    package->createExternalRelationship(u"urn:type", u"http://example.org/", u"out");
    package->save();
  }
  EXPECT_TRUE(repair(zt_test::readFile(directory_ / "p.zip")).isComplete());
  auto const package = Package::open(directory_.u16("new.zip"), model::AccessMode::ReadOnly);
  EXPECT_EQ(package->getRelationshipsByType(u"urn:type").at(0).getTargetText(), u"http://example.org/");
}

TEST_F(RepairPackage, KeepsAnEncryptedManifestWithoutTheKey) {
  std::vector<unsigned char> const key(32, 7);
  auto const report = repair(makeFiles({"one"}, &key));
  EXPECT_EQ(report.manifest, ManifestOutcome::Locked);
  EXPECT_EQ(contentOf(u"/1", &key), "one");
}

TEST_F(RepairPackage, EncryptsTheManifestThatItMakes) {
  std::vector<unsigned char> const key(32, 7);
  RepairOptions options;
  options.findKey = [&](Package&) { return &key; };
  std::string bytes = makeFiles({"one", "two"}, &key);
  bytes[bytes.find("PK\x03\x04", bytes.find("fsroot/")) - 1] ^= 1;  // the last byte of the first content
  auto const report = repair(bytes, options);
  EXPECT_EQ(report.lostEntries, std::vector<std::u16string>{u"/1"});
  EXPECT_EQ(contentOf(u"/2", &key), "two");
  EXPECT_EQ(zt_test::readFile(directory_ / "new.zip").find("fileEntries"), std::string::npos);
}

TEST_F(RepairPackage, WritesNothingForAWrongKey) {
  std::vector<unsigned char> const key(32, 7), other(32, 8);
  RepairOptions options;
  options.key = &other;
  EXPECT_TRUE(repair(makeFiles({"one"}, &key), options).isKeyWrong);
  EXPECT_FALSE(std::filesystem::exists(directory_ / "new.zip"));
}

TEST_F(RepairPackage, ReadsALongContentInPieces) {
  std::string const content(20 << 20, 'x');
  EXPECT_TRUE(repair(makeFiles({content})).isComplete());
  EXPECT_EQ(contentOf(u"/1"), content);
}

TEST_F(RepairPackage, RefusesWhatHoldsNoItem) {
  EXPECT_THROW(repair("no package at all"), model::InvalidPackage);
  EXPECT_FALSE(std::filesystem::exists(directory_ / "new.zip"));
}

TEST_F(RepairPackage, ReplacesNothing) {
  std::string const bytes = makeFiles({"one"});
  zt_test::writeFile(directory_ / "new.zip", "mine");
  EXPECT_THROW(repair(bytes), model::CouldNotSavePackage);
  EXPECT_EQ(zt_test::readFile(directory_ / "new.zip"), "mine");
}

TEST_F(RepairPackage, WritesNothingWhereACheckpointThrows) {
  RepairOptions options;
  options.checkpoint = [] { throw std::runtime_error("enough"); };
  EXPECT_THROW(repair(makeFiles({"one"}), options), std::runtime_error);
  EXPECT_FALSE(std::filesystem::exists(directory_ / "new.zip"));
}

}  // namespace
}  // namespace opc::ztservices
