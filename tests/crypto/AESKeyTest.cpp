// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "crypto/Bytes.hpp"
#include "crypto/CryptoErrors.hpp"
#include "crypto/CryptoSamples.hpp"
#include "support/MemoryScan.hpp"
#include "support/TestSupport.hpp"

namespace foundation::crypto {
namespace {

using namespace cryptolib_test;

TEST(AESKey, IsMadeOfExactlyThirtyTwoBytes) {
  EXPECT_NO_THROW(engine().createAES256Key(Bytes(32)));
  for (std::size_t length : {0U, 1U, 16U, 24U, 31U, 33U, 64U})
    EXPECT_THROW_MESSAGE(engine().createAES256Key(Bytes(length)), CryptoError,
                         "An AES-256 key must be 32 bytes long, not " + std::to_string(length));
}

TEST(AESKey, IsNoExceptionOfACipher) { EXPECT_THROW(engine().createAES256Key(Bytes(31)), opc::Exception); }

TEST(AESKey, StaysUsableThroughItsCopies) {
  std::optional<AESKey> key = engine().createAES256Key(sampleKey());
  AESEncryptor encryptor(*key, sampleIV());
  key.reset();
  EXPECT_EQ(encrypt(Bytes(9), encryptor), encrypted(sampleKey(), sampleIV(), Bytes(9)));
}

TEST(AESKey, IsGoneFromMemoryAfterItsLastCopy) {
  if (!zt_test::canScanMemory()) GTEST_SKIP() << "this process may not read its own memory";
  zt_test::HiddenKey const hidden;
  {
    Bytes revealed = hidden.reveal();
    auto encryptor = encryptorOf(revealed, sampleIV());
    auto decryptor = decryptorOf(revealed, sampleIV());
    EXPECT_EQ(decrypt(encrypt(Bytes(100), encryptor), decryptor), Bytes(100));
    EXPECT_THROW(decrypt(Bytes(100), decryptor), utils::CouldNotDecrypt);
    EXPECT_GT(hidden.countInMemory(), 1U) << "the search finds nothing";
    wipe(revealed.data(), revealed.size());
  }
  EXPECT_EQ(hidden.countInMemory(), 0U);
}

}  // namespace
}  // namespace foundation::crypto
