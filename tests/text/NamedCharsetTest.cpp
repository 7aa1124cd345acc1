// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <string>

#include "opc/Strings.hpp"
#include "support/TestSupport.hpp"
#include "text/CharsetDecoder.hpp"
#include "text/I18n.hpp"

namespace {

using namespace std::string_literals;
using fl::i18n::CharsetDecoder;
using opc::UndecodableText;

std::string detectOr(std::string const& bytes, std::string const& charset) {
  return fl::i18n::detect_unicode_or(bytes.data(), bytes.size(), charset);
}

TEST(NamedCharset, IsThatOfTextThatIsNoUnicode) {
  for (char const* const charset : {"ISO-8859-1", "KOI8-R", "cp850", "IBM037"})
    EXPECT_EQ(detectOr("\xC1\xC2", charset), charset);
}

TEST(NamedCharset, YieldsToUnicode) {
  EXPECT_EQ(detectOr("", "ISO-8859-1"), "UTF-8");
  EXPECT_EQ(detectOr("caf\xC3\xA9", "ISO-8859-1"), "UTF-8");
  EXPECT_EQ(detectOr("\xFE\xFF\0z"s, "ISO-8859-1"), "UTF-16BE");
  EXPECT_EQ(detectOr("w\0i\0d\0e\0 \0t\0e\0x\0t\0"s, "ISO-8859-1"), "UTF-16LE");
}

TEST(NamedCharset, RefusesControlsThatTextDoesNotHave) {
  EXPECT_EQ(detectOr("\xE9\b\t\n\v\f\r\x1B[0m\x1A", "ISO-8859-1"), "ISO-8859-1");
  EXPECT_THROW_MESSAGE(detectOr("\xE9\x7F", "ISO-8859-1"), UndecodableText,
                       "In ISO-8859-1 the text would hold the control character \\u{7F}");
  EXPECT_THROW_MESSAGE(detectOr("\xC1\x01", "IBM037"), UndecodableText,
                       "In IBM037 the text would hold the control character \\u{1}");
}

TEST(NamedCharset, RefusesWordsOfUTF8) {
  EXPECT_THROW_MESSAGE(detectOr("d\u00E9j\u00E0 vu \xE9", "ISO-8859-1"), UndecodableText,
                       "Text is not valid UTF-8 at byte 10");
}

TEST(NamedCharset, LinesEndAsInASCIIWhereNoStateIsKept) {
  auto const endsLines = [](char const* charset) {
    return CharsetDecoder(charset, CharsetDecoder::Invalid::Throw).endsLinesAsASCII();
  };
  for (char const* const charset : {"Shift_JIS", "EUC-JP", "EUC-KR", "GB18030", "GBK", "Big5", "windows-949"})
    EXPECT_TRUE(endsLines(charset)) << charset;
  for (char const* const charset : {"ISO-2022-JP", "HZ", "UTF-7", "SCSU", "UTF-16LE", "ibm-930", "ibm-1388"})
    EXPECT_FALSE(endsLines(charset)) << charset;
}

}  // namespace
