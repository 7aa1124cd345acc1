// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <string_view>

#include "text/Ascii.hpp"
#include "text/Unicode.hpp"

namespace opc::unicode {
namespace {

std::string utf8Of(char32_t codePoint) {
  char bytes[4];
  return {bytes, encodeUTF8(codePoint, bytes)};
}

TEST(EncodeUTF8, MakesTheShortestSequenceAtEachBoundary) {
  EXPECT_EQ(utf8Of(0), std::string(1, '\0'));
  EXPECT_EQ(utf8Of(0x7F), "\x7F");
  EXPECT_EQ(utf8Of(0x80), "\xC2\x80");
  EXPECT_EQ(utf8Of(0x7FF), "\xDF\xBF");
  EXPECT_EQ(utf8Of(0x800), "\xE0\xA0\x80");
  EXPECT_EQ(utf8Of(0xFFFF), "\xEF\xBF\xBF");
  EXPECT_EQ(utf8Of(0x10000), "\xF0\x90\x80\x80");
  EXPECT_EQ(utf8Of(0x10FFFF), "\xF4\x8F\xBF\xBF");
}

TEST(Utf8, EveryCodePointComesBackFromBothEncodings) {
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    if (isSurrogate(c)) continue;
    std::string const bytes = utf8Of(c);
    std::string_view narrow = bytes;
    bool wellFormed = false;
    ASSERT_EQ(takeCodePoint(narrow, wellFormed), c);
    ASSERT_TRUE(wellFormed && narrow.empty()) << static_cast<unsigned>(c);
    std::u16string text;
    append(text, c);
    std::string encoded;
    ASSERT_TRUE(appendUTF8(encoded, text));
    ASSERT_EQ(encoded, bytes) << static_cast<unsigned>(c);
    std::u16string_view wide = text;
    ASSERT_EQ(takeCodePoint(wide), c);
    ASSERT_TRUE(wide.empty()) << static_cast<unsigned>(c);
  }
}

TEST(Utf8, APrefixIsWellFormedExactlyAsFarAsCodePointsCanBeTaken) {
  for (unsigned first = 0x80; first < 0x100; ++first)
    for (unsigned second = 0; second < 0x100; ++second) {
      std::string const bytes = {static_cast<char>(first), static_cast<char>(second), '\x80', '\xBF'};
      std::string_view rest = bytes;
      bool wellFormed = true;
      takeCodePoint(rest, wellFormed);
      EXPECT_EQ(utf8Prefix(bytes) > 0, wellFormed) << first << ' ' << second;
    }
}

TEST(Utf8, AnIllFormedPieceEndsBeforeAByteThatDoesNotContinueIt) {
  auto const taken = [](std::string_view bytes) {
    std::string_view rest = bytes;
    bool wellFormed = true;
    EXPECT_EQ(takeCodePoint(rest, wellFormed), kReplacement);
    EXPECT_FALSE(wellFormed);
    return bytes.size() - rest.size();
  };
  EXPECT_EQ(taken("\x80\x80"), 1u);
  EXPECT_EQ(taken("\xC3"
                  "a"),
            1u);
  EXPECT_EQ(taken("\xE2\x82"
                  "a"),
            2u);
  EXPECT_EQ(taken("\xF0\x9F\x98"
                  "a"),
            3u);
  EXPECT_EQ(taken("\xED\xA0\x80"), 3u);
  EXPECT_EQ(taken("\xF5\x80\x80\x80"), 1u);
}

TEST(Utf8, TextOfSeveralPiecesIsEncodedAsOfOne) {
  for (std::size_t const front : {16'383u, 16'384u, 16'385u}) {
    std::u16string const text = std::u16string(front, u'x') + u"\U0001F600\u00E9";
    std::string utf8 = "before";
    EXPECT_TRUE(appendUTF8(utf8, text));
    EXPECT_EQ(utf8, "before" + std::string(front, 'x') + "\xF0\x9F\x98\x80\xC3\xA9") << front;
  }
}

TEST(Utf8, StopsAtALoneSurrogate) {
  std::string utf8;
  EXPECT_FALSE(appendUTF8(utf8, std::u16string{u'a', 0xDC00, u'b'}));
  EXPECT_EQ(utf8, "a");
  EXPECT_FALSE(appendUTF8(utf8, std::u16string(16'384, u'x') + char16_t(0xD800)));
}

TEST(Beginning, NeverSeparatesAPair) {
  std::u16string const text = u"ab\U0001F600c";
  EXPECT_EQ(beginning(text, 2), u"ab");
  EXPECT_EQ(beginning(text, 3), u"ab");
  EXPECT_EQ(beginning(text, 4), u"ab\U0001F600");
  EXPECT_EQ(beginning(text, 9), text);
  EXPECT_EQ(beginning(text, 0), u"");
}

TEST(Ascii, APrefixEndsAtTheFirstOtherCharacter) {
  for (std::size_t front = 0; front < 20; ++front) {
    EXPECT_EQ(ascii::prefixLength(std::string_view(std::string(front, 'x') + "\x80xxxxxxxxxx")), front);
    EXPECT_EQ(ascii::prefixLength(std::u16string_view(std::u16string(front, u'x') + u"\u0100xxxxxxxxxx")), front);
  }
}

TEST(Ascii, CaseIsThatOfLettersAlone) {
  for (int c = 0; c < 256; ++c) {
    auto const unit = static_cast<char16_t>(c);
    bool const isLarge = c >= 'A' && c <= 'Z', isSmall = c >= 'a' && c <= 'z';
    EXPECT_EQ(ascii::lower(unit), isLarge ? unit + 32 : unit);
    EXPECT_EQ(ascii::upper(unit), isSmall ? unit - 32 : unit);
    EXPECT_EQ(ascii::isLetter(unit), isLarge || isSmall);
  }
}

}  // namespace
}  // namespace opc::unicode
