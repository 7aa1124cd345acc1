// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "crypto/Bytes.hpp"
#include "support/MemoryScan.hpp"

namespace foundation::crypto {
namespace {

TEST(SecretBytes, CompareByLengthAndContent) {
  EXPECT_TRUE(isEqualSecret({}, {}));
  EXPECT_TRUE(isEqualSecret(Bytes{1, 2}, Bytes{1, 2}));
  EXPECT_FALSE(isEqualSecret(Bytes{1, 2}, Bytes{1, 3}));
  EXPECT_FALSE(isEqualSecret(Bytes{1, 2}, Bytes{1, 2, 0}));
  EXPECT_FALSE(isEqualSecret(Bytes{1}, {}));
}

TEST(SecretBytes, LeaveNothingBehindWhenTheyGrowAndGo) {
  if (!zt_test::canScanMemory()) GTEST_SKIP() << "this process may not read its own memory";
  zt_test::HiddenKey const hidden;
  {
    Bytes revealed = hidden.reveal();
    SecretBytes secret(revealed.begin(), revealed.end());
    wipe(revealed.data(), revealed.size());
    secret.reserve(1000);
    EXPECT_EQ(hidden.countInMemory(), 1U);
  }
  EXPECT_EQ(hidden.countInMemory(), 0U);
}

}  // namespace
}  // namespace foundation::crypto
