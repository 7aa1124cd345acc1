// SPDX-License-Identifier: Apache-2.0
#include <cstdio>
#include <gmock/gmock.h>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

#include "opc/Strings.hpp"
#include "support/ScopedEnvironment.hpp"
#include "support/TestSupport.hpp"
#include "text/I18n.hpp"
#include "text/Iconv.hpp"
#include "text/TextSamples.hpp"

namespace {

using namespace i18n_test;
using namespace std::string_literals;
using opc::UndecodableText;
using zt_test::ScopedLocale;

std::string detect(std::string const& bytes) {
  std::ostringstream diagnostics;
  std::string const charset = fl::i18n::detect_charset(bytes.data(), bytes.size(), diagnostics, u"<unknown>");
  EXPECT_EQ(diagnostics.str(), "");
  return charset;
}

std::string toUtf8(std::string const& bytes, std::string const& charset) {
  using namespace fl::i18n;
  return ustring_to_utf8(codecvt_string_to_ustring(charset, true).do_convert(bytes.data(), bytes.size()));
}

/// A row of the table: what the text was written in, what it was taken for, and whether it came out right.
void expectRight(Sample const& sample, std::string const& charset, std::string const& text, char const* length) {
  std::string const bytes = encode(text, charset);
  std::string const detected = detect(bytes);
  bool const right = toUtf8(bytes, detected) == text;
  std::printf("%-22s %-13s %-6s %6zu bytes  %-13s %s\n", sample.language, charset.c_str(), length, bytes.size(),
              detected.c_str(), right ? "right" : "WRONG");
  EXPECT_TRUE(right) << sample.language << " in " << charset << ", " << length;
}

void expectRight(Sample const& sample, std::string const& charset) {
  expectRight(sample, charset, sample.text, "long");
  expectRight(sample, charset, sample.line, "short");
}

TEST(CharsetDetection, TellsTheOlderCharacterSets) {
  for (Sample const& sample : samples())
    for (char const* charset : sample.charsets) expectRight(sample, charset);
}

TEST(CharsetDetection, LettersThatBalticLanguagesShareAreNotTakenForTheirs) {
  struct Words {
    char const* text;
    char const* charset;
  };
  for (Words const& words :
       {Words{"Það er gott að fá sér kaffi á morgnana áður en þú ferð í vinnuna, sögðu þær og hlógu.\n", "ISO-8859-1"},
        Words{"Ærlig talt, så blæser det på øen, og fløjen står åben hele året.\n", "ISO-8859-1"},
        Words{"Gdje ćeš večeras? Doći ću u đurđevačku kuću čim završim, žao mi je.\n", "WINDOWS-1250"},
        Words{"Àpres la pluja, û è ë æ sont des lettres que le français connaît toutes.\n", "WINDOWS-1252"}})
    EXPECT_NE(detect(encode(words.text, words.charset)), "windows-1257") << words.text;
}

TEST(CharsetDetection, ApostrophesAndDashesOfOldMacsAreTold) {
  EXPECT_EQ(detect("{ \xA5 The window\xD5s contents are drawn }\n{ \xD2real\xD3: it can\xD5t, and won\xD5t }\n"),
            "macintosh");
  std::string const rule(60, '\xD1');
  EXPECT_EQ(detect("{" + rule + "}\n{ \xA5\xA5\xA5 the instance\xD5s class, which isn\xD5t one\xD5s own }\n"),
            "macintosh");
}

TEST(CharsetDetection, FewOddWordsDoNotOutweighTheOthers) {
  for (Sample const& sample : samples())
    for (std::string const charset : sample.charsets) {
      if (!charset.starts_with("KOI8") && charset != "WINDOWS-1251") continue;
      std::string const text = sample.text + "Допомога: ЯкЗробити, користувачаЯ.\n";
      EXPECT_EQ(toUtf8(encode(text, charset), detect(encode(text, charset))), text) << sample.language;
    }
}

TEST(CharsetDetection, BalticTextMayHoldAForeignName) {
  std::string const text =
      "Rytoj ryte važiuosime į Miuncheną (München) pas René, todėl pasiimkite šiltų drabužių ir šiek tiek duonos. "
      "Ant sienų kabėjo daugybė laikrodžių, ir nė vienas nerodė to paties laiko, kaip ir kiekvieną šeštadienį. "
      "Vaikai mėgdavo užsukti po pamokų ir žiūrėti, kaip jis krausto mažus krumpliaračius.\n";
  EXPECT_EQ(detect(encode(text, "WINDOWS-1257")), "windows-1257");
}

TEST(CharsetDetection, OddSignsBetweenLettersDoNotOutweighTheRestOfATextOfTheUser) {
  std::string const text = "Nous étions allés à la forêt : x²y, a§b, n°5, l´été, ½ heure, 2½h, 5µm, Straße, Foo®Bar.\n";
  for (std::string const charset : {"ISO-8859-1", "WINDOWS-1252"}) {
    ScopedLocale const locale("xx_XX." + charset);
    EXPECT_EQ(toUtf8(encode(text, charset), detect(encode(text, charset))), text);
  }
}

TEST(CharsetDetection, SignOfCurrencyIsTakenForTheEuro) {
  EXPECT_EQ(detect("d\xE9j\xE0 pay\xE9 : 12 \xA4, et trois caf\xE9s.\n"), "ISO-8859-15");
}

TEST(CharsetDetection, TellsUtf16AndUtf32WithoutAMark) {
  for (Sample const& sample : samples())
    for (char const* charset : {"UTF-16LE", "UTF-16BE", "UTF-32LE", "UTF-32BE"}) expectRight(sample, charset);
}

TEST(CharsetDetection, FewWordsMayHoldTooLittleButNeverPassForUtf8) {
  struct Words {
    char const* text;
    char const* charset;
  };
  for (Words const& words : {Words{"Gr\u00FC\u00DFe", "ISO-8859-1"}, Words{"\u4F60\u597D\uFF0C\u4E16\u754C", "GB2312"},
                             Words{"\u3053\u3093\u306B\u3061\u306F", "EUC-JP"}, Words{"\uC548\uB155", "EUC-KR"},
                             Words{"\u041F\u0440\u0438\u0432\u0435\u0442", "WINDOWS-1251"}}) {
    ScopedLocale const locale("C.UTF-8");
    std::string const bytes = encode(words.text, words.charset);
    std::string result = "refused";
    try {
      std::string const detected = detect(bytes);
      EXPECT_NE(detected, "UTF-8");
      result = detected + (toUtf8(bytes, detected) == words.text ? " right" : " wrong: too little evidence");
    } catch (UndecodableText const&) {
    }
    std::printf("%-22s %-13s %-6s %6zu bytes  %s\n", words.text, words.charset, "words", bytes.size(), result.c_str());
  }
}

TEST(CharsetDetection, MarkDecidesAndStays) {
  for (Sample const& sample : samples())
    for (std::string const charset : {"UTF-8", "UTF-16LE", "UTF-16BE", "UTF-32LE", "UTF-32BE"}) {
      std::string const text = "\uFEFF" + sample.line;
      std::string const bytes = encode(text, charset);
      EXPECT_EQ(detect(bytes), charset) << sample.language;
      EXPECT_EQ(toUtf8(bytes, charset), text);
    }
}

TEST(CharsetDetection, AsciiAndUtf8AndEmptyTextAreUtf8) {
  for (std::string const& text : {""s, "a"s, "plain\r\n"s, "\t\v\f\b\a"s, "caf\u00E9"s, "\u20AC"s, "\U0010FFFF"s})
    EXPECT_EQ(detect(text), "UTF-8");
  for (Sample const& sample : samples()) EXPECT_EQ(detect(sample.text), "UTF-8") << sample.language;
  EXPECT_EQ(fl::i18n::detect_charset(nullptr, 0, std::cout, u"x"), "UTF-8");
}

TEST(CharsetDetection, ControlsAndNulsDoNotMakeAsciiAnythingElse) {
  for (std::string const& text :
       {"\0"s, "\0\0"s, "\0\0\0\0"s, "one\0two\0three\0"s, "foo\0bar\0"s, "ab\0cd\0ef\0gh\0"s, "N\bNA\bAM\bME\bE\n"s,
        "a\x1F"
        "b\x1F"
        "c\x1F"
        "d\x1F"s,
        "1\t2\t3\t4\t"s, "\x1B[31mred\x1B[0m"s, "\x1B$ is no escape"s, "\x1B$B"s, "caf\u00E9\0th\u00E9\0"s})
    EXPECT_EQ(detect(text), "UTF-8") << testing::PrintToString(text);
}

TEST(CharsetDetection, WellFormedIsStrict) {
  ScopedLocale const locale("C.UTF-8");
  for (std::string const ill :
       {"\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\x80", "\xE2\x82", "\xFF"})
    EXPECT_THROW(detect("\u00E9\u00E8\u00EA\u00E0\u00F9\u00E7\u00E9\u00E8\u00EA\u00E0 " + ill), UndecodableText)
        << testing::PrintToString(ill);
}

TEST(CharsetDetection, DamagedUtf8IsNotTakenForAnythingElse) {
  for (char const* const locale : {"C.UTF-8", "xx_XX.ISO-8859-1"}) {
    ScopedLocale const scope(locale);
    std::string text = samples().front().text;
    text[text.size() - 2] = '\xFF';
    EXPECT_THROW_MESSAGE(detect(text), UndecodableText,
                         "Text is not valid UTF-8 at byte " + std::to_string(text.size() - 2));
  }
}

TEST(CharsetDetection, BrokenPromiseOfAMarkIsAnError) {
  ScopedLocale const locale("xx_XX.ISO-8859-1");
  EXPECT_THROW_MESSAGE(detect("\xEF\xBB\xBF\xE9"), UndecodableText, "Text is not valid UTF-8 at byte 3");
  EXPECT_THROW_MESSAGE(detect("\xFF\xFE\0\xD8z\0"s), UndecodableText, "Text is not valid UTF-16LE at byte 2");
  EXPECT_THROW_MESSAGE(detect("\xFE\xFF\0zz"s), UndecodableText, "Text is not valid UTF-16BE at byte 4");
}

TEST(CharsetDetection, MarkAloneIsText) {
  EXPECT_EQ(detect("\xFF\xFE"), "UTF-16LE");
  EXPECT_EQ(detect("\xFE\xFF"), "UTF-16BE");
  EXPECT_EQ(detect("\xFF\xFE\0\0"s), "UTF-32LE");
  EXPECT_EQ(detect("\xEF\xBB\xBF"), "UTF-8");
}

TEST(CharsetDetection, TextThatIsAsciiForLongIsToldByWhatIsNot) {
  std::string const code =
      "int main() { return 0; }  // nothing here but ASCII, as in most of what programmers write\n";
  std::string text;
  for (int i = 0; i < 1000; ++i) text += code;
  for (Sample const& sample : samples())
    for (char const* const charset : sample.charsets) {
      std::string const whole = text + sample.text;
      EXPECT_EQ(toUtf8(encode(whole, charset), detect(encode(whole, charset))), whole) << sample.language << charset;
    }
}

TEST(CharsetDetection, LongTextOfOneLineIsTold) {
  for (Sample const& sample : samples())
    for (char const* const charset : sample.charsets) {
      std::string text;
      for (int i = 0; i < 20; ++i) text += sample.text.substr(0, sample.text.find('\n')) + " ";
      EXPECT_EQ(toUtf8(encode(text, charset), detect(encode(text, charset))), text) << sample.language << charset;
    }
}

TEST(CharsetDetection, DamagedTextOfSeveralBytesACharacterIsRefused) {
  ScopedLocale const locale("C.UTF-8");
  std::map<std::string, std::string> const halves = {
      {"SHIFT_JIS", "\x81"}, {"EUC-JP", "\xA4"}, {"BIG5", "\xA4"}, {"EUC-KR", "\xB0"}};
  std::size_t refused = 0;
  for (Sample const& sample : samples())
    for (std::string const charset : sample.charsets) {
      if (!halves.contains(charset)) continue;
      EXPECT_THROW(detect(encode(sample.text, charset) + halves.at(charset)), UndecodableText) << charset;
      ++refused;
    }
  EXPECT_EQ(refused, halves.size());
}

TEST(CharsetDetection, BytesThatAreNoTextAreRefused) {
  ScopedLocale const locale("xx_XX.ISO-8859-1");
  std::string every;
  for (int byte = 0; byte < 256; ++byte) every += static_cast<char>(byte);
  EXPECT_THROW_MESSAGE(detect(every), UndecodableText, "Binary data, no text: a control character at byte 0");
  EXPECT_THROW(detect("caf\xE9\0 and NULs \0\0"s), UndecodableText);
}

TEST(CharsetDetection, UsersEncodingNeedsNoOtherEvidence) {
  ScopedLocale const locale("xx_XX.IBM850");
  EXPECT_EQ(detect("\x81"), "IBM850");
}

TEST(CharsetDetection, UsersEncodingIsNotTakenForWhatMakesNoSenseInIt) {
  ScopedLocale const locale("xx_XX.IBM850");
  std::string const text = samples().front().text;
  EXPECT_EQ(toUtf8(encode(text, "ISO-8859-1"), detect(encode(text, "ISO-8859-1"))), text);
}

TEST(CharsetDetection, WellFormedUtf8IsKeptInEveryLocale) {
  std::string const thanks = encode("\u8C22\u8C22", "GBK");  // two Cyrillic letters by chance
  ScopedLocale const locale("xx_XX.GBK");
  EXPECT_EQ(detect(thanks), "UTF-8");
  for (Sample const& sample : samples()) EXPECT_EQ(detect(sample.line), "UTF-8") << sample.language;
}

TEST(CharsetDetection, EveryTruncationIsDetectedOrRefused) {
  std::string const line =
      "\u660E\u65E5\u306E\u671D\u3001\u53CB\u3060\u3061\u3068\u4E00\u7DD2\u306B\u5C71\u3078\u884C\u304F\u3053\u3068"
      "\u306B\u3057\u307E\u3057\u305F\u3002\n";
  ScopedLocale const locale("C.UTF-8");
  for (std::string const charset : {"UTF-16LE", "SHIFT_JIS", "ISO-2022-JP", "EUC-JP"}) {
    std::string const bytes = encode(line, charset);
    for (std::size_t size = 0; size <= bytes.size(); ++size) try {
        std::string const charsetFound = detect(bytes.substr(0, size));
        EXPECT_NO_THROW(charsetFound == "UTF-8" ? bytes : toUtf8(bytes.substr(0, size), charsetFound));
      } catch (UndecodableText const&) {
      }
  }
}

}  // namespace
