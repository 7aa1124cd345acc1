// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "crypto/CryptoErrors.hpp"
#include "crypto/CryptoSamples.hpp"
#include "support/TestSupport.hpp"

namespace foundation::crypto {
namespace {

using namespace cryptolib_test;
using utils::AESMode;
using utils::AESPaddingMode;

Bytes encryptedInMode(AESMode mode, AESPaddingMode padding) {
  auto const made = engine();
  auto encryptor = made.createAES256Encryptor(made.createAES256Key(sampleKey()), sampleIV(), mode, padding,
                                              made.getDefaultCryptoPRNG());
  return encrypt(zt_test::sampleContent(40), encryptor);
}

TEST(CryptoEngine, HasBlocksOfSixteenBytes) { EXPECT_EQ(CryptoEngine::getAESBlockSizeInBytes(), 16U); }

TEST(CryptoEngine, NumbersItsModes) {
  EXPECT_EQ(static_cast<AESMode>(1), AESMode::Default);
  EXPECT_EQ(static_cast<AESMode>(3), AESMode::GCM);
}

TEST(CryptoEngine, AuthenticatesInEveryMode) {
  EXPECT_EQ(encryptedInMode(AESMode::Default, CryptoEngine::getDefaultAESPaddingMode()),
            encryptedInMode(AESMode::GCM, CryptoEngine::getDefaultAESPaddingMode()));
}

TEST(CryptoEngine, NeedsNoPadding) {
  EXPECT_EQ(encryptedInMode(AESMode::GCM, AESPaddingMode::PKCS7), encryptedInMode(AESMode::GCM, AESPaddingMode::None));
}

TEST(CryptoEngine, RefusesModesThatThereAreNot) {
  for (std::uint32_t mode : {0U, 2U, 4U}) {
    auto const made = engine();
    auto const key = made.createAES256Key(sampleKey());
    auto const prng = made.getDefaultCryptoPRNG();
    std::string const message = "There is no AES mode " + std::to_string(mode);
    EXPECT_THROW_MESSAGE(encryptedInMode(static_cast<AESMode>(mode), AESPaddingMode::None), CryptoError, message);
    EXPECT_THROW_MESSAGE(
        made.createAES256Decryptor(key, sampleIV(), static_cast<AESMode>(mode), AESPaddingMode::None, prng),
        CryptoError, message);
  }
}

TEST(CryptoEngine, MakesWhatOutlivesIt) {
  auto made = std::make_unique<CryptoEngine>(engine());
  auto encryptor = made->createAES256Encryptor(made->createAES256Key(sampleKey()), sampleIV(), AESMode::GCM,
                                               AESPaddingMode::None, made->getDefaultCryptoPRNG());
  auto prng = made->createDefaultCryptoPRNG({});
  made.reset();
  EXPECT_EQ(encrypt(Bytes(3), encryptor), encrypted(sampleKey(), sampleIV(), Bytes(3)));
  EXPECT_EQ(prng.generateByteArray(4).size(), 4U);
}

TEST(CryptoEngine, NeedsAProvider) {
  EXPECT_THROW_MESSAGE(CryptoEngine(nullptr), CryptoError, "There is no cryptographic provider");
}

}  // namespace
}  // namespace foundation::crypto
