// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <gtest/gtest.h>
#include <vector>

#include "foundation/crypto/Utils.hpp"

namespace foundation::crypto::utils {
namespace {

TEST(HexEncode, GivesNothingForNothing) { EXPECT_EQ(hexEncode(std::vector<unsigned char>{}), ""); }

TEST(HexEncode, GivesTwoLowerCaseDigitsForEachByte) {
  EXPECT_EQ(hexEncode(std::vector<unsigned char>{0x00, 0x09, 0x0a, 0x9f, 0xab, 0xff}), "00090a9fabff");
}

TEST(HexEncode, TakesAnyRangeOfBytes) {
  unsigned char const bytes[] = {0xde, 0xad};
  EXPECT_EQ(hexEncode(bytes, 2), "dead");
  EXPECT_EQ(hexEncode(std::array<unsigned char, 1>{0x7f}), "7f");
}

}  // namespace
}  // namespace foundation::crypto::utils
