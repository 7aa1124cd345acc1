// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "opc/Strings.hpp"
#include "opc/Text.hpp"
#include "support/TestSupport.hpp"

namespace opc {
namespace {

TEST(Text, TakesEveryFormOfUTF8) {
  std::u16string const expected = u"/caf\u00e9/\U0001F600";
  std::string const utf8 = "/caf\xC3\xA9/\xF0\x9F\x98\x80";
  EXPECT_EQ(toUTF16(utf8), expected);
  EXPECT_EQ(toUTF16(std::string_view(utf8)), expected);
  EXPECT_EQ(toUTF16(utf8.c_str()), expected);
  EXPECT_EQ(toUTF16(u8"/caf\u00e9/\U0001F600"), expected);
  EXPECT_EQ(toUTF16(std::filesystem::path(utf8)), expected);
  EXPECT_EQ(toUTF16("a"), u"a");
}

TEST(Text, PassesUTF16Unchanged) {
  std::u16string const lone(1, char16_t{0xD800});
  EXPECT_EQ(toUTF16(lone), lone);
  EXPECT_EQ(toUTF16(std::u16string_view(lone)), lone);
  EXPECT_EQ(toUTF16(u"a"), u"a");
}

TEST(Text, NamesTheFirstIllFormedByte) {
  EXPECT_THROW_MESSAGE(toUTF16("ab\xFF"), InvalidText, "Text is not valid UTF-8 at byte 2: ab\\xFF");
  try {
    toUTF16(std::filesystem::path("\xC3"));
    ADD_FAILURE();
  } catch (InvalidText const& error) {
    EXPECT_EQ(error.getErrorCode().value(), EILSEQ);
  }
}

TEST(Text, IsNoTextOfAnotherType) {
  EXPECT_FALSE(AnyText<std::vector<unsigned char>>);
  EXPECT_FALSE(AnyText<int>);
  EXPECT_FALSE(Utf8Text<std::u16string>);
  EXPECT_TRUE(Utf8Text<char[3]>);
  EXPECT_TRUE(Utf16Text<char16_t[3]>);
}

}  // namespace
}  // namespace opc
