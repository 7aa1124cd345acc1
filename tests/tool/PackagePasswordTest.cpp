// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "Errors.hpp"
#include "PackagePassword.hpp"
#include "PasswordText.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "support/TestSupport.hpp"

namespace ztpkg {
namespace {

using opc::model::Package;
using opc::ztservices::CipherDataManager;
using Bytes = std::vector<unsigned char>;

SecretBytes const kPassword = {'s', 'e', 's', 'a', 'm', 'e'};
SecretBytes const kOther = {'s', 'e', 's', 'a', 'm', 'f'};

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

void expectWrongKey(PackagePassword& password, SecretBytes const& bytes) {
  try {
    password.check(typedPassword(bytes));
    ADD_FAILURE() << "was taken";
  } catch (Failure const& failure) {
    EXPECT_EQ(failure.reports().front().exit, Exit::Key);
    EXPECT_EQ(failure.reports().front().code, "wrong-key");
  }
}

TEST(PackagePassword, GivesTheKeyThatItWasSetWith) {
  auto const package = Package::createInMemory();
  PackagePassword password(*package);
  EXPECT_FALSE(password.isSet());
  Bytes const key = password.set(typedPassword(kPassword));
  auto const reopened = Package::openInMemory(package->saveToBytes(), opc::model::AccessMode::ReadOnly);
  PackagePassword again(*reopened);
  EXPECT_TRUE(again.isSet());
  EXPECT_EQ(again.check(typedPassword(kPassword)), key);
  EXPECT_EQ(key.size(), 32U);
}

TEST(PackagePassword, RefusesAnother) {
  auto const package = Package::createInMemory();
  PackagePassword password(*package);
  password.set(typedPassword(kPassword));
  expectWrongKey(password, kOther);
}

TEST(PackagePassword, NeverGivesTheSameKeyTwice) {
  auto const first = Package::createInMemory(), second = Package::createInMemory();
  EXPECT_NE(PackagePassword(*first).set(typedPassword(kPassword)),
            PackagePassword(*second).set(typedPassword(kPassword)));
}

TEST(PackagePassword, IsKeptUnderTheSelectorOfTheFileSystem) {
  auto const package = Package::createInMemory();
  PackagePassword password(*package);
  password.set(typedPassword(kPassword));
  package->saveToBytes();
  CipherDataManager manager(*package);
  auto const entry = manager.getCipherEntry(selector());
  EXPECT_EQ(entry.getSalt().size(), 32U);
  EXPECT_EQ(entry.getIV().size(), 16U);
  std::u16string const text = u"sesame";
  EXPECT_EQ(entry.getHash(), CipherDataManager::derivePasswordHash(text, entry.getSalt(), entry.getIV(), 600'000, 32));
}

TEST(PackagePassword, TellsADamagedHashAsAWrongPassword) {
  auto const package = protectedBy({1, 2, 3}, u"0123456789");
  PackagePassword password(*package);
  expectWrongKey(password, kPassword);
}

TEST(PackagePassword, RefusesASaltOutOfBounds) {
  for (std::size_t length : {6U, 1024U}) {
    auto const package = protectedBy({1, 2, 3}, std::u16string(length, u's'));
    PackagePassword password(*package);
    EXPECT_THROW(password.check(typedPassword(kPassword)), opc::Exception);
  }
}

}  // namespace
}  // namespace ztpkg
