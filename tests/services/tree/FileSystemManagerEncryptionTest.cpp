// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <filesystem>
#include <gmock/gmock.h>
#include <memory>
#include <set>
#include <string>

#include "crypto/CipherTransforms.hpp"
#include "crypto/CryptoAdapters.hpp"
#include "crypto/IVGenerators.hpp"
#include "opc/Exception.hpp"
#include "opc/ztservices/ContentTypes.hpp"
#include "services/tree/EncryptionTestSupport.hpp"
#include "support/CryptoAnswers.hpp"

namespace {

using namespace zt_test;
using namespace opc::ztservices;
using testing::ElementsAre;

constexpr char kCannotStart[] = "Cannot change from a non-encrypted file system to an encrypted file-system";
constexpr char kCannotStop[] = "Cannot save an encrypted file system while encryption is not enabled";

// The HMAC-SHA256 under testKey() of "/a/b.txt", "/%C3%A9%20x" and "/+@" in UTF-16LE, computed by Python's hmac.
std::u16string const kNameOfAB = u"/fsroot/638f177cfa069d2de76f2c42634357dc5fbf0cff7b4746220f7a0bcc38bad364";
std::u16string const kNameOfE = u"/fsroot/3cffaac5e606e9c99fab8188e01a4f75bf2855d36ee260e23c066753371e90d2";
std::u16string const kNameOfPlus = u"/fsroot/f89860e52bbef853c9985468c6021ba9a7c70b41ce6958cdb467027bd48055ec";

std::string storedTextAt(FileSystemManager& manager, std::u16string const& path) { return textAt(manager, path); }

/// The counter of a deterministic IV, as text of its eight bytes.
std::string counterOf(std::string const& stored) { return stored.substr(8, 8); }

TEST(FileSystemManagerEncryption, ANewPackageIsNeitherEncryptedNorNot) {
  NewFileSystem const fs;
  EXPECT_FALSE(fs.manager.isEncrypted());
  EXPECT_FALSE(fs.manager.isNonEncrypted());
}

TEST(FileSystemManagerEncryption, IsOffUntilItIsEnabled) {
  NewFileSystem fs;
  EXPECT_FALSE(fs.manager.isEncryptionEnabled());
  EXPECT_FALSE(fs.manager.isDecryptionEnabled());
  fs.manager.enableEncryption(testKey(), IVMode::Random, {});
  EXPECT_TRUE(fs.manager.isEncryptionEnabled());
  EXPECT_FALSE(fs.manager.isDecryptionEnabled());
  fs.manager.enableDecryption(testKey());
  EXPECT_TRUE(fs.manager.isDecryptionEnabled());
}

TEST(FileSystemManagerEncryption, ASaveDecidesWhatAPackageIs) {
  NewEncryptedFileSystem fs;
  addText(fs.manager, u"/f", "text");
  EXPECT_FALSE(fs.manager.isEncrypted());
  fs.package->saveToBytes();
  EXPECT_TRUE(fs.manager.isEncrypted());
  EXPECT_FALSE(fs.manager.isNonEncrypted());
}

TEST(FileSystemManagerEncryption, APlainPackageIsNonEncrypted) {
  NewFileSystem fs;
  addText(fs.manager, u"/f", "text");
  fs.package->saveToBytes();
  EXPECT_FALSE(fs.manager.isEncrypted());
  EXPECT_TRUE(fs.manager.isNonEncrypted());
}

TEST(FileSystemManagerEncryption, IsRefusedForAPlainPackage) {
  NewFileSystem fs;
  addText(fs.manager, u"/f", "text");
  auto const package = reopen(*fs.package);
  FileSystemManager manager(*package);
  EXPECT_THROW_MESSAGE(manager.enableEncryption(testKey(), IVMode::Random, {}), CannotChangeEncryption, kCannotStart);
  EXPECT_FALSE(manager.isEncryptionEnabled());
}

TEST(FileSystemManagerEncryption, IsRefusedForAPlainPackageBeforeTheKeyAndTheIVAreLookedAt) {
  NewFileSystem fs;
  addText(fs.manager, u"/f", "text");
  fs.package->saveToBytes();
  EXPECT_THROW_MESSAGE(fs.manager.enableEncryption({}, IVMode::Deterministic, {}), CannotChangeEncryption,
                       kCannotStart);
}

TEST(FileSystemManagerEncryption, MayBeEnabledForAnEncryptedPackageWithoutReadingIt) {
  NewEncryptedFileSystem fs;
  addText(fs.manager, u"/f", "text");
  auto const package = reopen(*fs.package);
  FileSystemManager manager(*package);
  manager.enableEncryption(testKey(), IVMode::Random, {});
  EXPECT_TRUE(manager.isEncryptionEnabled());
}

TEST(FileSystemManagerEncryption, DecryptionMayBeEnabledForAPlainPackageAndChangesNothing) {
  NewFileSystem fs;
  addText(fs.manager, u"/f", "text");
  auto const package = reopen(*fs.package);
  FileSystemManager manager(*package);
  manager.enableDecryption(testKey());
  addText(manager, u"/g", "more");
  EXPECT_EQ(storedTextAt(manager, u"/g"), "more");
  package->saveToBytes();
  EXPECT_TRUE(manager.isNonEncrypted());
}

TEST(FileSystemManagerEncryption, ShortFixedPortionIsRefused) {
  NewFileSystem fs;
  EXPECT_THROW_MESSAGE(fs.manager.enableEncryption(testKey(), IVMode::Deterministic, Bytes(7)), InvalidIVBytesSize,
                       "IV fixed portion must be at least 8 bytes");
  EXPECT_THROW_MESSAGE(fs.manager.enableEncryption(testKey(), IVMode::Deterministic, {}), InvalidIVBytesSize,
                       "IV fixed portion must be at least 8 bytes");
}

TEST(FileSystemManagerEncryption, ShortSeedIsRefused) {
  NewFileSystem fs;
  EXPECT_THROW_MESSAGE(fs.manager.enableEncryption(testKey(), IVMode::Random, Bytes(5)), InvalidIVBytesSize,
                       "IV seed must be at least 8 bytes when it is specified");
  fs.manager.enableEncryption(testKey(), IVMode::Random, Bytes(8));
  EXPECT_TRUE(fs.manager.isEncryptionEnabled());
}

TEST(FileSystemManagerEncryption, AnyModeButRandomIsDeterministic) {
  NewFileSystem fs;
  EXPECT_THROW_MESSAGE(fs.manager.enableEncryption(testKey(), IVMode{7}, {}), InvalidIVBytesSize,
                       "IV fixed portion must be at least 8 bytes");
}

TEST(FileSystemManagerEncryption, KeysOfAnotherLengthAreRefused) {
  NewFileSystem fs;
  for (std::size_t const length : {0U, 16U, 31U, 33U}) {
    EXPECT_THROW(fs.manager.enableEncryption(Bytes(length), IVMode::Random, {}), opc::Exception) << length;
    EXPECT_THROW(fs.manager.enableDecryption(Bytes(length)), opc::Exception) << length;
  }
  EXPECT_FALSE(fs.manager.isEncryptionEnabled());
  EXPECT_FALSE(fs.manager.isDecryptionEnabled());
}

TEST(FileSystemManagerEncryption, WhatFailsToBeEnabledLeavesTheFormerKeyAndSequence) {
  NewEncryptedFileSystem fs(IVMode::Deterministic, countingBytes(8));
  addText(fs.manager, u"/a", "text");
  EXPECT_THROW(fs.manager.enableEncryption(otherKey(), IVMode::Deterministic, Bytes(7)), InvalidIVBytesSize);
  EXPECT_THROW(fs.manager.enableEncryption(Bytes(31), IVMode::Deterministic, Bytes(8)), opc::Exception);
  EXPECT_THROW(fs.manager.enableDecryption(Bytes(31)), opc::Exception);
  EXPECT_EQ(fs.manager.makeUniquePartName(u"/b"), NewEncryptedFileSystem().manager.makeUniquePartName(u"/b"));
  addText(fs.manager, u"/b", "text");
  EXPECT_EQ(decryptedTextAt(fs.manager, u"/b"), "text");
  EXPECT_EQ(counterOf(storedTextAt(fs.manager, u"/b")), std::string("\0\0\0\0\0\0\0\xD8", 8));
}

TEST(FileSystemManagerEncryption, EnablingItAgainBeginsTheSequenceAgain) {
  NewEncryptedFileSystem fs(IVMode::Deterministic, countingBytes(8));
  addText(fs.manager, u"/a", "text");
  fs.manager.enableEncryption(testKey(), IVMode::Deterministic, Bytes(8, 9));
  addText(fs.manager, u"/b", "text");
  EXPECT_EQ(storedTextAt(fs.manager, u"/b").substr(0, 16), std::string(8, 9) + std::string("\1\0\0\0\0\0\0\0", 8));
}

TEST(FileSystemManagerEncryption, DeterministicIVsShareTheFixedPortionAndCountOn) {
  NewEncryptedFileSystem fs(IVMode::Deterministic, countingBytes(20));
  addText(fs.manager, u"/a", "same");
  addText(fs.manager, u"/b", "same");
  std::string const a = storedTextAt(fs.manager, u"/a"), b = storedTextAt(fs.manager, u"/b");
  EXPECT_EQ(a.substr(0, 8), textOf(countingBytes(8)));
  EXPECT_EQ(b.substr(0, 8), textOf(countingBytes(8)));
  EXPECT_EQ(counterOf(a), std::string("\1\0\0\0\0\0\0\0", 8));
  EXPECT_EQ(counterOf(b), std::string("\0\0\0\0\0\0\0\xD8", 8));
  EXPECT_NE(a.substr(16), b.substr(16));
}

TEST(FileSystemManagerEncryption, RandomIVsNeverRepeatEvenUnderOneSeed) {
  std::set<std::string> seen;
  for (int round = 0; round < 2; ++round) {
    NewEncryptedFileSystem fs(IVMode::Random, Bytes(8));
    for (std::size_t i = 0; i < 50; ++i) {
      addText(fs.manager, numbered(u"/f", i), "same");
      seen.insert(storedTextAt(fs.manager, numbered(u"/f", i)).substr(0, 16));
    }
  }
  EXPECT_EQ(seen.size(), 100U);
}

TEST(FileSystemManagerEncryption, StoresIVAndMessageAndMarksTheContentType) {
  NewEncryptedFileSystem fs;
  auto const entry =
      fs.manager.addFile(std::make_unique<TextSource>("secret", ContentType(u"text/plain;charset=utf-8")), u"/f",
                         opc::Perms::Perms_tag(0600), kTime);
  auto const part = fs.package->getPart(PartName(entry.getContentName()));
  EXPECT_EQ(part.getContentType().toString(), u"text/plain;charset=utf-8;encryption=AES256-GCM;iv=inline");
  EXPECT_EQ(part.getSize(), kIVBytes + 6 + kTagBytes);
  EXPECT_EQ(storedTextAt(fs.manager, u"/f").find("secret"), std::string::npos);
}

TEST(FileSystemManagerEncryption, ReadingGivesContentAndTypeBack) {
  NewEncryptedFileSystem fs;
  fs.manager.addFile(std::make_unique<TextSource>("secret", ContentType(u"text/plain;charset=utf-8")), u"/f",
                     opc::Perms::Perms_tag(0600), kTime);
  auto const source = fs.manager.getFileContentSource(fs.manager.getEntry(u"/f"), TransformMode::Transform);
  EXPECT_EQ(source->getContentType().toString(), u"text/plain;charset=utf-8");
  EXPECT_EQ(readAll(source->getInputStream()), "secret");
}

TEST(FileSystemManagerEncryption, ContentOfEverySizeComesBack) {
  NewEncryptedFileSystem fs;
  for (std::size_t const size : {0U, 1U, 15U, 16U, 17U, 4096U, 16384U, 16385U, 1000000U}) {
    std::string const text(size, static_cast<char>(size % 251));
    addText(fs.manager, numbered(u"/f", size), text);
    EXPECT_EQ(storedTextAt(fs.manager, numbered(u"/f", size)).size(), kIVBytes + size + kTagBytes);
    EXPECT_EQ(decryptedTextAt(fs.manager, numbered(u"/f", size)), text);
  }
}

TEST(FileSystemManagerEncryption, FilesFromADiskAreEncryptedAfterTheyBecameUTF8) {
  TemporaryDirectory directory;
  writeFile(directory / "t.txt", std::string("\xFF\xFE"
                                             "a\0b\0",
                                             6));
  NewEncryptedFileSystem fs;
  fs.manager.addAll(directory.u16(), TransformMode::Transform);
  auto const source = fs.manager.getFileContentSource(fs.manager.getEntry(u"/t.txt"), TransformMode::Transform);
  EXPECT_EQ(source->getContentType().toString(), getTextContentType().toString() + u";charset=utf-8");
  EXPECT_EQ(readAll(source->getInputStream()),
            "\xEF\xBB\xBF"
            "ab");
}

TEST(FileSystemManagerEncryption, PartsAreNamedByADigestOfThePath) {
  NewEncryptedFileSystem fs;
  EXPECT_EQ(addText(fs.manager, u"a\\b.txt", "x").getContentName(), kNameOfAB);
  EXPECT_EQ(addText(fs.manager, u"/\u00E9 x", "x").getContentName(), kNameOfE);
  EXPECT_EQ(addText(fs.manager, u"/+@", "x").getContentName(), kNameOfPlus);
}

TEST(FileSystemManagerEncryption, PartNameThatIsTakenGetsANumberAtItsEnd) {
  NewEncryptedFileSystem fs;
  addPart(*fs.package, kNameOfAB, u"a/b", "taken");
  EXPECT_EQ(fs.manager.makeUniquePartName(u"/a/b.txt"), kNameOfAB + u"_1");
}

TEST(FileSystemManagerEncryption, AFileBelowAFolderMakesNoNameThatDerivesFromAnother) {
  NewEncryptedFileSystem fs;
  addText(fs.manager, u"/a", "x");
  fs.manager.deleteFile(fs.manager.getEntry(u"/a"));
  addText(fs.manager, u"/a/b.txt", "x");
  EXPECT_THAT(contentParts(*fs.package), ElementsAre(kNameOfAB));
}

TEST(FileSystemManagerEncryption, TreeSurvivesSavingAndReopening) {
  NewEncryptedFileSystem fs;
  addText(fs.manager, u"/a/f.txt", "content");
  fs.manager.createLink(u"/l", u"../x y");
  fs.manager.createFolder(u"/e");
  auto const package = reopen(*fs.package);
  FileSystemManager manager(*package);
  manager.enableDecryption(testKey());
  EXPECT_THAT(leafs(manager), ElementsAre(u"/a/f.txt", u"/e", u"/l"));
  EXPECT_EQ(manager.getLinkTarget(manager.getEntry(u"/l")), u"../x y");
  EXPECT_EQ(decryptedTextAt(manager, u"/a/f.txt"), "content");
  EXPECT_FALSE(manager.isDirty());
}

TEST(FileSystemManagerEncryption, ManifestIsStoredAsOneMessage) {
  NewEncryptedFileSystem fs;
  fs.manager.createFolder(u"/conspicuous");
  auto const bytes = fs.package->saveToBytes();
  auto const part = fs.package->getPart(PartName(kManifest));
  EXPECT_EQ(part.getContentType().toString(),
            u"application/vnd.corvanta.package.filesystemManifest+xml;encryption=AES256-GCM;iv=inline");
  EXPECT_EQ(textOf(bytes).find("conspicuous"), std::string::npos);
  EXPECT_EQ(textOfPart(*fs.package, kManifest).find("<?xml"), std::string::npos);
}

TEST(FileSystemManagerEncryption, EverySaveTakesANewIV) {
  NewEncryptedFileSystem fs;
  std::set<std::string> seen;
  for (int i = 0; i < 20; ++i) {
    fs.manager.markAsDirty();
    fs.package->saveToBytes();
    seen.insert(textOfPart(*fs.package, kManifest).substr(0, 16));
  }
  EXPECT_EQ(seen.size(), 20U);
}

TEST(FileSystemManagerEncryption, EqualKeyPrefixAndContentGiveEqualBytes) {
  auto const make = [] {
    NewEncryptedFileSystem fs(IVMode::Deterministic, countingBytes(8));
    addText(fs.manager, u"/a", "one");
    addText(fs.manager, u"/b", "two");
    return fs.package->saveToBytes();
  };
  EXPECT_EQ(make(), make());
}

TEST(FileSystemManagerEncryption, AnEncryptedManifestIsNeverReplacedByAPlainOne) {
  NewEncryptedFileSystem fs;
  addText(fs.manager, u"/f", "text");
  auto const package = reopen(*fs.package);
  FileSystemManager manager(*package);
  manager.enableDecryption(testKey());
  std::string const before = textOfPart(*package, kManifest);
  manager.createFolder(u"/d");
  EXPECT_THROW_MESSAGE(package->saveToBytes(), CannotChangeEncryption, kCannotStop);
  EXPECT_EQ(textOfPart(*package, kManifest), before);
}

TEST(FileSystemManagerEncryption, ASaveThatWasRefusedSucceedsOnceEncryptionIsEnabled) {
  NewEncryptedFileSystem fs;
  addText(fs.manager, u"/f", "text");
  auto const package = reopen(*fs.package);
  FileSystemManager manager(*package);
  manager.enableDecryption(testKey());
  manager.createFolder(u"/d");
  EXPECT_THROW(package->saveToBytes(), CannotChangeEncryption);
  manager.enableEncryption(testKey(), IVMode::Random, {});
  auto const again = reopen(*package);
  FileSystemManager reader(*again);
  reader.enableDecryption(testKey());
  EXPECT_THAT(leafs(reader), ElementsAre(u"/d", u"/f"));
}

TEST(FileSystemManagerEncryption, AMessageIsNeverStoredInThePartOfAPlainManifest) {
  NewEncryptedFileSystem fs;
  FileSystemManager other(*fs.package);
  addText(other, u"/plain", "text");
  fs.package->saveToBytes();
  std::string const before = textOfPart(*fs.package, kManifest);
  addText(fs.manager, u"/f", "text");
  EXPECT_THROW_MESSAGE(fs.package->saveToBytes(), CannotChangeEncryption, kCannotStart);
  EXPECT_EQ(textOfPart(*fs.package, kManifest), before);
}

TEST(FileSystemManagerEncryption, ANewKeyForAnEncryptedPackageTakesTheManifestAndWhatIsAdded) {
  NewEncryptedFileSystem fs;
  addText(fs.manager, u"/old", "old");
  auto const package = reopen(*fs.package);
  FileSystemManager manager(*package);
  manager.enableDecryption(testKey());
  manager.ensureLoaded();
  manager.enableEncryption(otherKey(), IVMode::Random, {});
  addText(manager, u"/new", "new");
  auto const again = reopen(*package);
  FileSystemManager reader(*again);
  reader.enableDecryption(otherKey());
  EXPECT_EQ(decryptedTextAt(reader, u"/new"), "new");
  CapturedLines captured;
  EXPECT_THROW_MESSAGE(decryptedTextAt(reader, u"/old"), CouldNotTransformContentData, kWrongContent);
}

TEST(FileSystemManagerEncryption, WhatWasAddedBeforeStaysPlain) {
  NewFileSystem fs;
  addText(fs.manager, u"/plain", "plain");
  fs.manager.enableEncryption(testKey(), IVMode::Random, {});
  addText(fs.manager, u"/secret", "secret");
  auto const package = reopen(*fs.package);
  FileSystemManager manager(*package);
  manager.enableDecryption(testKey());
  EXPECT_EQ(storedTextAt(manager, u"/plain"), "plain");
  EXPECT_EQ(decryptedTextAt(manager, u"/plain"), "plain");
  EXPECT_EQ(decryptedTextAt(manager, u"/secret"), "secret");
}

TEST(FileSystemManagerEncryption, WhatIsWrittenToAFilesStreamIsStoredAsItIs) {
  NewEncryptedFileSystem fs;
  auto const entry = createPlainFile(fs.manager, u"/f");
  auto const output = fs.manager.getFileOutputStream(entry);
  output->write("plain", 5);
  output->close();
  EXPECT_EQ(storedTextAt(fs.manager, u"/f"), "plain");
  EXPECT_EQ(decryptedTextAt(fs.manager, u"/f"), "plain");
}

TEST(FileSystemManagerEncryption, Version1ManifestBesideAnEncryptedOneIsPlain) {
  NewEncryptedFileSystem fs;
  addText(fs.manager, u"/visible", "text");
  fs.manager.setSaveV1Manifest(true);
  auto const package = reopen(*fs.package);
  EXPECT_EQ(package->getPart(PartName(kManifestV1)).getContentType(), FileSystemManager::getPartContentTypeV1());
  EXPECT_NE(textOfPart(*package, kManifestV1).find("/visible"), std::string::npos);
  EXPECT_EQ(textOfPart(*package, kManifest).find("/visible"), std::string::npos);
  FileSystemManager manager(*package);
  EXPECT_TRUE(manager.isEncrypted());
  manager.enableDecryption(testKey());
  EXPECT_EQ(decryptedTextAt(manager, u"/visible"), "text");
}

TEST(FileSystemManagerEncryption, DeletedFilesGoWithTheirParts) {
  NewEncryptedFileSystem fs;
  addText(fs.manager, u"/f", "text");
  auto const package = reopen(*fs.package);
  FileSystemManager manager(*package);
  manager.enableDecryption(testKey());
  manager.enableEncryption(testKey(), IVMode::Random, {});
  manager.deleteFile(manager.getEntry(u"/f"));
  EXPECT_TRUE(contentParts(*package).empty());
}

TEST(FileSystemManagerEncryption, SourceThatFailsLeavesAnEmptyEncryptedPart) {
  NewEncryptedFileSystem fs;
  EXPECT_ANY_THROW(fs.manager.addFile(std::make_unique<FailingSource>(), u"/f", opc::Perms::Perms_tag(0600), kTime));
  EXPECT_EQ(storedTextAt(fs.manager, u"/f"), "");
  CapturedLines captured;
  EXPECT_THROW_MESSAGE(decryptedTextAt(fs.manager, u"/f"), CouldNotTransformContentData, kWrongContent);
}

TEST(FileSystemManagerEncryption, RefusesAFileThatIsLongerThanAMessageBeforeItIsRead) {
  TemporaryDirectory directory;
  writeFile(directory / "long", "");
  std::filesystem::resize_file(directory / "long", opc::ztservices::kLongestEncryptedContent + 1);  // with a hole
  NewEncryptedFileSystem fs;
  EXPECT_THROW_MESSAGE(
      fs.manager.addFile(directory.u16("long"), u"/long", TransformMode::None),
      opc::ztservices::ContentTooLongToEncrypt,
      (directory / "long").string() + ": it has 68719476705 bytes, and no more than 68719476704 can be encrypted");
  EXPECT_FALSE(fs.manager.hasEntry(u"/long"));
}

TEST(FileSystemManagerEncryption, ContentsOfSeveralPiecesAreTheMessagesOfTheTransform) {
  NewEncryptedFileSystem fs(IVMode::Deterministic, countingBytes(8));
  std::string const content = zt_test::textOf(zt_test::sampleContent(2'500'000));
  auto const part = addText(fs.manager, u"/f", content).getContentName();
  opc::ztservices::EncryptionWithInlineIVTransform transform(
      std::make_unique<TextSource>(content, ContentType(u"a/b")),
      std::make_shared<opc::ztservices::CryptoEncryptor>(testKey()), "AES256-GCM",
      opc::ztservices::createIVGenerator(IVMode::Deterministic, countingBytes(8)));
  EXPECT_TRUE(textOfPart(*fs.package, part) == readAll(transform.getInputStream()));
}

}  // namespace
