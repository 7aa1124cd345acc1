// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "crypto/CipherTransforms.hpp"
#include "crypto/CryptoAdapters.hpp"
#include "crypto/IVGenerators.hpp"
#include "crypto/MessageStreams.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/ztservices/Rekey.hpp"
#include "services/tree/CompressedContent.hpp"
#include "services/tree/EncryptedContent.hpp"
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

std::string incompressible(std::size_t size) {
  std::string content(size, '\0');
  std::uint64_t state = 1;
  for (char& c : content) c = static_cast<char>((state = state * 6364136223846793005u + 1442695040888963407u) >> 56);
  return content;
}

struct CompressingFileSystem : NewFileSystem {
  CompressingFileSystem() {
    manager.enableEncryption(testKey(), IVMode::Random, {}, Compression::Deflate);
    manager.enableDecryption(testKey());
  }
};

void readInto(std::string& text, opc::InputStream& stream) {
  std::string buffer(10'000, '\0');
  while (!stream.isEnd()) text.append(buffer, 0, stream.read(buffer.data(), buffer.size()));
}

std::string storedTextOf(FileSystemManager& manager, std::u16string const& path) {
  return readAll(manager.getFileContentSource(manager.getEntry(path), TransformMode::None)->getInputStream());
}

std::u16string contentTypeOfPart(Package const& package, std::u16string const& part) {
  return package.getPart(PartName(part)).getContentType().toString();
}

TEST(CompressedContent, ComesBackForEveryLength) {
  for (std::size_t const size :
       {std::size_t{1}, std::size_t{100}, std::size_t{65'536}, std::size_t{65'537}, std::size_t{8} << 20,
        (std::size_t{8} << 20) + 1, std::size_t{10} << 20, (std::size_t{9} << 20) + 777}) {
    std::string const content = size < 100 ? std::string(size, 'x') : shrinking(size);
    MaybeCompressed made = compressed(sourceOfText(content), CompressionLevel::Fast);
    EXPECT_EQ(made.deflatedFrom != nullptr, size >= 100) << size;
    EXPECT_EQ(made.source->getContentType(), ContentType(u"a/b"));
    auto const source = made.deflatedFrom ? inflated(std::move(made.source), "name") : std::move(made.source);
    EXPECT_TRUE(readAll(source->getInputStream()) == content) << size;
    if (made.deflatedFrom) {
      EXPECT_EQ(*made.deflatedFrom, size);
    }
  }
}

TEST(CompressedContent, StaysAsItIsWhereItDoesNotShrink) {
  for (std::size_t const size : {std::size_t{0}, std::size_t{10'000}, std::size_t{9} << 20}) {
    std::string const content = incompressible(size);
    MaybeCompressed const made = compressed(sourceOfText(content), CompressionLevel::Default);
    EXPECT_FALSE(made.deflatedFrom) << size;
    EXPECT_TRUE(readAll(made.source->getInputStream()) == content) << size;
  }
}

TEST(CompressedContent, DecidesByTheBeginningOfALongOne) {
  std::string const random = incompressible(std::size_t{9} << 20);
  std::string const plainHead = random + shrinking(std::size_t{4} << 20);
  EXPECT_FALSE(compressed(sourceOfText(plainHead), CompressionLevel::Fast).deflatedFrom);
  std::string const randomRest = std::string(65'536, 'x') + random;
  MaybeCompressed made = compressed(sourceOfText(randomRest), CompressionLevel::Fast);
  ASSERT_TRUE(made.deflatedFrom);
  std::string const deflated = readAll(made.source->getInputStream());
  EXPECT_LT(deflated.size(), randomRest.size() + randomRest.size() / 5'000);  // it may grow, by that at most
}

TEST(CompressedContent, IsTheSameForAnyNumberOfThreads) {
  std::string const content = shrinking((std::size_t{20} << 20) + 5);
  auto const deflatedOn = [&](std::size_t threads) {
    MaybeCompressed made = compressed(sourceOfText(content), CompressionLevel::Fast, threads);
    return readAll(made.source->getInputStream());
  };
  std::string const alone = deflatedOn(0);
  for (std::size_t const threads : {1u, 2u, 5u}) EXPECT_TRUE(deflatedOn(threads) == alone) << threads;
}

TEST(CompressedContent, MayBeGivenUpWhileThreadsWorkOnIt) {
  MaybeCompressed made = compressed(sourceOfText(shrinking(std::size_t{20} << 20)), CompressionLevel::Small, 3);
  unsigned char byte = 0;
  EXPECT_EQ(made.source->getInputStream().read(&byte, 1), 1u);
}

TEST(CompressedContent, OfAnotherSizeThanStatedIsRefusedAndNotDeliveredBeyondIt) {
  std::string const content = shrinking(300'000);
  std::string const deflated =
      readAll(compressed(sourceOfText(content), CompressionLevel::Default).source->getInputStream());
  for (std::uint64_t const size : {content.size() - 1, content.size() + 1, std::size_t{0}}) {
    auto const source = inflated(sourceOfText(deflated), "the part", size);
    std::string read;
    EXPECT_THROW(readInto(read, source->getInputStream()), opc::model::InvalidItem) << size;
    EXPECT_LE(read.size(), size);
  }
  EXPECT_TRUE(readAll(inflated(sourceOfText(deflated), "", content.size())->getInputStream()) == content);
}

TEST(CompressionQueue, HandsOverInTheOrderInWhichContentsCame) {
  for (std::size_t const threads : {0u, 3u}) {
    CompressionQueue queue(CompressionLevel::Fast, threads);
    std::vector<std::size_t> sizes, taken;
    for (std::size_t i = 0; i < 60; ++i) {
      std::size_t const size = i == 30 ? std::size_t{9} << 20 : (i * 7919) % 70'000;
      sizes.push_back(size);
      queue.add(sourceOfText(shrinking(size)), [&taken](MaybeCompressed made) {
        auto const source = made.deflatedFrom ? inflated(std::move(made.source), "") : std::move(made.source);
        taken.push_back(readAll(source->getInputStream()).size());
      });
      queue.add([&] { taken.push_back(1); });
      sizes.push_back(1);
    }
    queue.finish();
    EXPECT_EQ(taken, sizes);
  }
}

TEST(CompressionQueue, HandsOverNothingBehindAFailure) {
  for (std::size_t const threads : {0u, 3u}) {
    CompressionQueue queue(CompressionLevel::Fast, threads);
    int taken = 0;
    auto const addAll = [&] {
      for (int i = 0; i < 10; ++i)
        queue.add([&taken, i] {
          if (i == 4) throw opc::StreamError("the fifth");
          ++taken;
        });
      queue.finish();
    };
    EXPECT_THROW_MESSAGE(addAll(), opc::StreamError, "the fifth");
    EXPECT_NO_THROW(queue.finish());
    EXPECT_EQ(taken, 4);
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
  EXPECT_LT(manager.getSize(manager.getEntry(u"/shrinks"), TransformMode::None), 1'500'000u);
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

TEST(CompressedEncryption, MovedFilesAndTakenNamesAreFoundAgain) {
  CompressingFileSystem fs;
  addText(fs.manager, u"/a", shrinking(1000));
  fs.manager.moveEntry(fs.manager.getEntry(u"/a"), u"/b");
  addText(fs.manager, u"/a", shrinking(2000));
  auto package = reopen(*fs.package);
  FileSystemManager manager(*package);
  manager.enableDecryption(testKey());
  EXPECT_TRUE(decryptedTextAt(manager, u"/b") == shrinking(1000));
  EXPECT_TRUE(decryptedTextAt(manager, u"/a") == shrinking(2000));
  EXPECT_EQ(manager.getEntry(u"/a").getContentName(), fs.manager.getEntry(u"/a").getContentName());
}

TEST(CompressedEncryption, AContentWhoseBeginningCannotBeReadMakesNoEntry) {
  CompressingFileSystem fs;
  EXPECT_ANY_THROW(fs.manager.addFile(std::make_unique<FailingSource>(), u"/f", opc::Perms::Perms_tag(0600), kTime));
  EXPECT_FALSE(fs.manager.hasEntry(u"/f"));
}

/// The sizes that a reopened package has for its files.
std::vector<std::uint64_t> sizesIn(Package& package, std::vector<std::u16string> const& paths) {
  auto const reopened = reopen(package);
  FileSystemManager manager(*reopened);
  manager.enableDecryption(testKey());
  std::vector<std::uint64_t> sizes;
  for (std::u16string const& path : paths) sizes.push_back(manager.getSize(manager.getEntry(path)));
  return sizes;
}

TEST(CompressedEncryption, TheManifestKeepsTheSizesOfContents) {
  CompressingFileSystem fs;
  addText(fs.manager, u"/long", shrinking((std::size_t{9} << 20) + 3));
  addText(fs.manager, u"/short", shrinking(1000));
  addText(fs.manager, u"/one", "x");
  addText(fs.manager, u"/none", "");
  EXPECT_EQ(fs.manager.getSize(fs.manager.getEntry(u"/long")), (9u << 20) + 3);
  EXPECT_EQ(sizesIn(*fs.package, {u"/long", u"/short", u"/one", u"/none"}),
            (std::vector<std::uint64_t>{(9u << 20) + 3, 1000, 1, 0}));
}

TEST(CompressedEncryption, SizesStayWhenEntriesMoveAndChange) {
  CompressingFileSystem fs;
  addText(fs.manager, u"/d/f", shrinking(1000));
  fs.manager.moveEntry(fs.manager.getEntry(u"/d"), u"/e");
  fs.manager.setPermissionsAndTime(fs.manager.getEntry(u"/e/f"), opc::Perms::Perms_tag(0600), kTime);
  EXPECT_EQ(sizesIn(*fs.package, {u"/e/f"}), std::vector<std::uint64_t>{1000});
  EXPECT_TRUE(decryptedTextAt(fs.manager, u"/e/f") == shrinking(1000));
}

TEST(CompressedEncryption, StoredBytesThatAreWrittenHaveNoSizeOfTheirOwn) {
  CompressingFileSystem fs;
  FileSystemEntry const entry = addText(fs.manager, u"/f", shrinking(1000));
  addText(fs.manager, u"/g", shrinking(5000));
  std::string const message = storedTextOf(fs.manager, u"/g");
  auto const output = fs.manager.getFileOutputStream(entry);
  output->write(message.data(), message.size());
  output->close();
  EXPECT_TRUE(decryptedTextAt(fs.manager, u"/f") == shrinking(5000));
  EXPECT_EQ(sizesIn(*fs.package, {u"/f"}), std::vector<std::uint64_t>{message.size() - 32});
}

/// A package whose file "/f" has that mark in place of its own.
std::unique_ptr<Package> remarked(std::string const& content, std::u16string const& mark) {
  CompressingFileSystem fs;
  std::u16string const name = addText(fs.manager, u"/f", content).getContentName();
  auto package = reopen(*fs.package);
  std::string const stored = textOfPart(*package, name);
  package->deletePart(PartName(name));
  package->createPart(PartName(name), ContentType(mark));
  overwritePart(*package, name, stored);
  return reopen(*package);
}

TEST(CompressedEncryption, AChangedMarkIsRefused) {
  std::string const deflated =  // what is itself a deflate stream
      readAll(compressed(sourceOfText(shrinking(1000)), CompressionLevel::Small).source->getInputStream());
  struct Case {
    std::string content;
    std::u16string mark;
  };
  for (Case const& each : {Case{shrinking(1000), kPlainMark}, Case{shrinking(1000), u"application/octet-stream"},
                           Case{deflated, kCompressedMark}}) {
    auto const package = remarked(each.content, each.mark);
    FileSystemManager manager(*package);
    manager.enableDecryption(testKey());
    std::string const name = opc::toUTF8String(manager.getEntry(u"/f").getContentName());
    EXPECT_THROW_MESSAGE(
        decryptedTextAt(manager, u"/f"), CouldNotTransformContentData,
        name + ": its content type and the manifest say different things of its encryption and compression");
    TemporaryDirectory directory;
    EXPECT_THROW(manager.extractAll(directory.u16("out"), kRestore, TransformMode::Transform),
                 CouldNotTransformContentData);
    EXPECT_FALSE(std::filesystem::exists(directory / "out/f"));
    EXPECT_NO_THROW(storedTextOf(manager, u"/f"));
  }
}

/// Replaces a text of the manifest, as a holder of the key can.
void editManifest(Package& package, std::string const& from, std::string const& to) {
  opc::model::Part const part = package.getPart(PartName(kManifest));
  std::string text =
      readAll(decrypted(part, std::make_shared<CryptoDecryptor>(testKey()), "a key is needed")->getInputStream());
  text.replace(text.find(from), from.size(), to);
  EncryptionInPieces sealing(compressed(sourceOfText(text), CompressionLevel::Default).source,
                             std::make_shared<CryptoEncryptor>(testKey()), kCompressedEncryption,
                             createIVGenerator(IVMode::Random, {}));
  overwritePart(package, kManifest, readAll(sealing.getInputStream()));
}

TEST(CompressedEncryption, ASizeThatIsWrongIsRefused) {
  for (char const* const size : {"DEFLATE 999", "DEFLATE 1001", "DEFLATE 1000000000000"}) {
    CompressingFileSystem fs;
    addText(fs.manager, u"/f", shrinking(1000));
    auto const package = reopen(*fs.package);
    editManifest(*package, "DEFLATE 1000", size);
    FileSystemManager manager(*package);
    manager.enableDecryption(testKey());
    EXPECT_EQ("DEFLATE " + std::to_string(manager.getSize(manager.getEntry(u"/f"))), size);
    EXPECT_THROW(decryptedTextAt(manager, u"/f"), opc::model::InvalidItem) << size;
  }
}

TEST(CompressedEncryption, RekeyRefusesAContentThatIsTooLongBeforeItIsRead) {
  TemporaryDirectory directory;
  CompressingFileSystem fs;
  addText(fs.manager, u"/f", shrinking(1000));
  auto const package = reopen(*fs.package);
  editManifest(*package, "DEFLATE 1000", "DEFLATE 68719476705");
  package->saveAs(directory.u16("p"));
  Bytes const oldKey = testKey(), newKey = otherKey();
  EXPECT_THROW_MESSAGE(rekeyPackage(directory.u16("p"), directory.u16("p"), {.oldKey = &oldKey, .newKey = &newKey}),
                       ContentTooLongToEncrypt,
                       "/f: it has 68719476705 bytes, and no more than 68719476704 can be encrypted");
}

TEST(CompressedEncryption, FoldersAreAddedAlikeOnAnyNumberOfThreads) {
  TemporaryDirectory directory;
  std::filesystem::create_directories(directory / "in/d");
  for (std::size_t i = 0; i < 200; ++i)
    writeFile(directory / "in/d" / std::to_string(i), i % 3 == 0 ? incompressible(i * 50) : shrinking(i * 500));
  writeFile(directory / "in/d/long", shrinking(std::size_t{10} << 20));
  std::filesystem::create_symlink("1", directory / "in/d/1.link");
  std::vector<std::vector<unsigned char>> packed;
  for (unsigned const threads : {0u, 1u, 4u}) {
    NewFileSystem fs;
    fs.package->setCompressionThreads(threads);
    fs.manager.enableEncryption(testKey(), IVMode::Deterministic, countingBytes(8), Compression::Deflate);
    fs.manager.addAll(directory.u16("in"), TransformMode::None);
    packed.push_back(fs.package->saveToBytes());
    EXPECT_TRUE(fs.manager.getEntry(u"/d/1.link").isLink());
  }
  EXPECT_TRUE(packed[0] == packed[1]);
  EXPECT_TRUE(packed[0] == packed[2]);
}

TEST(CompressedEncryption, AFileThatCannotBeReadLeavesThoseInFrontOfIt) {
  TemporaryDirectory directory;
  std::filesystem::create_directories(directory / "in");
  for (char const* const name : {"a", "b", "d"}) writeFile(directory / "in" / name, shrinking(5000));
  writeFile(directory / "in/c", "");
  std::filesystem::resize_file(directory / "in/c", opc::ztservices::kLongestEncryptedContent + 1);
  CompressingFileSystem fs;
  fs.package->setCompressionThreads(2);
  EXPECT_THROW(fs.manager.addAll(directory.u16("in"), TransformMode::None), opc::ztservices::ContentTooLongToEncrypt);
  EXPECT_TRUE(decryptedTextAt(fs.manager, u"/b") == shrinking(5000));
  EXPECT_FALSE(fs.manager.hasEntry(u"/c"));
  EXPECT_FALSE(fs.manager.hasEntry(u"/d"));
}

}  // namespace
