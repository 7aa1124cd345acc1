// SPDX-License-Identifier: Apache-2.0
#include <dlfcn.h>

#include <cstddef>
#include <gtest/gtest.h>
#include <memory>
#include <openssl/rand.h>

#include "crypto/CryptoErrors.hpp"
#include "crypto/CryptoRandom.hpp"

namespace {

bool fails = false;

}  // namespace

/// Stands in front of the library's generator, which hardly ever fails.
int RAND_bytes_ex(OSSL_LIB_CTX* context, unsigned char* bytes, std::size_t count, unsigned strength) {
  using Function = decltype(&RAND_bytes_ex);
  static auto const next = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "RAND_bytes_ex"));
  return fails ? 0 : next(context, bytes, count, strength);
}

namespace foundation::crypto {
namespace {

TEST(RandomBytes, AreNoneWhereTheLibrarysGeneratorFails) {
  cryptopp::CryptoProvider provider;
  Bytes bytes(16);
  fails = true;
  EXPECT_THROW(provider.fillWithRandomBytes(bytes), CryptoError);
  fails = false;
  EXPECT_NO_THROW(provider.fillWithRandomBytes(bytes));
}

}  // namespace
}  // namespace foundation::crypto
