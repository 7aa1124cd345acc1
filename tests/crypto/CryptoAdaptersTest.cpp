// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

#include "crypto/Bytes.hpp"
#include "crypto/CryptoAdapters.hpp"
#include "crypto/CryptoErrors.hpp"
#include "crypto/Encodings.hpp"
#include "support/CryptoAnswers.hpp"
#include "support/MemoryScan.hpp"
#include "support/TestSupport.hpp"

namespace opc::ztservices {
namespace {

using foundation::crypto::CryptoError;
using foundation::crypto::utils::CouldNotDecrypt;
using foundation::crypto::utils::CouldNotEncrypt;
using foundation::crypto::utils::hexEncode;
using zt_test::Bytes;
using zt_test::sampleContent;

constexpr char kAES[] = "AES256-GCM";
constexpr char kHMAC[] = "HMAC-SHA256";
char const* const kNoCipherNames[] = {"",           "aes256-gcm",    "AES256-gcm",  "AES256-GCM ", " AES256-GCM",
                                      "AES256-CBC", "AES256-GCM\n1", "HMAC-SHA256", "AES256-GC",   "AES-256-GCM"};

Bytes const kAdapterKey = sampleContent(32);
Bytes const kAdapterIV(16, 0x11);

Bytes encryptedByAdapter(Bytes const& iv, Bytes const& content) {
  CryptoEncryptor encryptor(kAdapterKey);
  encryptor.initialize(kAES, iv);
  return encryptor.encrypt(content);
}

TEST(CryptoEncryptor, AgreesWithAnIndependentImplementation) {
  for (auto const& row : zt_test::knownAnswers("aes")) {
    if (row[3].starts_with("sha256:")) continue;
    CryptoEncryptor encryptor(zt_test::fromHex(row[0]));
    encryptor.initialize(kAES, zt_test::fromHex(row[1]));
    EXPECT_EQ(hexEncode(encryptor.encrypt(sampleContent(std::stoul(row[2])))), row[3]);
  }
}

TEST(CryptoEncryptor, RefusesEveryOtherAlgorithm) {
  CryptoEncryptor encryptor(kAdapterKey);
  for (char const* name : kNoCipherNames)
    EXPECT_THROW_MESSAGE(encryptor.initialize(name, kAdapterIV), std::runtime_error,
                         "Unsupported encryption type and mode.");
}

TEST(CryptoEncryptor, RefusesANameThatGoesOnBehindANul) {
  CryptoEncryptor encryptor(kAdapterKey);
  EXPECT_THROW_MESSAGE(encryptor.initialize(std::string("AES256-GCM\0", 11), kAdapterIV), std::runtime_error,
                       "Unsupported encryption type and mode.");
}

TEST(CryptoEncryptor, StaysAsItWasWhenInitializingFails) {
  CryptoEncryptor encryptor(kAdapterKey);
  encryptor.initialize(kAES, kAdapterIV);
  EXPECT_THROW(encryptor.initialize("AES256-CBC", Bytes(16)), std::runtime_error);
  EXPECT_THROW_MESSAGE(encryptor.initialize(kAES, Bytes(12)), CouldNotEncrypt,
                       "An initialization vector must be 16 bytes long, not 12");
  EXPECT_EQ(encryptor.encrypt(Bytes(5)), encryptedByAdapter(kAdapterIV, Bytes(5)));
}

TEST(CryptoEncryptor, TakesANewIVWithEachInitialize) {
  CryptoEncryptor encryptor(kAdapterKey);
  for (unsigned char i = 0; i < 20; ++i) {
    encryptor.initialize(kAES, Bytes(16, i));
    EXPECT_EQ(encryptor.encrypt(sampleContent(i)), encryptedByAdapter(Bytes(16, i), sampleContent(i)));
  }
}

TEST(CryptoEncryptor, AppendsTheSameMessage) {
  CryptoEncryptor encryptor(kAdapterKey);
  encryptor.initialize(kAES, kAdapterIV);
  Bytes out = kAdapterIV;
  encryptor.encryptTo(sampleContent(40), out);
  Bytes expected = encryptedByAdapter(kAdapterIV, sampleContent(40));
  expected.insert(expected.begin(), kAdapterIV.begin(), kAdapterIV.end());
  EXPECT_EQ(out, expected);
}

TEST(CryptoEncryptor, WantsToBeInitialized) {
  CryptoEncryptor encryptor(kAdapterKey);
  Bytes out;
  EXPECT_THROW_MESSAGE(encryptor.encrypt({}), std::logic_error, "initialize() has not been called");
  EXPECT_THROW_MESSAGE(encryptor.encryptTo({}, out), std::logic_error, "initialize() has not been called");
}

TEST(CryptoEncryptor, RefusesAKeyOfAnotherLength) {
  for (std::size_t length : {0U, 16U, 31U, 33U})
    EXPECT_THROW_MESSAGE(CryptoEncryptor(Bytes(length)), CryptoError,
                         "An AES-256 key must be 32 bytes long, not " + std::to_string(length));
}

TEST(CryptoDecryptor, GivesTheContentBack) {
  CryptoDecryptor decryptor(kAdapterKey);
  for (std::size_t length : {0U, 1U, 16U, 16384U, 50'000U}) {
    decryptor.initialize(kAES, kAdapterIV);
    EXPECT_EQ(decryptor.decrypt(encryptedByAdapter(kAdapterIV, sampleContent(length))), sampleContent(length));
  }
}

TEST(CryptoDecryptor, RefusesEveryOtherAlgorithm) {
  CryptoDecryptor decryptor(kAdapterKey);
  for (char const* name : kNoCipherNames)
    EXPECT_THROW_MESSAGE(decryptor.initialize(name, kAdapterIV), std::runtime_error,
                         "Unsupported decryption type and mode.");
}

TEST(CryptoDecryptor, StaysAsItWasWhenInitializingFails) {
  CryptoDecryptor decryptor(kAdapterKey);
  decryptor.initialize(kAES, kAdapterIV);
  EXPECT_THROW(decryptor.initialize("AES256-CBC", Bytes(16)), std::runtime_error);
  EXPECT_THROW(decryptor.initialize(kAES, Bytes(17)), CouldNotDecrypt);
  EXPECT_EQ(decryptor.decrypt(encryptedByAdapter(kAdapterIV, Bytes(5))), Bytes(5));
}

TEST(CryptoDecryptor, LetsTheLibrarysRefusalPass) {
  CryptoDecryptor decryptor(kAdapterKey);
  decryptor.initialize(kAES, Bytes(16, 0x12));
  Bytes out = {1};
  EXPECT_THROW_MESSAGE(decryptor.decrypt(encryptedByAdapter(kAdapterIV, Bytes(5))), CouldNotDecrypt,
                       "The key is wrong or the content is damaged");
  EXPECT_THROW(decryptor.decryptTo(Bytes(40), out), CouldNotDecrypt);
  EXPECT_EQ(out, Bytes{1});
}

TEST(CryptoDecryptor, WantsToBeInitialized) {
  CryptoDecryptor decryptor(kAdapterKey);
  EXPECT_THROW_MESSAGE(decryptor.decrypt(Bytes(16)), std::logic_error, "initialize() has not been called");
}

TEST(CryptoDecryptor, RefusesAKeyOfAnotherLength) {
  EXPECT_THROW_MESSAGE(CryptoDecryptor(Bytes(31)), CryptoError, "An AES-256 key must be 32 bytes long, not 31");
}

TEST(CryptoDigestEngine, AgreesWithAnIndependentImplementation) {
  for (auto const& row : zt_test::knownAnswers("hmac")) {
    CryptoDigestEngine digests(zt_test::fromHex(row[0]));
    digests.initialize(kHMAC);
    EXPECT_EQ(hexEncode(digests.digest(sampleContent(std::stoul(row[1])))), row[2]);
  }
}

TEST(CryptoDigestEngine, RefusesEveryOtherAlgorithm) {
  CryptoDigestEngine digests(kAdapterKey);
  for (char const* name : {"", "hmac-sha256", "HMAC-SHA512", "SHA256", "AES256-GCM", "HMAC-SHA256 "})
    EXPECT_THROW_MESSAGE(digests.initialize(name), std::runtime_error, "Unsupported digest algorithm.");
}

TEST(CryptoDigestEngine, StaysAsItWasWhenInitializingFails) {
  CryptoDigestEngine digests(kAdapterKey);
  digests.initialize(kHMAC);
  Bytes const before = digests.digest(Bytes(3));
  EXPECT_THROW(digests.initialize("MD5"), std::runtime_error);
  EXPECT_EQ(digests.digest(Bytes(3)), before);
  digests.initialize(kHMAC);
  EXPECT_EQ(digests.digest(Bytes(3)), before);
}

TEST(CryptoDigestEngine, WantsToBeInitialized) {
  CryptoDigestEngine digests(kAdapterKey);
  EXPECT_THROW_MESSAGE(digests.digest({}), std::logic_error, "initialize() has not been called");
}

TEST(CryptoAdapters, LeaveNoKeyInMemory) {
  if (!zt_test::canScanMemory()) GTEST_SKIP() << "this process may not read its own memory";
  zt_test::HiddenKey const hidden;
  {
    Bytes revealed = hidden.reveal();
    CryptoEncryptor encryptor(revealed);
    CryptoDecryptor decryptor(revealed);
    CryptoDigestEngine digests(revealed);
    foundation::crypto::wipe(revealed.data(), revealed.size());
    encryptor.initialize(kAES, kAdapterIV);
    decryptor.initialize(kAES, kAdapterIV);
    digests.initialize(kHMAC);
    EXPECT_EQ(decryptor.decrypt(encryptor.encrypt(Bytes(100))), Bytes(100));
    digests.digest(Bytes(100));
    EXPECT_GT(hidden.countInMemory(), 2U) << "the search finds nothing";
  }
  EXPECT_EQ(hidden.countInMemory(), 0U);
}

/// The two operations that an adapter must have; the others stand on them.
class ReversingCipher final : public IEncryptor, public IDecryptor {
 public:
  void initialize(std::string const&, Bytes const&) override {}
  Bytes encrypt(Bytes const& data) override { return {data.rbegin(), data.rend()}; }
  Bytes decrypt(Bytes const& data) override { return encrypt(data); }
};

TEST(CryptoInterfaces, AppendByWhatTransformsAWhole) {
  ReversingCipher cipher;
  Bytes out = {9};
  cipher.encryptTo(Bytes{1, 2}, out);
  cipher.decryptTo(Bytes{3, 4}, out);
  EXPECT_EQ(out, (Bytes{9, 2, 1, 4, 3}));
}

}  // namespace
}  // namespace opc::ztservices
