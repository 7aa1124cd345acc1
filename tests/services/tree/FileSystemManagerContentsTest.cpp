// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "services/tree/EncryptionTestSupport.hpp"

namespace {

using namespace zt_test;
using namespace opc::ztservices;

constexpr std::size_t kOverhead = kIVBytes + kTagBytes;

FileSystemEntry addOfType(FileSystemManager& manager, std::string const& text, std::u16string const& type) {
  return manager.addFile(std::make_unique<TextSource>(text, ContentType(type)), u"/f",
                         FileSystemEntry::getUnknownPermissions(), FileSystemEntry::getUnknownTime());
}

TEST(FileSystemManagerContents, PlainFileIsNotEncryptedAndHasTheSizeOfItsText) {
  NewFileSystem fs;
  FileSystemEntry const file = addText(fs.manager, u"/f", "text");
  EXPECT_FALSE(fs.manager.isEncrypted(file));
  EXPECT_EQ(fs.manager.getSize(file), 4U);
  EXPECT_EQ(fs.manager.getSize(file, TransformMode::None), 4U);
  EXPECT_EQ(fs.manager.getStoredSize(file), 4U);
}

TEST(FileSystemManagerContents, CompressedFileIsStoredInLessThanItsSize) {
  NewFileSystem fs;
  FileSystemEntry const file = addText(fs.manager, u"/f", std::string(100'000, 'a'));
  EXPECT_EQ(fs.manager.getSize(file), 100'000U);
  EXPECT_LT(fs.manager.getStoredSize(file), 10'000U);
}

TEST(FileSystemManagerContents, EncryptedFileHasTheSizeThatItHadBefore) {
  NewEncryptedFileSystem fs;
  FileSystemEntry const file = addText(fs.manager, u"/f", "secret");
  EXPECT_TRUE(fs.manager.isEncrypted(file));
  EXPECT_EQ(fs.manager.getSize(file), decryptedTextAt(fs.manager, u"/f").size());
  EXPECT_EQ(fs.manager.getSize(file, TransformMode::None), 6 + kOverhead);
  EXPECT_EQ(fs.manager.getStoredSize(file), 6 + kOverhead);
}

TEST(FileSystemManagerContents, EmptyEncryptedFileHasSizeZero) {
  NewEncryptedFileSystem fs;
  FileSystemEntry const file = addText(fs.manager, u"/f", "");
  EXPECT_TRUE(fs.manager.isEncrypted(file));
  EXPECT_EQ(fs.manager.getSize(file), 0U);
}

TEST(FileSystemManagerContents, SizesNeedNoKey) {
  NewFileSystem fs;
  fs.manager.enableEncryption(testKey(), IVMode::Random, {});
  FileSystemEntry const file = addText(fs.manager, u"/f", "secret");
  EXPECT_FALSE(fs.manager.isDecryptionEnabled());
  EXPECT_EQ(fs.manager.getSize(file), 6U);
}

TEST(FileSystemManagerContents, EncryptedContentThatIsTooShortHasTheSizeOfItsPart) {
  NewFileSystem fs;
  FileSystemEntry const file = addOfType(fs.manager, std::string(kOverhead - 1, 'x'),
                                         u"application/octet-stream;encryption=AES256-GCM;iv=inline");
  EXPECT_TRUE(fs.manager.isEncrypted(file));
  EXPECT_EQ(fs.manager.getSize(file), kOverhead - 1);
}

TEST(FileSystemManagerContents, UnknownAlgorithmIsEncryptionOfUnknownSize) {
  NewFileSystem fs;
  FileSystemEntry const file =
      addOfType(fs.manager, std::string(100, 'x'), u"application/octet-stream;encryption=other;iv=inline");
  EXPECT_TRUE(fs.manager.isEncrypted(file));
  EXPECT_EQ(fs.manager.getSize(file), 100U);
}

TEST(FileSystemManagerContents, AnswersAreTheSameAfterReopening) {
  NewEncryptedFileSystem fs;
  addText(fs.manager, u"/f", "secret");
  auto const package = reopen(*fs.package);
  FileSystemManager manager(*package);
  manager.enableDecryption(testKey());
  FileSystemEntry const file = manager.getEntry(u"/f");
  EXPECT_TRUE(manager.isEncrypted(file));
  EXPECT_EQ(manager.getSize(file), 6U);
  EXPECT_EQ(manager.getStoredSize(file), 6 + kOverhead);
}

void expectRefused(FileSystemManager const& manager, FileSystemEntry const& entry) {
  char const* const message = "File system entry must be a file";
  EXPECT_THROW_MESSAGE(manager.isEncrypted(entry), FileSystemEntryMustBeFile, message);
  EXPECT_THROW_MESSAGE(manager.getSize(entry), FileSystemEntryMustBeFile, message);
  EXPECT_THROW_MESSAGE(manager.getStoredSize(entry), FileSystemEntryMustBeFile, message);
}

TEST(FileSystemManagerContents, FoldersHaveNone) {
  NewFileSystem fs;
  expectRefused(fs.manager, fs.manager.createFolder(u"/d"));
  expectRefused(fs.manager, fs.manager.getRoot());
}

TEST(FileSystemManagerContents, LinksHaveNone) {
  NewFileSystem fs;
  addText(fs.manager, u"/f", "text");
  expectRefused(fs.manager, fs.manager.createLink(u"/l", u"f"));
}

TEST(FileSystemManagerContents, DeletedFileIsNotFound) {
  NewFileSystem fs;
  FileSystemEntry const file = addText(fs.manager, u"/f", "text");
  fs.manager.deleteFile(file);
  char const* const message = "File system entry does not exist: /f";
  EXPECT_THROW_MESSAGE(fs.manager.isEncrypted(file), FileSystemEntryNotFound, message);
  EXPECT_THROW_MESSAGE(fs.manager.getSize(file), FileSystemEntryNotFound, message);
  EXPECT_THROW_MESSAGE(fs.manager.getStoredSize(file), FileSystemEntryNotFound, message);
}

TEST(FileSystemManagerContents, MissingPartIsNotFound) {
  NewFileSystem fs;
  FileSystemEntry const file = addText(fs.manager, u"/f", "text");
  fs.package->deletePart(PartName(file.getContentName()));
  EXPECT_THROW(fs.manager.isEncrypted(file), opc::model::PartNotFound);
  EXPECT_THROW(fs.manager.getSize(file), opc::model::PartNotFound);
  EXPECT_THROW(fs.manager.getStoredSize(file), opc::model::PartNotFound);
}

}  // namespace
