// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "cli/Errors.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "secrets/PackageKey.hpp"
#include "secrets/PasswordInput.hpp"
#include "support/TestSupport.hpp"

namespace ztpkg {
namespace {

using opc::model::Package;
using opc::ztservices::CipherDataManager;
using Bytes = std::vector<unsigned char>;

SecretBytes const kPassword = {'s', 'e', 's', 'a', 'm', 'e'};
SecretBytes const kOther = {'s', 'e', 's', 'a', 'm', 'f'};
constexpr unsigned kCheap = 10;  // of scrypt

opc::model::RelationshipSelector selector() {
  return {opc::model::URI(u"/"), opc::model::RelationshipSelectorType::ByType,
          u"http://schemas.corvanta.example/package/2013/relationships/filesystemManifest"};
}

/// A package whose file system this entry protects.
std::unique_ptr<Package> protectedBy(Bytes const& hash, std::u16string const& salt) {
  auto package = Package::createInMemory();
  CipherDataManager manager(*package);
  manager.addCipherEntry(selector(), hash, salt, {1});
  return Package::openInMemory(package->saveToBytes(), opc::model::AccessMode::ReadOnly);
}

std::unique_ptr<Package> protectedBy(NewPasswordKey const& key) {
  auto const package = Package::createInMemory();
  CipherDataManager manager(*package);
  key.record(manager);
  return Package::openInMemory(package->saveToBytes(), opc::model::AccessMode::ReadOnly);
}

Report refusalOf(Package& package, SecretBytes const& password) {
  try {
    keyOfPassword(package, "p.ztp", typedPassword(password));
  } catch (Failure const& failure) {
    return failure.reports().front();
  }
  return {};
}

constexpr char kWrongKey[] =
    "the file system of p.ztp cannot be decrypted: wrong key or password, or the data was modified";

TEST(PackagePassword, GivesTheKeyThatItWasSetWith) {
  NewPasswordKey const made(typedPassword(kPassword), kCheap);
  auto const package = protectedBy(made);
  EXPECT_TRUE(hasPassword(*package, "p.ztp"));
  EXPECT_EQ(keyOfPassword(*package, "p.ztp", typedPassword(kPassword))->bytes(), made.key().bytes());
  EXPECT_EQ(made.key().bytes().size(), 32U);
}

TEST(PackagePassword, RefusesAnother) {
  auto const package = protectedBy(NewPasswordKey(typedPassword(kPassword), kCheap));
  Report const report = refusalOf(*package, kOther);
  EXPECT_EQ(report.message, kWrongKey);
  EXPECT_EQ(report.code, "cannot-decrypt");
  EXPECT_EQ(report.exit, Exit::Key);
}

TEST(PackagePassword, NeverGivesTheSameKeyTwice) {
  EXPECT_NE(NewPasswordKey(typedPassword(kPassword), kCheap).key().bytes(),
            NewPasswordKey(typedPassword(kPassword), kCheap).key().bytes());
}

TEST(PackagePassword, IsNotThereWithoutAnEntryForTheFileSystem) {
  auto const package = Package::createInMemory();
  CipherDataManager manager(*package);
  manager.addCipherEntry({opc::model::URI(u"/"), opc::model::RelationshipSelectorType::ByID, u"rId1"}, {1}, u"s", {1});
  EXPECT_FALSE(hasPassword(*Package::openInMemory(package->saveToBytes(), opc::model::AccessMode::ReadOnly), "p"));
}

TEST(PackagePassword, IsKeptUnderTheSelectorOfTheFileSystem) {
  auto const package = protectedBy(NewPasswordKey(typedPassword(kPassword), kCheap));
  auto const entry = CipherDataManager(*package).getCipherEntry(selector());
  EXPECT_TRUE(entry.getSalt().starts_with(u"$scrypt$ln=10,r=8,p=1$"));
  EXPECT_EQ(entry.getIV().size(), 16U);
  EXPECT_EQ(entry.getHash(), CipherDataManager::derivePasswordKey(u"sesame", entry.getSalt(), entry.getIV(), 32).hash);
}

TEST(PackagePassword, TellsADamagedHashAsAWrongPassword) {
  EXPECT_EQ(refusalOf(*protectedBy({1, 2, 3}, u"0123456789"), kPassword).message, kWrongKey);
}

TEST(PackagePassword, RefusesASaltOutOfBounds) {
  for (std::size_t length : {6U, 1024U})
    EXPECT_EQ(refusalOf(*protectedBy({1, 2, 3}, std::u16string(length, u's')), kPassword).message,
              "the cipher data of p.ztp: Salt and initialization vector must have 8 to 1024 bytes together");
}

}  // namespace
}  // namespace ztpkg
