// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>
#include <set>
#include <stdexcept>
#include <string>

#include "crypto/Bytes.hpp"
#include "crypto/CipherTransforms.hpp"
#include "crypto/CryptoErrors.hpp"
#include "crypto/Encodings.hpp"
#include "crypto/TransformSamples.hpp"
#include "opc/ztservices/Transforms.hpp"
#include "support/MemoryScan.hpp"

namespace opc::ztservices {
namespace {

using namespace crypto_test;
using foundation::crypto::CryptoError;
using foundation::crypto::utils::CouldNotDecrypt;
using foundation::crypto::utils::CouldNotEncrypt;
using zt_test::fromHex;

Bytes const kGivenIV(16, 0x33);

Bytes encrypted(Bytes const& content) {
  AESEncryptionTransform transform(sourceOf(content), kKey, kGivenIV);
  return readAll(transform);
}

TEST(AESEncryptionTransform, AgreesWithAnIndependentImplementation) {
  for (auto const& row : zt_test::knownAnswers("aes")) {
    if (row[3].starts_with("sha256:")) continue;
    AESEncryptionTransform transform(sourceOf(sampleContent(std::stoul(row[2]))), fromHex(row[0]), fromHex(row[1]));
    EXPECT_EQ(foundation::crypto::utils::hexEncode(readAll(transform)), row[3]);
  }
}

TEST(AESEncryptionTransform, KeepsTheIVOutOfTheData) { EXPECT_EQ(encrypted(Bytes(5)).size(), 5U + 16U); }

TEST(AESEncryptionTransform, TellsTheIVThatItWasGiven) {
  EXPECT_EQ(AESEncryptionTransform(sourceOf({}), kKey, kGivenIV).getInitializationVector(), kGivenIV);
}

TEST(AESEncryptionTransform, TellsTheRandomIVThatItUsed) {
  AESEncryptionTransform transform(sourceOf(sampleContent(50)), kKey);
  Bytes const iv = transform.getInitializationVector();
  EXPECT_EQ(iv.size(), 16U);
  AESDecryptionTransform back(sourceOf(readAll(transform)), kKey, iv);
  EXPECT_EQ(readAll(back), sampleContent(50));
}

TEST(AESEncryptionTransform, DrawsAnIVForEachTransform) {
  std::set<std::string> seen;
  for (int i = 0; i < 100; ++i) {
    AESEncryptionTransform const transform(sourceOf({}), kKey, Bytes{});
    EXPECT_TRUE(seen.insert(zt_test::textOf(transform.getInitializationVector())).second);
  }
}

TEST(AESEncryptionTransform, MarksTheContentType) {
  AESEncryptionTransform transform(sourceOf({}, u"text/plain;charset=UTF-8"), kKey, kGivenIV);
  EXPECT_EQ(transform.getContentType().toString(), u"text/plain;charset=UTF-8;encryption=AES");
}

TEST(AESEncryptionTransform, NeedsTheWholeContent) {
  EXPECT_TRUE(AESEncryptionTransform(sourceOf({}), kKey).mustTransformEntireStream());
}

TEST(AESEncryptionTransform, RefusesAKeyOfAnotherLength) {
  for (std::size_t length : {0U, 16U, 31U, 33U})
    EXPECT_THROW_MESSAGE(AESEncryptionTransform(sourceOf({}), Bytes(length), kGivenIV), CryptoError,
                         "An AES-256 key must be 32 bytes long, not " + std::to_string(length));
}

TEST(AESEncryptionTransform, RefusesAnIVOfAnotherLength) {
  for (std::size_t length : {1U, 12U, 15U, 17U})
    EXPECT_THROW_MESSAGE(AESEncryptionTransform(sourceOf({}), kKey, Bytes(length)), CouldNotEncrypt,
                         "An initialization vector must be 16 bytes long, not " + std::to_string(length));
}

TEST(AESEncryptionTransform, LeavesNoKeyInMemory) {
  if (!zt_test::canScanMemory()) GTEST_SKIP() << "this process may not read its own memory";
  zt_test::HiddenKey const hidden;
  {
    Bytes revealed = hidden.reveal();
    AESEncryptionTransform transform(sourceOf(Bytes(50)), revealed, kGivenIV);
    AESDecryptionTransform back(sourceOf(readAll(transform)), revealed, kGivenIV);
    foundation::crypto::wipe(revealed.data(), revealed.size());
    EXPECT_EQ(readAll(back), Bytes(50));
    EXPECT_GT(hidden.countInMemory(), 1U) << "the search finds nothing";
  }
  EXPECT_EQ(hidden.countInMemory(), 0U);
}

TEST(AESDecryptionTransform, GivesTheContentBack) {
  for (std::size_t length : {0U, 1U, 15U, 16U, 17U, 4096U, 40'000U}) {
    AESDecryptionTransform transform(sourceOf(encrypted(sampleContent(length))), kKey, kGivenIV);
    EXPECT_EQ(readAll(transform), sampleContent(length));
  }
}

TEST(AESDecryptionTransform, TakesEncryptionOffTheContentType) {
  AESDecryptionTransform transform(sourceOf({}, u"text/plain;encryption=AES;charset=UTF-8;iv=inline"), kKey, kGivenIV);
  EXPECT_EQ(transform.getContentType().toString(), u"text/plain;charset=UTF-8;iv=inline");
}

TEST(AESDecryptionTransform, NeedsTheWholeContent) {
  EXPECT_TRUE(AESDecryptionTransform(sourceOf({}), kKey, kGivenIV).mustTransformEntireStream());
}

TEST(AESDecryptionTransform, RefusesEveryTruncationAndEveryChangedByte) {
  Bytes const message = encrypted(sampleContent(20));
  std::string const line = std::string("An error within the decryption library occurred:") + kDamaged + "\n";
  AESDecryptionTransform transform(sourceOf({}), kKey, kGivenIV);
  for (std::size_t i = 0; i < message.size(); ++i) {
    EXPECT_EQ(lineOfRefusal(transform, front(message, i)), line);
    Bytes changed = message;
    changed[i] ^= 1;
    EXPECT_EQ(lineOfRefusal(transform, changed), line);
  }
}

TEST(AESDecryptionTransform, FailsAsEveryTransformDoes) {
  AESDecryptionTransform transform(sourceOf(Bytes(40), u"text/plain;encryption=AES"), kKey, kGivenIV);
  testing::internal::CaptureStdout();
  EXPECT_THROW_MESSAGE(transform.getInputStream(), CouldNotTransformContentData,
                       "Failure when attempting to transform data for content type:text/plain;encryption=AES");
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            std::string("An error within the decryption library occurred:") + kDamaged + "\n");
}

TEST(AESDecryptionTransform, RefusesKeysAndIVsOfOtherLengths) {
  EXPECT_THROW_MESSAGE(AESDecryptionTransform(sourceOf({}), Bytes(31), kGivenIV), CryptoError,
                       "An AES-256 key must be 32 bytes long, not 31");
  for (std::size_t length : {0U, 12U, 17U})
    EXPECT_THROW_MESSAGE(AESDecryptionTransform(sourceOf({}), kKey, Bytes(length)), CouldNotDecrypt, kDamaged);
}

/// Fails as it is told to.
template <typename Failure>
class FailingCipher final : public foundation::crypto::interfaces::IEncryptor,
                            public foundation::crypto::interfaces::IDecryptor {
 public:
  explicit FailingCipher(Failure failure) : failure_(failure) {}
  void put(foundation::crypto::BytesView, Bytes&, std::size_t) override { throw failure_; }

 private:
  Failure failure_;
};

template <typename Failure>
std::string lineOfEncryption(Failure failure) {
  FailingCipher<Failure> cipher(failure);
  Bytes out = {1};
  testing::internal::CaptureStdout();
  EXPECT_FALSE(encryptOrReport({}, cipher, out));
  EXPECT_EQ(out, Bytes{1});
  return testing::internal::GetCapturedStdout();
}

template <typename Failure>
std::string lineOfDecryption(Failure failure) {
  FailingCipher<Failure> cipher(failure);
  Bytes out = {1};
  testing::internal::CaptureStdout();
  EXPECT_FALSE(decryptOrReport({}, cipher, out));
  EXPECT_EQ(out, Bytes{1});
  return testing::internal::GetCapturedStdout();
}

TEST(AESMessages, TellWhatTheLibraryRefused) {
  EXPECT_EQ(lineOfEncryption(CouldNotEncrypt("too bad")), "An error within the encryption library occurred:too bad\n");
  EXPECT_EQ(lineOfDecryption(CouldNotDecrypt()),
            std::string("An error within the decryption library occurred:") + kDamaged + "\n");
}

TEST(AESMessages, TellOfAnythingElseWithoutAMessage) {
  EXPECT_EQ(lineOfEncryption(std::runtime_error("hidden")), "An error during the encryption process occurred.\n");
  EXPECT_EQ(lineOfEncryption(CouldNotDecrypt()), "An error during the encryption process occurred.\n");
  EXPECT_EQ(lineOfEncryption(42), "An error during the encryption process occurred.\n");
  EXPECT_EQ(lineOfDecryption(std::runtime_error("hidden")), "An error during the decryption process occurred.\n");
  EXPECT_EQ(lineOfDecryption(42), "An error during the decryption process occurred.\n");
}

}  // namespace
}  // namespace opc::ztservices
