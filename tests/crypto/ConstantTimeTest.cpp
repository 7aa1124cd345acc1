// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <cstddef>
#include <gtest/gtest.h>
#include <memory>
#include <openssl/crypto.h>

#include "crypto/Bytes.hpp"
#include "crypto/CryptoEngine.hpp"
#include "crypto/CryptoErrors.hpp"
#include "crypto/CryptoRandom.hpp"

namespace {

std::atomic<int> comparisons = 0;

}  // namespace

/// Stands in front of the library's function, whose time depends on nothing but the length. How long a comparison takes
/// cannot be measured reliably; who makes it can.
int CRYPTO_memcmp(void const* a, void const* b, std::size_t count) {
  ++comparisons;
  auto const* const left = static_cast<unsigned char const*>(a);
  auto const* const right = static_cast<unsigned char const*>(b);
  int difference = 0;
  for (std::size_t i = 0; i < count; ++i) difference |= left[i] ^ right[i];
  return difference;
}

namespace foundation::crypto {
namespace {

TEST(SecretBytes, AreComparedInConstantTime) {
  for (Bytes const& other : {Bytes{1, 2, 3}, Bytes{0, 2, 3}, Bytes{1, 2, 0}}) {
    int const before = comparisons;
    isEqualSecret(Bytes{1, 2, 3}, other);
    EXPECT_EQ(comparisons, before + 1);
  }
}

TEST(PasswordHashes, AreComparedInConstantTime) {
  CryptoEngine const engine(std::make_shared<cryptopp::CryptoProvider>());
  Bytes const iv(16, 7);
  Bytes hash = engine.getPasswordHash(u"sesame", u"12345678", iv, 1, 32);
  hash.front() ^= 1;
  int const before = comparisons;
  EXPECT_THROW(engine.getDecryptionKeyFromPassword(u"sesame", u"12345678", hash, iv, 1, 32), utils::CouldNotDecrypt);
  EXPECT_EQ(comparisons, before + 1);
}

}  // namespace
}  // namespace foundation::crypto
