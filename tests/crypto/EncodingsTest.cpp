// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "crypto/CryptoErrors.hpp"
#include "crypto/Encodings.hpp"
#include "support/TestSupport.hpp"

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

// RFC 4648, 10
constexpr struct {
  char const* bytes;
  char const* text;
} kBase64[] = {{"", ""},
               {"f", "Zg=="},
               {"fo", "Zm8="},
               {"foo", "Zm9v"},
               {"foob", "Zm9vYg=="},
               {"fooba", "Zm9vYmE="},
               {"foobar", "Zm9vYmFy"}};

TEST(Base64, MeetsThePublishedVectors) {
  for (auto const& known : kBase64) {
    EXPECT_EQ(base64Encode(zt_test::bytesOf(known.bytes)), known.text);
    EXPECT_EQ(zt_test::textOf(base64Decode(known.text)), known.bytes);
  }
}

TEST(Base64, UsesPlusAndSlash) { EXPECT_EQ(base64Encode(Bytes{0xfb, 0xef, 0xff}), "++//"); }

TEST(Base64, BringsEveryLengthBack) {
  Bytes bytes;
  for (int i = 0; i < 300; ++i) {
    EXPECT_EQ(base64Decode(base64Encode(bytes)), bytes) << i << " bytes";
    bytes.push_back(static_cast<unsigned char>(i * 89));
  }
}

TEST(Base64, MakesOneLineOfLongBytes) { EXPECT_EQ(base64Encode(Bytes(3000)), std::string(4000, 'A')); }

class Base64Refuses : public testing::TestWithParam<std::string> {};

TEST_P(Base64Refuses, WhatItDidNotWrite) {
  EXPECT_THROW_MESSAGE(base64Decode(GetParam()), CryptoError, "Text is not base64");
}

INSTANTIATE_TEST_SUITE_P(Texts, Base64Refuses,
                         testing::Values("Z", "Zg", "Zg=", "Zm9", "Zm9vY", "=", "==", "====", "Z===", "Zg==Zg==",
                                         "Zm=v", "Zm9v====", "Zg==\n", " Zm9v", "Zm9v ", "Zm 9v", "Zm\n9v", "Zm9-",
                                         "Zm9_", "Zm9\xFF", "Zh==", "Zm9=", "Zm9v\r\n",
                                         "Zm9v=", std::string("Zm9\0", 4), std::string("Zm9v\0\0\0\0", 8)));

}  // namespace
}  // namespace foundation::crypto::utils
