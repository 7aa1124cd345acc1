// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "crypto/CryptoErrors.hpp"
#include "opc/ztservices/CipherData.hpp"
#include "opc/ztservices/Verification.hpp"
#include "services/tree/EncryptionTestSupport.hpp"

namespace opc::ztservices {
namespace {

using namespace zt_test;

constexpr char kManifestName[] = "/metadata/filesystemManifest.xml";

class VerifyEncryptedPackage : public testing::Test {
 protected:
  VerifyEncryptedPackage() {
    auto const package = Package::create(path());
    FileSystemManager manager(*package);
    manager.enableEncryption(testKey(), IVMode::Random, {});
    addFile(manager, u"/a", "alpha");
    addFile(manager, u"/b", "beta");
    package->save();
  }

  static void addFile(FileSystemManager& manager, std::u16string const& to, std::string const& text) {
    manager.addFile(std::make_unique<TextSource>(text), to, Perms::Perms_tag{0644}, kTime);
  }

  std::u16string path() const { return directory_.u16("p.zip"); }

  void change(std::function<void(Package&)> const& how) {
    auto const package = Package::open(path(), AccessMode::ReadWrite);
    how(*package);
    package->save();
  }

  /// The part of /a or /b.
  std::u16string partOf(std::u16string const& file) {
    auto const package = Package::open(path(), AccessMode::ReadOnly);
    FileSystemManager manager(*package);
    manager.enableDecryption(testKey());
    return manager.getEntry(file).getContentName();
  }

  /// Replaces the stored bytes of a part, with its checksum put right.
  void changeBytes(std::u16string const& part, std::function<void(std::string&)> const& how) {
    change([&](Package& package) {
      std::string bytes = readAll(*package.getPart(PartName(part)).getInputStream());
      how(bytes);
      overwritePart(package, part, bytes);
    });
  }
  void flip(std::u16string const& part, std::size_t at) {
    changeBytes(part, [at](std::string& bytes) { bytes.at(at == SIZE_MAX ? bytes.size() - 1 : at) ^= 1; });
  }

  VerificationReport verify(Bytes const& key = testKey()) const { return verifyPackage(path(), {.key = &key}); }
  VerificationReport verifyWithoutKey() const { return verifyPackage(path()); }

  TemporaryDirectory directory_;
};

/// "code item" of each.
std::string faultsOf(VerificationReport const& report) {
  std::string all;
  for (VerificationFault const& fault : report.faults)
    all += (all.empty() ? "" : ", ") + fault.code + " " + toUTF8String(fault.item);
  return all;
}

TEST_F(VerifyEncryptedPackage, AuthenticatesContentsAndManifest) {
  auto const report = verify();
  EXPECT_TRUE(report.isHealthy()) << faultsOf(report);
  EXPECT_EQ(report.encrypted, 3u);
  EXPECT_EQ(report.authentic, 3u);
}

TEST_F(VerifyEncryptedPackage, AuthenticatesNothingWithoutAKey) {
  auto const report = verifyWithoutKey();
  EXPECT_TRUE(report.isHealthy());
  EXPECT_EQ(report.encrypted, 3u);
  EXPECT_EQ(report.authentic, 0u);
}

TEST_F(VerifyEncryptedPackage, TellsAnotherKeyFromDamage) {
  auto const report = verify(otherKey());
  EXPECT_TRUE(report.isKeyWrong);
  EXPECT_FALSE(report.isHealthy());
  EXPECT_EQ(faultsOf(report), "");
}

TEST_F(VerifyEncryptedPackage, RefusesAKeyOfAnotherLength) {
  EXPECT_THROW(verify({}), foundation::crypto::CryptoError);
  EXPECT_THROW(verify(countingBytes(31)), foundation::crypto::CryptoError);
}

TEST_F(VerifyEncryptedPackage, NamesTheFileWhoseContentsWereChangedAnywhere) {
  std::u16string const part = partOf(u"/b");
  for (std::size_t const at : {std::size_t{0}, kIVBytes, SIZE_MAX}) {  // vector, ciphertext, tag
    flip(part, at);
    auto const report = verify();
    EXPECT_EQ(faultsOf(report), "not-authentic /b");
    EXPECT_EQ(report.faults.at(0).message,
              "/b: it does not authenticate: wrong key or algorithm, or the data was modified: " + toUTF8String(part));
    EXPECT_EQ(report.authentic, 2u);
    EXPECT_FALSE(report.isKeyWrong);
    EXPECT_TRUE(verifyWithoutKey().isHealthy());
    flip(part, at);
  }
}

TEST_F(VerifyEncryptedPackage, TellsAChangedManifestFromAnotherKey) {
  for (std::size_t const at : {std::size_t{0}, kIVBytes, SIZE_MAX}) {
    flip(kManifest, at);
    auto const report = verify();
    EXPECT_EQ(faultsOf(report), std::string("not-authentic ") + kManifestName);
    EXPECT_FALSE(report.isKeyWrong);
    flip(kManifest, at);
  }
}

TEST_F(VerifyEncryptedPackage, TakesTheKeyForAnotherOneWhereEverythingWasChanged) {
  std::u16string const a = partOf(u"/a"), b = partOf(u"/b");
  for (std::u16string const& part : {a, b, std::u16string(kManifest)}) flip(part, kIVBytes);
  EXPECT_TRUE(verify().isKeyWrong);
}

TEST_F(VerifyEncryptedPackage, TellsContentsThatAreCutShort) {
  std::u16string const part = partOf(u"/a");
  changeBytes(part, [](std::string& bytes) { bytes.pop_back(); });
  EXPECT_EQ(faultsOf(verify()), "not-authentic /a");
  changeBytes(part, [](std::string& bytes) { bytes.resize(kIVBytes + kTagBytes - 1); });
  EXPECT_EQ(faultsOf(verify()), "truncated-encryption /a");
  EXPECT_EQ(faultsOf(verifyWithoutKey()), "truncated-encryption " + toUTF8String(part));
}

TEST_F(VerifyEncryptedPackage, TellsContentsThatShrinkAsNothingEncryptedDoes) {
  std::u16string const part = partOf(u"/a");
  change([&](Package& package) {
    package.deletePart(PartName(part));
    package.createPart(PartName(part), ContentType(u"text/plain;encryption=AES256-GCM;iv=inline"),
                       model::StandardPartInfo(model::CompressionType::Markup));
    overwritePart(package, part, std::string(100'000, 'x'));
  });
  EXPECT_EQ(faultsOf(verify()), "shrunk-encryption /a");
  EXPECT_EQ(faultsOf(verifyWithoutKey()), "shrunk-encryption " + toUTF8String(part));
}

TEST_F(VerifyEncryptedPackage, TellsContentsThatAreMissing) {
  std::u16string const part = partOf(u"/a");
  change([&](Package& package) { package.deletePart(PartName(part)); });
  EXPECT_EQ(faultsOf(verify()), "missing-part /a");
}

TEST_F(VerifyEncryptedPackage, TellsContentsThatNoFileRefersTo) {
  change([&](Package& package) {
    package.createPart(PartName(u"/fsroot/extra"), ContentType(u"text/plain"),
                       model::StandardPartInfo(model::CompressionType::Stored));
  });
  EXPECT_EQ(faultsOf(verify()), "unreferenced-part /fsroot/extra");
}

TEST_F(VerifyEncryptedPackage, AuthenticatesContentsThatNoFileRefersTo) {
  change([&](Package& package) {
    package.createPart(PartName(u"/fsroot/extra"), ContentType(u"text/plain;encryption=AES256-GCM;iv=inline"),
                       model::StandardPartInfo(model::CompressionType::Stored));
    overwritePart(package, u"/fsroot/extra", std::string(40, 'x'));
  });
  EXPECT_EQ(faultsOf(verify()), "unreferenced-part /fsroot/extra, not-authentic /fsroot/extra");
}

TEST_F(VerifyEncryptedPackage, TellsContentsWhoseMarkWasTakenAway) {
  std::u16string const part = partOf(u"/a");
  change([&](Package& package) {
    std::string const bytes = readAll(*package.getPart(PartName(part)).getInputStream());
    package.deletePart(PartName(part));
    package.createPart(PartName(part), ContentType(u"application/octet-stream"),
                       model::StandardPartInfo(model::CompressionType::Stored));
    overwritePart(package, part, bytes);
  });
  EXPECT_EQ(faultsOf(verify()), "plain-content /a");
}

TEST_F(VerifyEncryptedPackage, TellsAMarkThatTheManifestContradicts) {
  std::u16string const part = partOf(u"/a");
  change([&](Package& package) {
    std::string const bytes = readAll(*package.getPart(PartName(part)).getInputStream());
    package.deletePart(PartName(part));
    package.createPart(PartName(part), ContentType(u"application/octet-stream;encryption=AES256-GCM-DEFLATE;iv=inline"),
                       model::StandardPartInfo(model::CompressionType::Stored));
    overwritePart(package, part, bytes);
  });
  EXPECT_EQ(faultsOf(verify()), "changed-mark /a");
}

TEST_F(VerifyEncryptedPackage, TellsACompressedContentThatIsMarkedAsAnyOther) {
  std::u16string part;
  change([&](Package& package) {
    FileSystemManager manager(package);
    manager.enableDecryption(testKey());
    manager.enableEncryption(testKey(), IVMode::Random, {}, Compression::Deflate);
    addFile(manager, u"/c", std::string(1000, 'c'));
    part = manager.getEntry(u"/c").getContentName();
    package.save();
  });
  EXPECT_EQ(faultsOf(verify()), "");
  change([&](Package& package) {
    std::string const bytes = readAll(*package.getPart(PartName(part)).getInputStream());
    package.deletePart(PartName(part));
    package.createPart(PartName(part), ContentType(u"application/octet-stream;encryption=AES256-GCM;iv=inline"),
                       model::StandardPartInfo(model::CompressionType::Stored));
    overwritePart(package, part, bytes);
  });
  EXPECT_EQ(faultsOf(verify()), "changed-mark /c");
}

TEST_F(VerifyEncryptedPackage, TellsAnAlgorithmThatIsNotKnown) {
  std::u16string const part = partOf(u"/a");
  change([&](Package& package) {
    std::string const bytes = readAll(*package.getPart(PartName(part)).getInputStream());
    package.deletePart(PartName(part));
    package.createPart(PartName(part), ContentType(u"application/octet-stream;encryption=AES256-CBC;iv=inline"),
                       model::StandardPartInfo(model::CompressionType::Stored));
    overwritePart(package, part, bytes);
  });
  EXPECT_EQ(faultsOf(verify()), "not-authentic /a");
}

// The format binds no message to its part: what cannot be told must not be promised.
TEST_F(VerifyEncryptedPackage, CannotTellThatContentsWereExchanged) {
  std::u16string const a = partOf(u"/a"), b = partOf(u"/b");
  change([&](Package& package) {
    std::string const ofA = readAll(*package.getPart(PartName(a)).getInputStream());
    overwritePart(package, a, readAll(*package.getPart(PartName(b)).getInputStream()));
    overwritePart(package, b, ofA);
  });
  EXPECT_TRUE(verify().isHealthy());
}

TEST_F(VerifyEncryptedPackage, LeavesEncryptedPartsOfOthersAlone) {
  change([&](Package& package) {
    package.createPart(PartName(u"/elsewhere"), ContentType(u"text/plain;encryption=AES256-GCM;iv=inline"),
                       model::StandardPartInfo(model::CompressionType::Stored));
    overwritePart(package, u"/elsewhere", std::string(40, 'x'));
  });
  auto const report = verify();
  EXPECT_EQ(faultsOf(report), "");
  EXPECT_EQ(report.encrypted, 4u);
  EXPECT_EQ(report.authentic, 3u);
}

TEST_F(VerifyEncryptedPackage, TakesAKeyForAPackageWithoutAnythingEncrypted) {
  Package::create(path(), model::Existing::Replace)->save();
  EXPECT_TRUE(verify().isHealthy());
}

TEST_F(VerifyEncryptedPackage, ChecksWhatTheDecryptedManifestLists) {
  change([&](Package& package) {
    FileSystemManager manager(package);
    manager.enableEncryption(testKey(), IVMode::Random, {});
    manager.enableDecryption(testKey());
    manager.createLink(u"/../x", u"b");
    package.save();
  });
  EXPECT_EQ(faultsOf(verify()), "unsafe-path /../x");
  EXPECT_TRUE(verifyWithoutKey().isHealthy());
}

TEST_F(VerifyEncryptedPackage, TellsCipherDataThatBreaksTheRules) {
  change([&](Package& package) {
    CipherDataManager cipherData(package);
    cipherData.addCipherEntry(
        {model::URI(u"/"), model::RelationshipSelectorType::ByType, FileSystemManager::getRelationshipType()}, {1},
        u"salt", {1});
    package.save();
  });
  EXPECT_TRUE(verifyWithoutKey().isHealthy());
  change([&](Package& package) { overwritePart(package, u"/metadata/ztCipherData.xml", "<CipherData/>"); });
  EXPECT_EQ(faultsOf(verify()), "invalid-cipher-data /metadata/ztCipherData.xml");
}

}  // namespace
}  // namespace opc::ztservices
