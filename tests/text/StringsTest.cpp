// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gmock/gmock.h>
#include <initializer_list>
#include <string>

#include "opc/Strings.hpp"
#include "support/ScopedEnvironment.hpp"
#include "support/TestSupport.hpp"

namespace {

using opc::caselessCompare;
using opc::hasWhitespace;
using opc::toString;
using opc::toUTF8String;
using opc::toWideString;

constexpr char16_t kHigh = 0xD83D;
constexpr char16_t kLow = 0xDE00;

std::u16string units(std::initializer_list<char16_t> list) { return list; }

TEST(ToString, ConvertsEveryWidthOfUTF8) {
  EXPECT_EQ(toString("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z"), u"a\u00E9\u20AC\U0001F600z");
}

TEST(ToString, KeepsASCIIOfEveryLengthAroundTheFastPath) {
  for (std::size_t length = 0; length < 40; ++length) {
    EXPECT_EQ(toString(std::string(length, 'x')), std::u16string(length, u'x'));
    EXPECT_EQ(toString(std::string(length, 'x') + "\xC3\xA9"), std::u16string(length, u'x') + u'\u00E9');
  }
}

TEST(ToString, KeepsNULs) { EXPECT_EQ(toString(std::string("a\0b", 3)), std::u16string(u"a\0b", 3)); }

TEST(ToString, RefusesEachKindOfIllFormedUTF8) {
  for (char const* text : {"\x80", "\xC3", "\xC0\x80", "\xE0\x80\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF5",
                           "\xFF", "\xE2\x82", "\xF0\x9F\x98", "\xC3(", "ab\xE2(\xA1"})
    EXPECT_THROW(toString(text), opc::InvalidText) << text;
}

TEST(ToString, SaysWhereTheTextIsIllFormedAndShowsIt) {
  EXPECT_THROW_MESSAGE(toString("caf\xE9\\\n"), opc::InvalidText,
                       "Text is not valid UTF-8 at byte 3: caf\\xE9\\\\\\x0A");
}

TEST(ToString, KeepsTheMessageShortForALongText) {
  try {
    toString(std::string(1'000'000, 'x') + "\xFF");
    ADD_FAILURE() << "not refused";
  } catch (opc::InvalidText const& error) {
    EXPECT_LT(std::string(error.what()).size(), 5000u);
    EXPECT_EQ(error.getErrorCode().value(), EILSEQ);
  }
}

TEST(ToString, ReplacesEachIllFormedPieceWhenLenient) {
  EXPECT_EQ(toString("a\xFF\xFE"
                     "b",
                     false),
            u"a\uFFFD\uFFFDb");
  EXPECT_EQ(toString("\xE2\x82", false), u"\uFFFD");
  EXPECT_EQ(toString("\xF0\x9F\x98z", false), u"\uFFFDz");
  EXPECT_EQ(toString("\xC0\x80", false), u"\uFFFD\uFFFD");
}

TEST(ToString, LosesNoCharacterBehindAnIllFormedPiece) {
  EXPECT_EQ(toString("\xC3(", false), u"\uFFFD(");
  EXPECT_EQ(toString("\xE2\xC3\xA9", false), u"\uFFFD\u00E9");
}

TEST(ToString, DoesTheSameUnderItsDetailedName) {
  EXPECT_EQ(opc::detail::toStringFromUTF8String("\xC3\xA9", true), u"\u00E9");
  EXPECT_EQ(opc::detail::toStringFromUTF8String("\xC3", false), u"\uFFFD");
  EXPECT_THROW(opc::detail::toStringFromUTF8String("\xC3", true), opc::InvalidText);
}

TEST(ToUTF8String, ReadsBackEveryCodePoint) {
  std::u16string all;
  for (char16_t c = 0; c < 0xD800; ++c) all += c;
  for (char32_t c = 0xE000; c < 0x10000; ++c) all += static_cast<char16_t>(c);
  for (char16_t high = 0xD800; high < 0xDC00; high = static_cast<char16_t>(high + 0x11)) all += units({high, kLow});
  EXPECT_EQ(toString(toUTF8String(all)), all);
}

TEST(ToUTF8String, KeepsASCIIOfEveryLengthAroundTheFastPath) {
  for (std::size_t length = 0; length < 40; ++length)
    EXPECT_EQ(toUTF8String(std::u16string(length, u'x') + u'\u00E9'), std::string(length, 'x') + "\xC3\xA9");
}

TEST(ToUTF8String, RefusesALoneSurrogateAndShowsIt) {
  std::string const message = "Text holds a lone surrogate: a\\u{D83D}b";
  EXPECT_THROW_MESSAGE(toUTF8String(units({u'a', kHigh, u'b'})), opc::InvalidText, message);
  EXPECT_THROW_MESSAGE(toUTF8String(units({u'a', kLow})), opc::InvalidText, "Text holds a lone surrogate: a\\u{DE00}");
  EXPECT_THROW(toUTF8String(units({kHigh})), opc::InvalidText);
  EXPECT_THROW(toUTF8String(units({kHigh, kHigh, kLow})), opc::InvalidText);
}

TEST(ToWideString, JoinsSurrogatePairs) { EXPECT_EQ(toWideString(u"a\U0001F600"), L"a\U0001F600"); }

TEST(ToWideString, ReplacesLoneSurrogatesAndKeepsWhatFollows) {
  EXPECT_EQ(toWideString(units({kHigh, u'a', kLow})), L"\uFFFDa\uFFFD");
}

TEST(ToASCIIString, KeepsASCIIAndEscapesTheRest) {
  EXPECT_EQ(opc::toASCIIString(u"a\\\u00E9\U0001F600\n"), "a\\\\u{E9}\\u{1F600}\n");
}

TEST(ToASCIIString, EscapesLoneSurrogates) { EXPECT_EQ(opc::toASCIIString(units({kHigh, u'a'})), "\\u{D83D}a"); }

TEST(ToASCIIString, EscapesTheLargestCodePoint) { EXPECT_EQ(opc::toASCIIString(u"\U0010FFFF"), "\\u{10FFFF}"); }

TEST(CaselessCompare, IgnoresTheCaseOfASCIILetters) {
  EXPECT_TRUE(caselessCompare(u"Content-Type", u"cONTENT-tYPE"));
  EXPECT_TRUE(caselessCompare(u"", u""));
}

TEST(CaselessCompare, TellsOtherTextsApart) {
  EXPECT_FALSE(caselessCompare(u"a", u"b"));
  EXPECT_FALSE(caselessCompare(u"a", u"aa"));
  EXPECT_FALSE(caselessCompare(u"aa", u"a"));
}

TEST(CaselessCompare, FoldsTheCaseOfEveryAlphabetCharacterByCharacter) {
  EXPECT_TRUE(caselessCompare(u"\u00E9t\u00E9", u"\u00C9T\u00C9"));
  EXPECT_TRUE(caselessCompare(u"\u03A3\u03C3\u03C2", u"\u03C3\u03C3\u03C3"));
  EXPECT_TRUE(caselessCompare(u"\u0411", u"\u0431"));
  EXPECT_TRUE(caselessCompare(u"k", u"\u212A"));
  EXPECT_TRUE(caselessCompare(u"\U00010400", u"\U00010428"));
  EXPECT_FALSE(caselessCompare(u"\u00DF", u"ss"));  // not of the same length
  EXPECT_FALSE(caselessCompare(u"I", u"\u0131"));
}

TEST(CaselessCompare, LeavesOtherCharactersAsTheyAre) {
  EXPECT_FALSE(caselessCompare(u"@[", u"`{"));
  EXPECT_FALSE(caselessCompare(u"e\u0301", u"\u00E9"));
  EXPECT_TRUE(caselessCompare(units({kHigh}), units({kHigh})));
  EXPECT_FALSE(caselessCompare(units({kHigh}), u"a"));
}

TEST(HasWhitespace, FindsEveryUnicodeWhiteSpaceCharacter) {
  for (char16_t c : units({0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x20, 0x85, 0xA0, 0x1680, 0x2000, 0x200A, 0x2028, 0x2029,
                           0x202F, 0x205F, 0x3000}))
    EXPECT_TRUE(hasWhitespace(std::u16string(u"ab") + c)) << int(c);
}

TEST(HasWhitespace, FindsNoneElsewhere) {
  EXPECT_FALSE(hasWhitespace(u""));
  EXPECT_FALSE(hasWhitespace(u"abc\u00E9\U0001F600"));
  EXPECT_FALSE(hasWhitespace(u"\u200B\uFEFF\u180E"));  // these take no space
}

TEST(GetFilename, IsTheLastComponent) {
  EXPECT_EQ(opc::detail::getFilename(u"/a/b"), u"b");
  EXPECT_EQ(opc::detail::getFilename(u"/a"), u"a");
  EXPECT_EQ(opc::detail::getFilename(u"a"), u"a");
  EXPECT_EQ(opc::detail::getFilename(u"/"), u"/");
  EXPECT_EQ(opc::detail::getFilename(u""), u"");
}

TEST(GetFilename, IsEmptyBehindASlashAtTheEnd) {
  EXPECT_EQ(opc::detail::getFilename(u"/a/b/"), u"");
  EXPECT_EQ(opc::detail::getFilename(u"//"), u"");
}

TEST(GetParentPath, IsThePathWithoutItsLastComponent) {
  EXPECT_EQ(opc::detail::getParentPath(u"/a/b"), u"/a");
  EXPECT_EQ(opc::detail::getParentPath(u"/a"), u"/");
  EXPECT_EQ(opc::detail::getParentPath(u"a/b"), u"a");
}

TEST(GetParentPath, IsEmptyWhereThereIsNone) {
  EXPECT_EQ(opc::detail::getParentPath(u"/"), u"");
  EXPECT_EQ(opc::detail::getParentPath(u"a"), u"");
  EXPECT_EQ(opc::detail::getParentPath(u""), u"");
}

TEST(GetParentPath, TakesRepeatedSlashesAsTheyCome) {
  EXPECT_EQ(opc::detail::getParentPath(u"/a/b/"), u"/a/b");
  EXPECT_EQ(opc::detail::getParentPath(u"/a//b"), u"/a/");
  EXPECT_EQ(opc::detail::getParentPath(u"//a"), u"/");
}

}  // namespace
