// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>

#include "crypto/CipherTransforms.hpp"
#include "crypto/CryptoAdapters.hpp"
#include "opc/model/Exceptions.hpp"
#include "services/tree/CompressedContent.hpp"
#include "services/tree/EncryptionTestSupport.hpp"
#include "support/CryptoAnswers.hpp"

namespace {

using namespace zt_test;
using namespace opc::ztservices;
using opc::model::CompressionLevel;

constexpr char16_t kCompressedMark[] = u"application/octet-stream;encryption=AES256-GCM-DEFLATE;iv=inline";
constexpr char16_t kPlainMark[] = u"application/octet-stream;encryption=AES256-GCM;iv=inline";

std::unique_ptr<TextSource> sourceOfText(std::string const& text) {
  return std::make_unique<TextSource>(text, ContentType(u"a/b"));
}

/// Shrinks to a half, and has no period that a chunk could repeat.
std::string shrinking(std::size_t size) {
  std::string text = zt_test::textOf(zt_test::sampleContent(size));
  for (char& c : text) c = static_cast<char>(c & 15);
  return text;
}

struct CompressingFileSystem : NewFileSystem {
  CompressingFileSystem() {
    manager.enableEncryption(testKey(), IVMode::Random, {}, Compression::Deflate);
    manager.enableDecryption(testKey());
  }
};

std::u16string contentTypeOfPart(Package const& package, std::u16string const& part) {
  return package.getPart(PartName(part)).getContentType().toString();
}

TEST(CompressedContent, ComesBackForEveryLength) {
  for (std::size_t const size :
       {std::size_t{1}, std::size_t{100}, std::size_t{65'536}, std::size_t{65'537}, std::size_t{8} << 20,
        (std::size_t{8} << 20) + 1, std::size_t{10} << 20, (std::size_t{9} << 20) + 777}) {
    std::string const content = size < 100 ? std::string(size, 'x') : shrinking(size);
    MaybeCompressed made = compressed(sourceOfText(content), CompressionLevel::Fast);
    EXPECT_EQ(made.isCompressed, size >= 100) << size;
    EXPECT_EQ(made.source->getContentType(), ContentType(u"a/b"));
    auto const source = made.isCompressed ? inflated(std::move(made.source), "name") : std::move(made.source);
    EXPECT_TRUE(readAll(source->getInputStream()) == content) << size;
  }
}

TEST(CompressedContent, StaysAsItIsWhereItDoesNotShrink) {
  for (std::size_t const size : {std::size_t{0}, std::size_t{10'000}, std::size_t{9} << 20}) {
    std::string content(size, '\0');
    std::uint64_t state = 1;
    for (char& c : content) c = static_cast<char>((state = state * 6364136223846793005u + 1442695040888963407u) >> 56);
    MaybeCompressed const made = compressed(sourceOfText(content), CompressionLevel::Default);
    EXPECT_FALSE(made.isCompressed) << size;
    EXPECT_TRUE(readAll(made.source->getInputStream()) == content) << size;
  }
}

TEST(CompressedContent, IsARawDeflateStreamAndNothingElse) {
  std::string const content = shrinking(300'000);
  std::string const deflated =
      readAll(compressed(sourceOfText(content), CompressionLevel::Default).source->getInputStream());
  auto const contentOf = [](std::string const& stored) {
    auto const source = inflated(sourceOfText(stored), "the part");
    return readAll(source->getInputStream());
  };
  EXPECT_TRUE(contentOf(deflated) == content);
  EXPECT_THROW(contentOf(deflated + "x"), opc::model::InvalidItem);
  EXPECT_THROW(contentOf(deflated.substr(0, deflated.size() - 1)), opc::model::InvalidItem);
  EXPECT_THROW(contentOf("\x07"), opc::model::InvalidItem);
  EXPECT_THROW(contentOf(""), opc::model::InvalidItem);
}

TEST(CompressedEncryption, MarksWhatItCompresses) {
  CompressingFileSystem fs;
  std::string const content = shrinking(2'500'000);
  auto const shrunk = addText(fs.manager, u"/shrinks", content).getContentName();
  auto const plain = addText(fs.manager, u"/one", "x").getContentName();
  auto const package = reopen(*fs.package);
  EXPECT_EQ(contentTypeOfPart(*package, shrunk), kCompressedMark);
  EXPECT_EQ(contentTypeOfPart(*package, plain), kPlainMark);
  EXPECT_EQ(contentTypeOfPart(*package, kManifest),
            u"application/vnd.corvanta.package.filesystemManifest+xml;encryption=AES256-GCM-DEFLATE;iv=inline");
  FileSystemManager manager(*package);
  manager.enableDecryption(testKey());
  EXPECT_TRUE(decryptedTextAt(manager, u"/shrinks") == content);
  EXPECT_EQ(decryptedTextAt(manager, u"/one"), "x");
  EXPECT_TRUE(manager.isEncrypted());
  EXPECT_LT(manager.getSize(manager.getEntry(u"/shrinks")), 1'500'000u);
}

// Readers that do not know the mark hand it to their cipher.
TEST(CompressedEncryption, IsAnUnknownAlgorithmToTheCipher) {
  CompressingFileSystem fs;
  auto const part = fs.package->getPart(PartName(addText(fs.manager, u"/f", shrinking(1000)).getContentName()));
  DecryptionWithInlineIVTransform transform(std::make_unique<PartContentSource>(part),
                                            std::make_shared<CryptoDecryptor>(testKey()), kCompressedEncryption);
  CapturedLines captured;
  EXPECT_THROW(transform.getInputStream(), CouldNotTransformContentData);
  EXPECT_EQ(captured.take(), "An error occurred during decryption:Unsupported decryption type and mode.\n");
}

TEST(CompressedEncryption, ADamagedMessageIsTheErrorOfEveryMessage) {
  CompressingFileSystem fs;
  std::u16string const part = addText(fs.manager, u"/f", shrinking(1000)).getContentName();
  std::string stored = textOfPart(*fs.package, part);
  stored[20] = static_cast<char>(stored[20] ^ 1);
  overwritePart(*fs.package, part, stored);
  CapturedLines captured;
  EXPECT_THROW(decryptedTextAt(fs.manager, u"/f"), CouldNotTransformContentData);
  EXPECT_EQ(captured.take(), kDamagedLine);
}

TEST(CompressedEncryption, GoesOnAsThePackagesManifestWasStored) {
  CompressingFileSystem fs;
  addText(fs.manager, u"/f", "x");
  auto const package = reopen(*fs.package);
  FileSystemManager manager(*package);
  manager.enableDecryption(testKey());
  manager.enableEncryption(testKey(), IVMode::Random, {});
  EXPECT_EQ(contentTypeOfPart(*package, addText(manager, u"/g", shrinking(1000)).getContentName()), kCompressedMark);
}

TEST(CompressedEncryption, TheManifestMovesWhereItsMarkChanges) {
  CompressingFileSystem fs;
  addText(fs.manager, u"/f", shrinking(1000));
  auto package = reopen(*fs.package);
  for (Compression const compression : {Compression::None, Compression::Deflate}) {
    std::unique_ptr<Package> saved;
    {
      FileSystemManager manager(*package);
      manager.enableDecryption(testKey());
      manager.enableEncryption(testKey(), IVMode::Random, {}, compression);
      manager.createFolder(compression == Compression::None ? u"/plain" : u"/compressed");
      saved = reopen(*package);
    }
    package = std::move(saved);
    FileSystemManager manager(*package);
    manager.enableDecryption(testKey());
    EXPECT_EQ(package->getRelationshipsByType(FileSystemManager::getRelationshipType()).size(), 1u);
    EXPECT_TRUE(decryptedTextAt(manager, u"/f") == shrinking(1000));
  }
  FileSystemManager manager(*package);
  manager.enableDecryption(testKey());
  EXPECT_TRUE(manager.hasEntry(u"/plain"));
  EXPECT_TRUE(manager.hasEntry(u"/compressed"));
}

TEST(CompressedEncryption, AContentWhoseBeginningCannotBeReadMakesNoEntry) {
  CompressingFileSystem fs;
  EXPECT_ANY_THROW(fs.manager.addFile(std::make_unique<FailingSource>(), u"/f", opc::Perms::Perms_tag(0600), kTime));
  EXPECT_FALSE(fs.manager.hasEntry(u"/f"));
}

}  // namespace
