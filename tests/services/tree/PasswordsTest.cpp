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

opc::model::RelationshipSelector selectorOf(char16_t const* type) {
  return {opc::model::URI("/"), opc::model::RelationshipSelectorType::ByType, type};
}

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
  files.addFile(bytesOf("more"), "/b.txt");
  EXPECT_THROW(protectWithPassword(files, "secret", kCheap), CannotChangeEncryption);
  EXPECT_FALSE(files.isEncryptionEnabled());
}

TEST_F(Passwords, LeaveAnEncryptedFileSystemAlone) {
  makeProtected();
  {
    auto const package = Package::open(path_, AccessMode::ReadWrite);
    FileSystemManager files(*package);
    EXPECT_THROW(protectWithPassword(files, "other", kCheap), CannotChangeEncryption);
    package->save();
  }
  EXPECT_EQ(text("secret"), "text");
}

TEST_F(Passwords, TakeThePlaceOfAnEntryWhoseFileSystemIsGone) {
  {
    auto const package = Package::create(path_);
    {
      CipherDataManager data(*package);
      data.addCipherEntry(selectorOf(FileSystemManager::getRelationshipType().c_str()), {1}, u"salt", {2});
      package->save();
    }
    FileSystemManager files(*package);
    protectWithPassword(files, "secret", kCheap);
    files.addFile(bytesOf("text"), "/a.txt");
    package->save();
  }
  EXPECT_EQ(text("secret"), "text");
}

TEST_F(Passwords, StayBesideWhatAnotherManagerRecords) {
  {
    auto const package = Package::create(path_);
    CipherDataManager before(*package), after(*package);
    before.addCipherEntry(selectorOf(u"http://example.org/before"), {1}, u"salt", {2});
    EXPECT_FALSE(after.hasCipherEntry(selectorOf(u"http://example.org/after")));
    FileSystemManager files(*package);
    protectWithPassword(files, "secret", kCheap);
    after.addCipherEntry(selectorOf(u"http://example.org/after"), {1}, u"salt", {2});
    files.addFile(bytesOf("text"), "/a.txt");
    package->save();
  }
  EXPECT_EQ(text("secret"), "text");
  auto const package = Package::open(path_, AccessMode::ReadOnly);
  EXPECT_TRUE(CipherDataManager(*package).hasCipherEntry(selectorOf(u"http://example.org/before")));
  EXPECT_TRUE(CipherDataManager(*package).hasCipherEntry(selectorOf(u"http://example.org/after")));
}

/// An entry for the file system that another manager holds would take the key of the files with it.
TEST_F(Passwords, AreNotReplacedByWhatAnotherManagerRecords) {
  auto const package = Package::create(path_);
  FileSystemManager files(*package);
  {
    CipherDataManager other(*package);
    other.addCipherEntry(selectorOf(FileSystemManager::getRelationshipType().c_str()), {1}, u"salt", {2});
    protectWithPassword(files, "secret", kCheap);
    files.addFile(bytesOf("text"), "/a.txt");
    EXPECT_THROW(package->save(), InvalidCipherData);
  }
  package->save();
  EXPECT_EQ(text("secret"), "text");
}

TEST_F(Passwords, AreNotCalledWrongWhereTheEntryIsAtFault) {
  for (char16_t const* const salt :
       {u"$other$ln=10,r=8,p=1$0011223344556677", u"$scrypt$ln=0,r=8,p=1$0011223344556677", u"123456"}) {
    auto const package = Package::createInMemory();
    CipherDataManager data(*package);
    data.addCipherEntry(selectorOf(FileSystemManager::getRelationshipType().c_str()), {1}, salt, {1});
    package->saveToBytes();
    FileSystemManager files(*package);
    try {
      unlockWithPassword(files, "secret");
      ADD_FAILURE() << "nothing was thrown";
    } catch (WrongPassword const&) {
      ADD_FAILURE() << opc::toASCIIString(salt);
    } catch (opc::Exception const&) {
    }
  }
}

TEST_F(Passwords, AreNotDerivedBeyondTheBounds) {
  auto const package = Package::createInMemory();
  CipherDataManager data(*package);
  data.addCipherEntry(selectorOf(FileSystemManager::getRelationshipType().c_str()), {1},
                      CipherDataManager::generateRandomSalt(PasswordCost{.logN = 30}), {1, 2});
  package->saveToBytes();
  FileSystemManager files(*package);
  EXPECT_THROW(unlockWithPassword(files, "secret"), opc::Exception);
}

}  // namespace
