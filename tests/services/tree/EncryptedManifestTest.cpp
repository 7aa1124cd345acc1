// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>

#include "crypto/CryptoAdapters.hpp"
#include "crypto/IVGenerators.hpp"
#include "crypto/MessageStreams.hpp"
#include "opc/model/Exceptions.hpp"
#include "services/tree/CompressedContent.hpp"
#include "services/tree/EncryptedContent.hpp"
#include "services/tree/EncryptionTestSupport.hpp"
#include "support/BoundedRun.hpp"
#include "support/CryptoAnswers.hpp"

/// Encrypted manifests that the library would not write, as a holder of the key can make them.
namespace {

using namespace zt_test;
using namespace opc::ztservices;

/// Replaces the text of the manifest by what `edit` makes of it, compressed where it was.
template <typename Edit>
void rewriteManifest(Package& package, Edit const& edit) {
  opc::model::Part const part = package.getPart(PartName(kManifest));
  std::string const mark = encryptionOf(part.getContentType());
  std::string text =
      readAll(decrypted(part, std::make_shared<CryptoDecryptor>(testKey()), "a key is needed")->getInputStream());
  edit(text);
  std::unique_ptr<IContentSource> source = std::make_unique<TextSource>(text);
  if (mark == kCompressedEncryption)
    source = compressed(std::move(source), opc::model::CompressionLevel::Default).source;
  EncryptionInPieces sealing(std::move(source), std::make_shared<CryptoEncryptor>(testKey()), mark,
                             createIVGenerator(IVMode::Random, {}));
  overwritePart(package, kManifest, readAll(sealing.getInputStream()));
}

void replaceOnce(std::string& text, std::string const& from, std::string const& to) {
  ASSERT_NE(text.find(from), std::string::npos);
  text.replace(text.find(from), from.size(), to);
}

std::unique_ptr<Package> packageOf(std::size_t folders, Compression compression) {
  NewFileSystem fs;
  fs.manager.enableEncryption(testKey(), IVMode::Random, {}, compression);
  for (std::size_t i = 0; i < folders; ++i) fs.manager.createFolder(numbered(u"/folder", i));
  return reopen(*fs.package);
}

std::size_t leafsIn(Package& package) {
  FileSystemManager manager(package);
  manager.enableDecryption(testKey());
  return manager.getAllLeafs().size();
}

/// A manifest that fits a piece of decryption, and one that is read in several.
TEST(EncryptedManifest, IsReadInAnyLayout) {
  for (Compression const compression : {Compression::None, Compression::Deflate})
    for (std::size_t const folders : {std::size_t{10}, std::size_t{20'000}}) {
      auto const comment = [&](char const* before, bool atItsEnd) {
        auto const package = packageOf(folders, compression);
        std::size_t size = 0;
        rewriteManifest(*package, [&](std::string& text) {
          size = text.size();
          text.insert(atItsEnd ? text.rfind(before) : text.find(before), "<!-- a comment -->");
        });
        EXPECT_EQ(size > (1u << 20), folders > 10);
        EXPECT_EQ(leafsIn(*package), folders) << before;
      };
      comment("<fileEntries", false);
      comment("</fileEntries", true);  // all entries were read before
    }
}

TEST(EncryptedManifest, ThatIsNoneIsRefused) {
  for (Compression const compression : {Compression::None, Compression::Deflate}) {
    auto const package = packageOf(20'000, compression);
    rewriteManifest(*package, [](std::string& text) { text.resize(text.size() - 3); });
    EXPECT_THROW(leafsIn(*package), opc::model::InvalidPartContent);
  }
}

/// A package with one compressed file, of which the manifest says another size.
std::unique_ptr<Package> packageWithSize(std::string const& content, std::string const& size) {
  NewFileSystem fs;
  fs.manager.enableEncryption(testKey(), IVMode::Random, {}, Compression::Deflate);
  addText(fs.manager, u"/f", content);
  auto package = reopen(*fs.package);
  rewriteManifest(*package,
                  [&](std::string& text) { replaceOnce(text, "DEFLATE " + std::to_string(content.size()), size); });
  return package;
}

TEST(EncryptedManifest, MayLeaveOutTheSizeOfACompressedContent) {
  std::string const content(100'000, 'x');
  auto const package = packageWithSize(content, "DEFLATE");
  FileSystemManager manager(*package);
  manager.enableDecryption(testKey());
  EXPECT_LT(manager.getSize(manager.getEntry(u"/f")), 1'000u);
  EXPECT_TRUE(decryptedTextAt(manager, u"/f") == content);
}

/// The first size is one that deflate could have made of the part, so that nothing but the content contradicts it.
TEST(EncryptedManifest, MakesNoReaderTakeTheMemoryThatItClaims) {
  std::string const content = std::string(65'536, 'x') + textOf(sampleContent(9'000'000));
  for (std::string const size : {"9000000000", "4611686018427387904"}) {
    auto const refusals = [&] {
      auto const package = packageWithSize(content, "DEFLATE " + size);
      FileSystemManager manager(*package);
      manager.enableDecryption(testKey());
      int refused = 0;
      try {
        decryptedTextAt(manager, u"/f");
      } catch (opc::model::InvalidItem const&) {
        ++refused;
      }
      try {
        manager.readFile(u"/f");
      } catch (opc::Exception const&) {
        ++refused;
      }
      return refused;
    };
    EXPECT_EQ(runBounded(refusals), 2) << size;
  }
}

TEST(EncryptedManifest, GetsNoByteBeyondTheSizeThatItClaims) {
  auto const package = packageWithSize(std::string(100'000, 'x'), "DEFLATE 70000");
  FileSystemManager manager(*package);
  manager.enableDecryption(testKey());
  auto const source = manager.getFileContentSource(manager.getEntry(u"/f"), TransformMode::Transform);
  std::string delivered(100'000, '\0');
  std::size_t count = 0;
  EXPECT_THROW(
      {
        while (count < delivered.size())
          count += source->getInputStream().read(delivered.data() + count, delivered.size() - count);
      },
      opc::model::InvalidItem);
  EXPECT_LE(count, 70'000u);
}

/// Texts that are no size leave the content as one that is not compressed, which its mark contradicts.
TEST(EncryptedManifest, IsNotBelievedWhereTheSizeIsNone) {
  for (char const* const size : {"DEFLATE -1", "DEFLATE 1e3", "DEFLATE 99999999999999999999",
                                 "DEFLATE 4611686018427387905", "deflate 100000", "DEFLATE  100000", "DEFLATE "}) {
    auto const package = packageWithSize(std::string(100'000, 'x'), size);
    FileSystemManager manager(*package);
    manager.enableDecryption(testKey());
    EXPECT_THROW(decryptedTextAt(manager, u"/f"), CouldNotTransformContentData) << size;
  }
}

}  // namespace
