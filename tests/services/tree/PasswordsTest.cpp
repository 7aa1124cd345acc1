// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

#include "opc/ztservices/Passwords.hpp"
#include "services/tree/EncryptionTestSupport.hpp"

namespace {

using namespace zt_test;
using namespace opc::ztservices;

constexpr PasswordCost kCheap{.logN = 10};

class Passwords : public testing::Test {
 protected:
  void makePlain() const {
    auto const package = Package::create(path_);
    FileSystemManager files(*package);
    files.addFile(bytesOf("text"), "/a.txt");
    package->save();
  }
  void makeProtected() const {
    auto const package = Package::create(path_);
    FileSystemManager files(*package);
    protectWithPassword(files, "secret", kCheap);
    files.addFile(bytesOf("text"), "/a.txt");
    package->save();
  }
  std::string text(std::string const& password) const {
    auto const package = Package::open(path_, AccessMode::ReadOnly);
    FileSystemManager files(*package);
    if (!password.empty()) unlockWithPassword(files, password);
    return textOf(files.readFile("/a.txt"));
  }

  TemporaryDirectory directory_;
  std::filesystem::path path_ = directory_ / "p";
};

TEST_F(Passwords, ProtectANewFileSystem) {
  makeProtected();
  EXPECT_EQ(text("secret"), "text");
  EXPECT_THROW(text(""), CouldNotDecryptContent);
}

TEST_F(Passwords, RefuseAnotherPasswordByAnExceptionOfItsOwn) {
  makeProtected();
  EXPECT_THROW_MESSAGE(text("Secret"), WrongPassword, "The password is wrong");
}

TEST_F(Passwords, AreReadableBeforeTheSave) {
  NewFileSystem fs;
  protectWithPassword(fs.manager, u"secret", kCheap);
  fs.manager.addFile(bytesOf("text"), "/a.txt");
  EXPECT_EQ(textOf(fs.manager.readFile("/a.txt")), "text");
}

TEST_F(Passwords, EncryptWhatIsAddedToAnOpenedPackage) {
  makeProtected();
  {
    auto const package = Package::open(path_, AccessMode::ReadWrite);
    FileSystemManager files(*package);
    unlockWithPassword(files, "secret");
    EXPECT_TRUE(files.isEncrypted(files.addFile(bytesOf("more"), "/b.txt")));
    package->save();
  }
  EXPECT_EQ(text("secret"), "text");
}

TEST_F(Passwords, ProtectAPackageThatIsThere) {
  makePlain();
  protectWithPassword(path_, "secret", kCheap);
  EXPECT_EQ(text("secret"), "text");
  EXPECT_THROW(text(""), CouldNotDecryptContent);
  EXPECT_THROW(protectWithPassword(path_, "secret", kCheap), CannotChangeEncryption);
}

TEST_F(Passwords, CanBeRemoved) {
  makeProtected();
  EXPECT_THROW(removePassword(path_, "wrong"), WrongPassword);
  EXPECT_EQ(text("secret"), "text");
  removePassword(path_, "secret");
  EXPECT_EQ(text(""), "text");
  EXPECT_THROW(removePassword(path_, "secret"), CipherEntryNotFound);
}

TEST_F(Passwords, LeaveAFileSystemThatIsThereAlone) {
  makePlain();
  auto const package = Package::open(path_, AccessMode::ReadWrite);
  FileSystemManager files(*package);
  EXPECT_THROW(protectWithPassword(files, "secret", kCheap), CannotChangeEncryption);
  EXPECT_FALSE(files.isEncryptionEnabled());
  EXPECT_TRUE(package->getRelationshipsByType(CipherDataManager(*package).getManagedRelationshipTypes().at(0)).empty());
  EXPECT_THROW(unlockWithPassword(files, "secret"), CipherEntryNotFound);
}

TEST_F(Passwords, LeaveFilesAloneThatNoSaveHasWritten) {
  auto const package = Package::createInMemory();
  FileSystemManager files(*package);
  files.addFile(bytesOf("text"), "/a.txt");
  EXPECT_THROW(protectWithPassword(files, "secret", kCheap), CannotChangeEncryption);
  EXPECT_FALSE(files.isEncryptionEnabled());
}

TEST_F(Passwords, AreNotDerivedBeyondTheBounds) {
  auto const package = Package::createInMemory();
  CipherDataManager data(*package);
  opc::model::RelationshipSelector const selector(opc::model::URI("/"), opc::model::RelationshipSelectorType::ByType,
                                                  FileSystemManager::getRelationshipType());
  data.addCipherEntry(selector, {1}, CipherDataManager::generateRandomSalt(PasswordCost{.logN = 30}), {1, 2});
  package->saveToBytes();
  FileSystemManager files(*package);
  EXPECT_THROW(unlockWithPassword(files, "secret"), opc::Exception);
}

}  // namespace
