// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>

#include "crypto/Bytes.hpp"
#include "support/MemoryScan.hpp"

namespace foundation::crypto {
namespace {

/// Far enough from the beginning that nothing of the memory's owner overwrites it.
constexpr std::size_t kPlace = 256;

/// How often the key is there while a container of it lives that has grown, and afterwards.
template <typename Container>
void expectWiped() {
  if (!zt_test::canScanMemory()) GTEST_SKIP() << "this process may not read its own memory";
  zt_test::HiddenKey const hidden;
  {
    Container secret(kPlace, 0);
    Bytes revealed = hidden.reveal();
    secret.reserve(kPlace + revealed.size());
    secret.insert(secret.end(), revealed.begin(), revealed.end());
    wipe(revealed.data(), revealed.size());
    secret.reserve(10'000);
    EXPECT_EQ(hidden.countInMemory(), 1U);
  }
  EXPECT_EQ(hidden.countInMemory(), 0U);
}

TEST(SecretBytes, CompareByLengthAndContent) {
  EXPECT_TRUE(isEqualSecret({}, {}));
  EXPECT_TRUE(isEqualSecret(Bytes{1, 2}, Bytes{1, 2}));
  EXPECT_FALSE(isEqualSecret(Bytes{1, 2}, Bytes{1, 3}));
  EXPECT_FALSE(isEqualSecret(Bytes{1, 2}, Bytes{1, 2, 0}));
  EXPECT_FALSE(isEqualSecret(Bytes{1}, {}));
}

TEST(SecretBytes, LeaveNothingBehindWhenTheyGrowAndGo) { expectWiped<SecretBytes>(); }

TEST(WipedBytes, LeaveNothingBehindWhenTheyGrowAndGo) { expectWiped<WipedBytes>(); }

TEST(SecretBytes, StayOutOfCoreFiles) {
  if (!zt_test::canSeeMemoryFlags()) GTEST_SKIP() << "the system does not show this process's memory";
  for (std::size_t const size : {std::size_t{1}, std::size_t{10'000}}) {
    SecretBytes const secret(size, 1);
    EXPECT_TRUE(zt_test::hasMemoryFlag(secret.data(), "dd"));
    EXPECT_TRUE(zt_test::hasMemoryFlag(&secret.back(), "dd"));
  }
}

TEST(SecretBytes, StayOutOfTheSwapSpace) {
  if (!zt_test::canLockMemory()) GTEST_SKIP() << "this process may not lock memory, or cannot see it";
  for (std::size_t const size : {std::size_t{1}, std::size_t{10'000}}) {
    SecretBytes const secret(size, 1);
    EXPECT_TRUE(zt_test::hasMemoryFlag(secret.data(), "lo"));
    EXPECT_TRUE(zt_test::hasMemoryFlag(&secret.back(), "lo"));
  }
}

}  // namespace
}  // namespace foundation::crypto
