// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gmock/gmock.h>
#include <string>

#include "opc/Strings.hpp"
#include "support/TestSupport.hpp"
#include "text/I18n.hpp"
#include "text/Iconv.hpp"
#include "text/TextSamples.hpp"

namespace {

using namespace std::string_literals;
using fl::i18n::codecvt_string_to_ustring;
using fl::i18n::ustring_to_utf8;
using opc::UndecodableText;

std::u16string convert(std::string const& bytes, std::string const& charset, bool strict = true) {
  return codecvt_string_to_ustring(charset, strict).do_convert(bytes.data(), bytes.size());
}

TEST(CodecvtStringToUstring, ConvertsWhatIconvWrites) {
  for (auto const& sample : i18n_test::samples())
    for (std::string const charset : sample.charsets) {
      std::string const bytes = i18n_test::encode(sample.text, charset);
      EXPECT_EQ(convert(bytes, charset), opc::toString(sample.text)) << charset;
    }
}

TEST(CodecvtStringToUstring, ConvertsNothingToNothing) {
  EXPECT_EQ(codecvt_string_to_ustring("ISO-8859-1", true).do_convert(nullptr, 0), u"");
}

TEST(CodecvtStringToUstring, CanBeUsedAgain) {
  codecvt_string_to_ustring const converter("ISO-2022-JP", true);
  std::string const bytes = i18n_test::encode("\u65E5\u672C", "ISO-2022-JP");
  EXPECT_EQ(converter.do_convert(bytes.data(), bytes.size()), u"\u65E5\u672C");
  EXPECT_EQ(converter.do_convert("a", 1), u"a");
}

TEST(CodecvtStringToUstring, CharactersAcrossItsPiecesStayWhole) {
  for (std::size_t const front : {65'533U, 65'534U, 65'535U, 65'536U, 16'383U, 16'384U}) {
    std::string const text = std::string(front, 'x') + "\U0001F4E6\u65E5" + std::string(70'000, 'y');
    for (std::string const charset : {"GB18030", "UTF-8"})
      EXPECT_EQ(ustring_to_utf8(convert(i18n_test::encode(text, charset), charset)), text) << front << charset;
  }
}

TEST(CodecvtStringToUstring, KeepsAMarkWhereTheNameSaysTheByteOrder) {
  EXPECT_EQ(convert("\xFF\xFEz\0"s, "UTF-16LE"), u"\uFEFFz");
  EXPECT_EQ(convert("\0\0\xFE\xFF"s, "UTF-32BE"), u"\uFEFF");
}

TEST(CodecvtStringToUstring, UnknownCharacterSetIsRefused) {
  EXPECT_THROW_MESSAGE(codecvt_string_to_ustring("no-such-set", true), UndecodableText,
                       "Unknown character set: no-such-set");
  EXPECT_THROW_MESSAGE(codecvt_string_to_ustring("", true), UndecodableText, "Unknown character set: ");
  EXPECT_THROW(codecvt_string_to_ustring("ISO-8859-1,swaplfnl", true), UndecodableText);
}

TEST(CodecvtStringToUstring, WhatIsNoCharacterIsNamedByItsPosition) {
  EXPECT_THROW_MESSAGE(convert("ab\xFF", "UTF-8"), UndecodableText, "Text is not valid UTF-8 at byte 2");
  EXPECT_THROW_MESSAGE(convert("ab\xA4", "EUC-JP"), UndecodableText, "Text is not valid EUC-JP at byte 2");
  EXPECT_THROW_MESSAGE(convert(std::string(100'000, 'x') + "\x81\xFF yes", "SHIFT_JIS"), UndecodableText,
                       "Text is not valid SHIFT_JIS at byte 100000");
}

TEST(CodecvtStringToUstring, IsReplacedWhereNotStrict) {
  EXPECT_EQ(convert("ab\xFF"
                    "c",
                    "UTF-8", false),
            u"ab\uFFFDc");
  EXPECT_EQ(convert("ab\xA4", "EUC-JP", false), u"ab\uFFFD");
}

TEST(UstringToUtf8, EncodesEveryLength) {
  EXPECT_EQ(ustring_to_utf8(u""), "");
  EXPECT_EQ(ustring_to_utf8(u"a\u00E9\u20AC\U0001F4E6\uFEFF\0"s), "a\u00E9\u20AC\U0001F4E6\uFEFF\0"s);
}

TEST(UstringToUtf8, PairsAcrossItsPiecesStayWhole) {
  for (std::size_t const front : {16'382U, 16'383U, 16'384U, 32'766U}) {
    std::u16string const text = std::u16string(front, u'x') + u"\U0001F4E6" + std::u16string(20'000, u'\u20AC');
    EXPECT_EQ(ustring_to_utf8(text), opc::toUTF8String(text));
  }
}

TEST(UstringToUtf8, RefusesALoneSurrogate) {
  for (std::size_t const front : {0U, 16'383U}) {
    std::u16string const text = std::u16string(front, u'x') + char16_t(0xD800);
    EXPECT_THROW_MESSAGE(ustring_to_utf8(text), UndecodableText, "Text holds a lone surrogate");
    EXPECT_THROW(ustring_to_utf8(text + u"y"), UndecodableText);
  }
}

}  // namespace
