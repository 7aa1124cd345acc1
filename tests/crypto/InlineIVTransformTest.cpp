// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <functional>
#include <gtest/gtest.h>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <utility>

#include "crypto/CipherTransforms.hpp"
#include "crypto/CryptoAdapters.hpp"
#include "crypto/IVGenerators.hpp"
#include "crypto/TransformSamples.hpp"
#include "opc/ztservices/Exceptions.hpp"

namespace opc::ztservices {
namespace {

using namespace crypto_test;
using zt_test::fromHex;

constexpr char kCipherName[] = "AES256-GCM";
Bytes const kFixedPortion = fromHex("a0a1a2a3a4a5a6a7");

std::shared_ptr<IVGenerator> counting() { return createIVGenerator(IVMode::Deterministic, kFixedPortion); }

EncryptionWithInlineIVTransform encrypting(Bytes const& content, std::string const& algorithm = kCipherName,
                                           std::u16string const& type = u"text/plain") {
  return {sourceOf(content, type), std::make_shared<CryptoEncryptor>(kKey), algorithm, counting()};
}

DecryptionWithInlineIVTransform decrypting(Bytes const& stored, std::string const& algorithm = kCipherName,
                                           std::u16string const& type = u"text/plain") {
  return {sourceOf(stored, type), std::make_shared<CryptoDecryptor>(kKey), algorithm};
}

Bytes stored(Bytes const& content) {
  auto transform = encrypting(content);
  return readAll(transform);
}

/// A cipher that does what a test wants when it is initialized.
class ScriptedCipher final : public IEncryptor, public IDecryptor {
 public:
  explicit ScriptedCipher(std::function<void()> script = [] {}) : script_(std::move(script)) {}

  void initialize(std::string const& algorithm, Bytes const& iv) override {
    lastAlgorithm = algorithm;
    lastIV = iv;
    script_();
  }
  Bytes encrypt(Bytes const& data) override { return data; }
  Bytes decrypt(Bytes const& data) override { return data; }

  std::string lastAlgorithm;
  Bytes lastIV = {0xEE};

 private:
  std::function<void()> script_;
};

class ThrowingGenerator final : public IVGenerator {
 public:
  Bytes generate() override { throw std::runtime_error("no IV"); }
};

template <typename Failure>
std::shared_ptr<ScriptedCipher> throwing(Failure failure) {
  return std::make_shared<ScriptedCipher>([failure] { throw failure; });
}

TEST(EncryptionWithInlineIVTransform, PutsTheIVBeforeTheMessage) {
  for (std::size_t length : {0U, 1U, 15U, 16U, 17U, 4096U, 40'000U}) {
    CryptoEncryptor encryptor(kKey);
    Bytes const iv = counting()->generate();
    encryptor.initialize(kCipherName, iv);
    Bytes const bytes = stored(sampleContent(length));
    EXPECT_EQ(front(bytes, 16), iv);
    EXPECT_EQ(behind(bytes, 16), encryptor.encrypt(sampleContent(length)));
  }
}

TEST(EncryptionWithInlineIVTransform, MakesOfEmptyContentAnIVAndATag) { EXPECT_EQ(stored({}).size(), 16U + 16U); }

TEST(EncryptionWithInlineIVTransform, TakesANewIVForEveryContent) {
  auto transform = encrypting({});
  Bytes one, other;
  EXPECT_TRUE(transform.transformData(Bytes(3), one));
  EXPECT_TRUE(transform.transformData(Bytes(3), other));
  EXPECT_EQ(front(one, 16), fromHex("a0a1a2a3a4a5a6a70100000000000000"));
  EXPECT_EQ(front(other, 16), fromHex("a0a1a2a3a4a5a6a700000000000000d8"));
}

TEST(EncryptionWithInlineIVTransform, NamesEncryptionBeforeIV) {
  EXPECT_EQ(encrypting({}).getContentType().toString(), u"text/plain;encryption=AES256-GCM;iv=inline");
}

TEST(EncryptionWithInlineIVTransform, KeepsTheOtherParameters) {
  EXPECT_EQ(encrypting({}, kCipherName, u"text/plain;charset=UTF-8").getContentType().toString(),
            u"text/plain;charset=UTF-8;encryption=AES256-GCM;iv=inline");
}

TEST(EncryptionWithInlineIVTransform, NamesTheAlgorithmThatItIsGiven) {
  EXPECT_EQ(encrypting({}, "other").getContentType().getParameterValue(u"encryption"), u"other");
}

TEST(EncryptionWithInlineIVTransform, NeedsTheWholeContent) { EXPECT_TRUE(encrypting({}).mustTransformEntireStream()); }

TEST(EncryptionWithInlineIVTransform, HandsAlgorithmAndIVToTheEncryptor) {
  auto const cipher = std::make_shared<ScriptedCipher>();
  EncryptionWithInlineIVTransform transform(sourceOf({}), cipher, "some name", counting());
  Bytes out;
  EXPECT_TRUE(transform.transformData({1, 2}, out));
  EXPECT_EQ(cipher->lastAlgorithm, "some name");
  EXPECT_EQ(cipher->lastIV, fromHex("a0a1a2a3a4a5a6a70100000000000000"));
  EXPECT_EQ(out, fromHex("a0a1a2a3a4a5a6a701000000000000000102"));
}

TEST(EncryptionWithInlineIVTransform, TellsOfAnUnsupportedAlgorithm) {
  auto transform = encrypting({}, "aes256-gcm");
  EXPECT_EQ(lineOfRefusal(transform, Bytes(5)),
            "An error occurred during encryption:Unsupported encryption type and mode.\n");
}

TEST(EncryptionWithInlineIVTransform, TellsOfARuntimeError) {
  EncryptionWithInlineIVTransform transform(sourceOf({}), throwing(std::runtime_error("too bad")), kCipherName,
                                            counting());
  EXPECT_EQ(lineOfRefusal(transform, Bytes(5)), "An error occurred during encryption:too bad\n");
}

TEST(EncryptionWithInlineIVTransform, TellsOfAGeneratorThatFails) {
  EncryptionWithInlineIVTransform transform(sourceOf({}), std::make_shared<CryptoEncryptor>(kKey), kCipherName,
                                            std::make_shared<ThrowingGenerator>());
  EXPECT_EQ(lineOfRefusal(transform, Bytes(5)), "An error occurred during encryption:no IV\n");
}

TEST(EncryptionWithInlineIVTransform, TellsOfAnythingElseWithoutAMessage) {
  EncryptionWithInlineIVTransform logic(sourceOf({}), throwing(std::logic_error("hidden")), kCipherName, counting());
  EXPECT_EQ(lineOfRefusal(logic, Bytes(5)), "An error occurred during encryption.\n");
  EncryptionWithInlineIVTransform number(sourceOf({}), throwing(42), kCipherName, counting());
  EXPECT_EQ(lineOfRefusal(number, Bytes(5)), "An error occurred during encryption.\n");
}

TEST(EncryptionWithInlineIVTransform, FailsAsEveryTransformDoes) {
  auto transform = encrypting({}, "none");
  testing::internal::CaptureStdout();
  EXPECT_THROW_MESSAGE(transform.getInputStream(), CouldNotTransformContentData,
                       "Failure when attempting to transform data for content type:text/plain");
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "An error occurred during encryption:Unsupported encryption type and mode.\n");
}

/// Counts how often standard output is flushed.
class CountingBuffer final : public std::stringbuf {
 public:
  int flushes = 0;

 private:
  int sync() override {
    ++flushes;
    return 0;
  }
};

TEST(EncryptionWithInlineIVTransform, FlushesItsLine) {
  CountingBuffer buffer;
  std::streambuf* const before = std::cout.rdbuf(&buffer);
  auto transform = encrypting({}, "none");
  Bytes out;
  EXPECT_FALSE(transform.transformData({}, out));
  std::cout.rdbuf(before);
  EXPECT_EQ(buffer.flushes, 1);
}

TEST(DecryptionWithInlineIVTransform, GivesTheContentBack) {
  for (std::size_t length : {0U, 1U, 15U, 16U, 17U, 4096U, 40'000U}) {
    auto transform = decrypting(stored(sampleContent(length)));
    EXPECT_EQ(readAll(transform), sampleContent(length));
  }
}

TEST(DecryptionWithInlineIVTransform, TakesEncryptionAndIVOffTheContentType) {
  EXPECT_EQ(decrypting({}, kCipherName, u"text/plain;charset=UTF-8;encryption=AES256-GCM;iv=inline")
                .getContentType()
                .toString(),
            u"text/plain;charset=UTF-8");
  EXPECT_EQ(decrypting({}).getContentType(), ContentType(u"text/plain"));
}

TEST(DecryptionWithInlineIVTransform, UndoesWhatEncryptionDidToTheContentType) {
  std::u16string const type = encrypting({}).getContentType().toString();
  EXPECT_EQ(decrypting({}, kCipherName, type).getContentType().toString(), u"text/plain");
}

TEST(DecryptionWithInlineIVTransform, NeedsTheWholeContent) { EXPECT_TRUE(decrypting({}).mustTransformEntireStream()); }

TEST(DecryptionWithInlineIVTransform, TakesShortContentForAShortIVAndAnEmptyMessage) {
  for (std::size_t length : {0U, 1U, 15U}) {
    auto const cipher = std::make_shared<ScriptedCipher>();
    DecryptionWithInlineIVTransform transform(sourceOf({}), cipher, kCipherName);
    Bytes out = {1};
    EXPECT_TRUE(transform.transformData(Bytes(length, 7), out));
    EXPECT_EQ(cipher->lastIV, Bytes(length, 7));
    EXPECT_TRUE(out.empty());
  }
}

TEST(DecryptionWithInlineIVTransform, RefusesEveryTruncation) {
  Bytes const bytes = stored(sampleContent(20));
  auto transform = decrypting({});
  for (std::size_t length = 0; length < bytes.size(); ++length)
    EXPECT_EQ(lineOfRefusal(transform, front(bytes, length)),
              std::string("An error occurred during decryption:") + kDamaged + "\n");
}

TEST(DecryptionWithInlineIVTransform, RefusesAnyChangedBit) {
  Bytes const bytes = stored(sampleContent(5));
  auto transform = decrypting({});
  for (std::size_t bit = 0; bit < 8 * bytes.size(); ++bit) {
    Bytes changed = bytes;
    changed[bit / 8] ^= static_cast<unsigned char>(1 << bit % 8);
    EXPECT_EQ(lineOfRefusal(transform, changed), std::string("An error occurred during decryption:") + kDamaged + "\n");
  }
}

TEST(DecryptionWithInlineIVTransform, RefusesAnotherKey) {
  DecryptionWithInlineIVTransform transform(sourceOf({}), std::make_shared<CryptoDecryptor>(Bytes(32)), kCipherName);
  EXPECT_EQ(lineOfRefusal(transform, stored(Bytes(5))),
            std::string("An error occurred during decryption:") + kDamaged + "\n");
}

TEST(DecryptionWithInlineIVTransform, TellsOfAnUnsupportedAlgorithm) {
  auto transform = decrypting({}, "AES256-CBC");
  EXPECT_EQ(lineOfRefusal(transform, stored(Bytes(5))),
            "An error occurred during decryption:Unsupported decryption type and mode.\n");
}

TEST(DecryptionWithInlineIVTransform, TellsOfAnythingElseWithoutAMessage) {
  DecryptionWithInlineIVTransform logic(sourceOf({}), throwing(std::logic_error("hidden")), kCipherName);
  EXPECT_EQ(lineOfRefusal(logic, Bytes(40)), "An error occurred during decryption.\n");
  DecryptionWithInlineIVTransform number(sourceOf({}), throwing(42), kCipherName);
  EXPECT_EQ(lineOfRefusal(number, Bytes(40)), "An error occurred during decryption.\n");
}

TEST(DecryptionWithInlineIVTransform, FailsAsEveryTransformDoes) {
  auto transform = decrypting(Bytes(40), kCipherName, u"text/plain;encryption=AES256-GCM;iv=inline");
  testing::internal::CaptureStdout();
  EXPECT_THROW_MESSAGE(
      transform.getInputStream(), CouldNotTransformContentData,
      "Failure when attempting to transform data for content type:text/plain;encryption=AES256-GCM;iv=inline");
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            std::string("An error occurred during decryption:") + kDamaged + "\n");
}

}  // namespace
}  // namespace opc::ztservices
