// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "crypto/Bytes.hpp"
#include "services/tree/EncryptedContent.hpp"
#include "services/tree/EncryptionTestSupport.hpp"
#include "support/CryptoAnswers.hpp"
#include "support/MemoryScan.hpp"

namespace {

using namespace zt_test;
using namespace opc::ztservices;
using testing::IsEmpty;

constexpr char kManifestNeedsKey[] = "Manifest is encrypted but enableDecryption() has not been called yet";
constexpr char kContentNeedsKey[] = "Content is encrypted but enableDecryption() has not been called yet";

/// A package with one encrypted file, as it is after saving and opening.
std::unique_ptr<Package> encryptedPackage(std::string const& text = "secret") {
  NewEncryptedFileSystem fs;
  addText(fs.manager, u"/f", text);
  return reopen(*fs.package);
}

std::u16string contentPart(Package const& package) { return contentParts(package).front(); }

TEST(FileSystemManagerDecryption, ManifestIsRefusedWithoutAKeyBeforeAnyEntryIsRead) {
  auto const package = encryptedPackage();
  FileSystemManager const manager(*package);
  EXPECT_TRUE(manager.isEncrypted());
  EXPECT_THROW_MESSAGE(manager.ensureLoaded(), CouldNotDecryptContent, kManifestNeedsKey);
  EXPECT_THROW_MESSAGE(manager.getAllLeafs(), CouldNotDecryptContent, kManifestNeedsKey);
}

TEST(FileSystemManagerDecryption, LoadingSucceedsOnceItIsEnabled) {
  auto const package = encryptedPackage();
  FileSystemManager manager(*package);
  EXPECT_THROW(manager.ensureLoaded(), CouldNotDecryptContent);
  manager.enableDecryption(testKey());
  EXPECT_TRUE(manager.hasEntry(u"/f"));
}

TEST(FileSystemManagerDecryption, EncryptionAloneDoesNotRead) {
  auto const package = encryptedPackage();
  FileSystemManager manager(*package);
  manager.enableEncryption(testKey(), IVMode::Random, {});
  EXPECT_THROW_MESSAGE(addText(manager, u"/g", "x"), CouldNotDecryptContent, kManifestNeedsKey);
  EXPECT_THROW_MESSAGE(manager.makeUniquePartName(u"/g"), CouldNotDecryptContent, kManifestNeedsKey);
}

TEST(FileSystemManagerDecryption, ContentIsRefusedWithoutAKey) {
  NewFileSystem fs;
  fs.manager.enableEncryption(testKey(), IVMode::Random, {});
  addText(fs.manager, u"/f", "secret");
  EXPECT_THROW_MESSAGE(decryptedTextAt(fs.manager, u"/f"), CouldNotDecryptContent, kContentNeedsKey);
  fs.manager.enableDecryption(testKey());
  EXPECT_EQ(decryptedTextAt(fs.manager, u"/f"), "secret");
}

TEST(FileSystemManagerDecryption, WithoutTransformingTheStoredBytesComeOut) {
  auto const package = encryptedPackage();
  FileSystemManager manager(*package);
  manager.enableDecryption(testKey());
  auto const source = manager.getFileContentSource(manager.getEntry(u"/f"), TransformMode::None);
  EXPECT_EQ(source->getContentType().toString(), u"application/octet-stream;encryption=AES256-GCM;iv=inline");
  EXPECT_EQ(readAll(source->getInputStream()), textOfPart(*package, contentPart(*package)));
}

TEST(FileSystemManagerDecryption, AnotherKeyCannotReadTheManifest) {
  auto const package = encryptedPackage();
  FileSystemManager manager(*package);
  manager.enableDecryption(otherKey());
  CapturedLines captured;
  EXPECT_THROW_MESSAGE(manager.ensureLoaded(), CouldNotTransformContentData, kWrongManifest);
  EXPECT_EQ(captured.take(), kDamagedLine);
}

TEST(FileSystemManagerDecryption, TheRightKeyAfterAWrongOneReads) {
  auto const package = encryptedPackage();
  FileSystemManager manager(*package);
  manager.enableDecryption(otherKey());
  {
    CapturedLines captured;
    EXPECT_THROW(manager.ensureLoaded(), CouldNotTransformContentData);
  }
  manager.enableDecryption(testKey());
  EXPECT_EQ(decryptedTextAt(manager, u"/f"), "secret");
}

TEST(FileSystemManagerDecryption, EveryChangedBitOfAContentIsTheSameError) {
  auto const package = encryptedPackage();
  std::u16string const part = contentPart(*package);
  std::string const stored = textOfPart(*package, part);
  FileSystemManager manager(*package);
  manager.enableDecryption(testKey());
  for (std::size_t bit = 0; bit < 8 * stored.size(); ++bit) {
    std::string changed = stored;
    changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ (1 << bit % 8));
    overwritePart(*package, part, changed);
    CapturedLines captured;
    EXPECT_THROW_MESSAGE(decryptedTextAt(manager, u"/f"), CouldNotTransformContentData, kWrongContent);
    EXPECT_EQ(captured.take(), kDamagedLine) << "bit " << bit;
  }
}

TEST(FileSystemManagerDecryption, ContentsAndManifestOfSeveralPiecesComeBack) {
  NewEncryptedFileSystem fs;
  std::string const content = zt_test::textOf(zt_test::sampleContent(3'500'000));
  addText(fs.manager, u"/f", content);
  for (int i = 0; i < 9000; ++i)
    fs.manager.createFolder(u"/" + std::u16string(150, u'x') + opc::toString(std::to_string(i)));
  auto const package = reopen(*fs.package);
  EXPECT_GT(package->getPart(PartName(kManifest)).getSize(), 1u << 20);
  FileSystemManager manager(*package);
  manager.enableDecryption(testKey());
  EXPECT_EQ(decryptedTextAt(manager, u"/f"), content);
  EXPECT_EQ(manager.getAllLeafs().size(), 9001u);
}

TEST(FileSystemManagerDecryption, TakesNoPartForEncryptedThatIsLongerThanAMessage) {
  EXPECT_FALSE(isTooLongForEncrypted(std::uint64_t{1} << 36));
  EXPECT_TRUE(isTooLongForEncrypted((std::uint64_t{1} << 36) + 1));
}

TEST(FileSystemManagerDecryption, RefusesWhatShrinksToLessThanHalfUnread) {
  auto const package = encryptedPackage();
  std::u16string const part = contentPart(*package);
  overwritePart(*package, part, std::string(100'000, 'x'));  // deflated to much less
  std::uint64_t const stored = package->getPart(PartName(part)).getStoredSize();
  FileSystemManager manager(*package);
  manager.enableDecryption(testKey());
  EXPECT_THROW_MESSAGE(
      decryptedTextAt(manager, u"/f"), opc::model::InvalidItem,
      opc::toUTF8String(part) +
          ": it cannot be encrypted, as its content type says that it is: its 100000 bytes take only " +
          std::to_string(stored) + " in the package");
}

TEST(FileSystemManagerDecryption, TakesForEncryptedWhatShrinksALittle) {
  EXPECT_FALSE(isTooSmallForEncrypted(0, 0));
  EXPECT_FALSE(isTooSmallForEncrypted(0, 1025));
  EXPECT_TRUE(isTooSmallForEncrypted(0, 1026));
  EXPECT_FALSE(isTooSmallForEncrypted(1'000'000, 2'001'025));
  EXPECT_TRUE(isTooSmallForEncrypted(1'000'000, 2'001'026));
  EXPECT_TRUE(isTooSmallForEncrypted(1, UINT64_MAX));
  EXPECT_FALSE(isTooSmallForEncrypted(UINT64_MAX, UINT64_MAX));
}

TEST(FileSystemManagerDecryption, EveryTruncationOfAContentIsTheSameError) {
  auto const package = encryptedPackage();
  std::u16string const part = contentPart(*package);
  std::string const stored = textOfPart(*package, part);
  FileSystemManager manager(*package);
  manager.enableDecryption(testKey());
  for (std::size_t size = 0; size < stored.size(); ++size) {
    overwritePart(*package, part, stored.substr(0, size));
    CapturedLines captured;
    EXPECT_THROW_MESSAGE(decryptedTextAt(manager, u"/f"), CouldNotTransformContentData, kWrongContent);
    EXPECT_EQ(captured.take(), kDamagedLine) << size << " bytes";
  }
}

TEST(FileSystemManagerDecryption, BytesBehindAMessageAreTheSameError) {
  auto const package = encryptedPackage();
  overwritePart(*package, contentPart(*package), textOfPart(*package, contentPart(*package)) + "x");
  FileSystemManager manager(*package);
  manager.enableDecryption(testKey());
  CapturedLines captured;
  EXPECT_THROW_MESSAGE(decryptedTextAt(manager, u"/f"), CouldNotTransformContentData, kWrongContent);
}

TEST(FileSystemManagerDecryption, EveryChangedByteOfAManifestIsTheSameErrorAndNothingIsRead) {
  auto const package = encryptedPackage();
  std::string const stored = textOfPart(*package, kManifest);
  for (std::size_t at = 0; at < stored.size(); ++at) {
    std::string changed = stored;
    changed[at] = static_cast<char>(changed[at] ^ (1 << at % 8));
    overwritePart(*package, kManifest, changed);
    FileSystemManager manager(*package);
    manager.enableDecryption(testKey());
    CapturedLines captured;
    EXPECT_THROW_MESSAGE(manager.ensureLoaded(), CouldNotTransformContentData, kWrongManifest);
    EXPECT_EQ(captured.take(), kDamagedLine) << "byte " << at;
  }
}

TEST(FileSystemManagerDecryption, AnUnknownAlgorithmFailsInTheTransform) {
  NewFileSystem fs;
  fs.manager.enableDecryption(testKey());
  fs.manager.addFile(std::make_unique<TextSource>("x", ContentType(u"a/b;encryption=aes256-gcm;iv=inline")), u"/f",
                     opc::Perms::Perms_tag(0600), kTime);
  CapturedLines captured;
  EXPECT_THROW_MESSAGE(
      decryptedTextAt(fs.manager, u"/f"), CouldNotTransformContentData,
      "Failure when attempting to transform data for content type:a/b;encryption=aes256-gcm;iv=inline");
  EXPECT_EQ(captured.take(), "An error occurred during decryption:Unsupported decryption type and mode.\n");
}

TEST(FileSystemManagerDecryption, TheMarkIsFoundInAnyLetterCase) {
  NewFileSystem fs;
  fs.manager.addFile(std::make_unique<TextSource>("x", ContentType(u"a/b;Encryption=AES256-GCM")), u"/f",
                     opc::Perms::Perms_tag(0600), kTime);
  EXPECT_THROW_MESSAGE(decryptedTextAt(fs.manager, u"/f"), CouldNotDecryptContent, kContentNeedsKey);
}

// Nothing binds a message to its part; the threat model says so.
TEST(FileSystemManagerDecryption, DoesNotSeeThatTwoContentsWereSwapped) {
  NewEncryptedFileSystem fs;
  auto const a = addText(fs.manager, u"/a", "one").getContentName();
  auto const b = addText(fs.manager, u"/b", "two").getContentName();
  std::string const first = textOfPart(*fs.package, a), second = textOfPart(*fs.package, b);
  overwritePart(*fs.package, a, second);
  overwritePart(*fs.package, b, first);
  EXPECT_EQ(decryptedTextAt(fs.manager, u"/a"), "two");
}

TEST(FileSystemManagerDecryption, ExtractingDecryptsOrWritesStoredBytes) {
  auto const package = encryptedPackage();
  FileSystemManager manager(*package);
  manager.enableDecryption(testKey());
  TemporaryDirectory directory;
  manager.extractAll(directory.u16("plain"), kRestore, TransformMode::Transform);
  manager.extractAll(directory.u16("raw"), kRestore, TransformMode::None);
  EXPECT_EQ(readFile(directory / "plain/f"), "secret");
  EXPECT_EQ(readFile(directory / "raw/f"), textOfPart(*package, contentPart(*package)));
}

TEST(FileSystemManagerDecryption, ExtractingWithoutAKeyWritesStoredBytesOrNothing) {
  NewFileSystem fs;
  fs.manager.enableEncryption(testKey(), IVMode::Random, {});
  addText(fs.manager, u"/f", "secret");
  TemporaryDirectory directory;
  EXPECT_THROW_MESSAGE(fs.manager.extractAll(directory.u16(), kRestore, TransformMode::Transform),
                       CouldNotDecryptContent, kContentNeedsKey);
  EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
  fs.manager.extractAll(directory.u16(), kRestore, TransformMode::None);
  EXPECT_EQ(readFile(directory / "f"), textAt(fs.manager, u"/f"));
}

TEST(FileSystemManagerDecryption, DamagedContentLeavesAFileOfThatNameAlone) {
  auto const package = encryptedPackage();
  overwritePart(*package, contentPart(*package), textOfPart(*package, contentPart(*package)).substr(1));
  FileSystemManager manager(*package);
  manager.enableDecryption(testKey());
  TemporaryDirectory directory;
  writeFile(directory / "f", "former");
  CapturedLines captured;
  EXPECT_THROW_MESSAGE(manager.extractAll(directory.u16(), kRestore, TransformMode::Transform),
                       CouldNotTransformContentData, kWrongContent);
  EXPECT_EQ(readFile(directory / "f"), "former");
}

/// Shrinks to about a half. Parts of up to 8 MiB are read at once, and no later change of the file matters.
std::string contentOfMiB(std::size_t size) {
  std::string text(size << 20, '\0');
  std::mt19937 random(18);
  for (char& c : text) c = static_cast<char>(random() & 15);
  return text;
}

void packLong(std::filesystem::path const& path, std::string const& content, Compression compression) {
  auto const package = Package::create(path);
  FileSystemManager manager(*package);
  manager.enableEncryption(testKey(), IVMode::Random, {}, compression);
  addText(manager, u"/long", content);
  package->save();
}

/// What a program of others does to the file of a package, from that byte on.
using Change = std::function<void(std::string& packed, std::size_t at)>;

/// Reads a content whose package changes at that byte once the content was authenticated.
void expectNoChangedByte(std::filesystem::path const& path, std::string packed, Change const& change, std::size_t at,
                         std::string const& content) {
  writeFile(path, packed);
  auto const package = Package::open(path, AccessMode::ReadOnly);
  FileSystemManager manager(*package);
  manager.enableDecryption(testKey());
  auto const source = manager.getFileContentSource(manager.getEntry(u"/long"), TransformMode::Transform);
  opc::InputStream& stream = source->getInputStream();
  change(packed, at);
  std::ofstream(path, std::ios::binary) << packed;  // the same file, which the package has open
  std::string read(content.size(), '\0');
  std::size_t size = 0;
  CapturedLines captured;
  EXPECT_THROW(while (size < read.size()) size += stream.read(read.data() + size, read.size() - size), opc::Exception)
      << at;
  EXPECT_TRUE(std::equal(read.begin(), read.begin() + static_cast<std::ptrdiff_t>(size), content.begin())) << at;
}

TEST(FileSystemManagerDecryption, APackageThatChangesBetweenTheTwoReadingsGivesNoChangedByte) {
  TemporaryDirectory directory;
  for (Compression const compression : {Compression::None, Compression::Deflate}) {
    std::string const content = contentOfMiB(compression == Compression::None ? 9 : 18);
    std::filesystem::path const path = directory / std::to_string(static_cast<int>(compression));
    std::filesystem::path const otherPath = path.string() + ".other";
    packLong(path, content, compression);
    packLong(otherPath, content, compression);
    std::string const packed = readFile(path), other = readFile(otherPath);
    std::vector<Change> const changes{
        [](std::string& bytes, std::size_t at) { bytes[at] = static_cast<char>(~bytes[at]); },
        [](std::string& bytes, std::size_t at) { bytes.resize(at); },
        [&](std::string& bytes, std::size_t at) { bytes.replace(at, bytes.size(), other, at, other.size()); }};
    for (std::size_t at = 1'000'000; at < packed.size() - 10'000; at += std::size_t{1} << 20)
      for (Change const& change : changes) expectNoChangedByte(path, packed, change, at, content);
  }
}

TEST(FileSystemManagerDecryption, AManagerLeavesNoKeyInMemory) {
  if (!canScanMemory()) GTEST_SKIP() << "this process may not read its own memory";
  HiddenKey const hidden;
  {
    Bytes revealed = hidden.reveal();
    NewFileSystem fs;
    fs.manager.enableEncryption(revealed, IVMode::Deterministic, Bytes(8));
    fs.manager.enableEncryption(revealed, IVMode::Random, {});
    fs.manager.enableDecryption(revealed);
    foundation::crypto::wipe(revealed.data(), revealed.size());
    addText(fs.manager, u"/f", "secret");
    EXPECT_EQ(decryptedTextAt(fs.manager, u"/f"), "secret");
    std::string const inPieces = zt_test::textOf(zt_test::sampleContent(2'500'000));  // passes in pieces
    addText(fs.manager, u"/long", inPieces);
    EXPECT_TRUE(decryptedTextAt(fs.manager, u"/long") == inPieces);
    fs.package->saveToBytes();
    EXPECT_GT(hidden.countInMemory(), 0U) << "the search finds nothing";
  }
  EXPECT_EQ(hidden.countInMemory(), 0U);
}

}  // namespace
