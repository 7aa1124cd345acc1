// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gmock/gmock.h>
#include <memory>
#include <string>
#include <utility>

#include "opc/Strings.hpp"
#include "opc/ztservices/ContentSources.hpp"
#include "samples/BytesSource.hpp"
#include "services/content/TransformSamples.hpp"
#include "support/ScopedEnvironment.hpp"
#include "support/TestSupport.hpp"

namespace opc::ztservices {
namespace {

using namespace content_test;
using namespace std::string_literals;
using testing::HasSubstr;
using zt_test::readAll;
using zt_test::ScopedLocale;

constexpr std::size_t kHeld = std::size_t{8} << 20;  // bytes of a text that are held in memory

// As ISO-8859-1, and the same as UTF-8.
std::string const kFrench = "O\xF9 \xEAtes-vous all\xE9s cet \xE9t\xE9 ? Nous \xE9tions \xE0 la montagne.\n";
std::string const kFrenchUTF8 =
    "O\u00F9 \u00EAtes-vous all\u00E9s cet \u00E9t\u00E9 ? Nous \u00E9tions \u00E0 la montagne.\n";

TextContentSource textOver(std::string const& text, std::string const& charset = {}) {
  return TextContentSource(std::make_unique<samples::BytesSource>(text, ContentType(u"text/plain")), charset);
}

/// What becomes of a text.
struct Stored {
  std::string charset, reason, type, text;
};

Stored stored(std::string const& text, std::string const& charset = {}, std::size_t step = 65'536) {
  TextContentSource source = textOver(text, charset);
  TextFinding const finding = source.getFinding();
  return {finding.charset, finding.reason, toUTF8String(source.getContentType().toString()),
          readAll(source.getInputStream(), step)};
}

std::string repeated(std::string const& line, std::size_t size) {
  std::string text;
  while (text.size() < size) text += line;
  return text;
}

void expectKept(std::string const& text, std::string const& reason, std::string const& charset = {}) {
  Stored const found = stored(text, charset);
  EXPECT_EQ(found.charset, "");
  EXPECT_THAT(found.reason, HasSubstr(reason));
  EXPECT_EQ(found.type, "text/plain");
  EXPECT_TRUE(found.text == text) << "of " << text.size() << " bytes came " << found.text.size();
}

void expectConverted(std::string const& text, std::string const& utf8, std::string const& charset,
                     std::string const& named = {}) {
  Stored const found = stored(text, named);
  EXPECT_EQ(found.charset, charset) << found.reason;
  EXPECT_EQ(found.reason, "");
  EXPECT_EQ(found.type, "text/plain;charset=utf-8");
  EXPECT_TRUE(found.text == utf8) << "for " << utf8.size() << " bytes came " << found.text.size();
}

class TextContentSourceTest : public testing::Test {
 private:
  ScopedLocale const locale_{"C.UTF-8"};
};

TEST_F(TextContentSourceTest, EvidentTextBecomesUTF8) { expectConverted(kFrench, kFrenchUTF8, "ISO-8859-1"); }

TEST_F(TextContentSourceTest, UTF8StaysByteForByte) {
  for (std::string const& text : {""s, "plain ASCII\r\n"s, kFrenchUTF8, "\uFEFFwith a mark"s})
    expectConverted(text, text, "UTF-8");
}

TEST_F(TextContentSourceTest, UnknownTextStaysByteForByteAndUnmarked) {
  expectKept("\xEF\xBB\xBF then \xFF", "Text is not valid UTF-8 at byte 9");
  expectKept("a\x01\xE9", "Binary data, no text: a control character at byte 1");
  expectKept("\xE9", "The character set of the text is unknown");
}

TEST_F(TextContentSourceTest, DeliversTheSameInReadsOfAnySize) {
  for (std::size_t const step : kSteps) {
    EXPECT_EQ(stored(kFrench, {}, step).text, kFrenchUTF8);
    EXPECT_EQ(stored("\xE9", {}, step).text, "\xE9");
  }
}

TEST_F(TextContentSourceTest, NamedCharsetNeedsNoEvidence) {
  expectConverted("\xE9", "\u00E9", "ISO-8859-1", "ISO-8859-1");
  expectConverted("\xE9", "\u0418", "KOI8-R", "KOI8-R");
  expectConverted("\xC8\x85\x93\x93\x96", "Hello", "IBM037", "IBM037");
}

TEST_F(TextContentSourceTest, NamedCharsetDoesNotConcernUnicode) {
  expectConverted(kFrenchUTF8, kFrenchUTF8, "UTF-8", "ISO-8859-1");
  expectConverted("\xFF\xFEz\0\xE9\0"s, "\uFEFFz\u00E9", "UTF-16LE", "ISO-8859-1");
}

TEST_F(TextContentSourceTest, TextThatIsNotInTheNamedCharsetStays) {
  expectKept("\xFF\xFF", "Text is not valid US-ASCII at byte 0", "US-ASCII");
  expectKept("it\x92s", "In ISO-8859-1 the text would hold the control character \\u{92}", "ISO-8859-1");
  expectKept("\x01\xE9", "In ISO-8859-1 the text would hold the control character \\u{1}", "ISO-8859-1");
  expectKept(kFrenchUTF8 + "cet \xC3", "Text is not valid UTF-8 at byte", "ISO-8859-1");
  expectKept(kFrenchUTF8 + kFrench, "Text is not valid UTF-8 at byte", "ISO-8859-1");
}

TEST_F(TextContentSourceTest, RefusesANameThatIsNotKnown) {
  EXPECT_THROW_MESSAGE(textOver("", "no-such-set"), UndecodableText, "Unknown character set: no-such-set");
  EXPECT_THROW_MESSAGE(TextContentSource(nullptr), Exception, "There is no content source to read text from");
}

TEST_F(TextContentSourceTest, KnowsTheNamesOfCharsets) {
  for (char const* const name : {"ISO-8859-1", "latin1", "Windows-1252", "cp850", "sjis", "UTF-8", "IBM037"})
    EXPECT_TRUE(TextContentSource::isKnownCharset(name)) << name;
  for (char const* const name : {"", "no-such-set", "latin1,swaplfnl", ",", "\xFF"})
    EXPECT_FALSE(TextContentSource::isKnownCharset(name)) << name;
}

TEST_F(TextContentSourceTest, ReadsAShortTextOnce) {
  Journal journal;
  TextContentSource source(std::make_unique<ProbeSource>(kFrench, &journal));
  source.getFinding();
  source.getContentType();
  EXPECT_EQ(readAll(source.getInputStream(), 10), kFrenchUTF8);
  EXPECT_EQ(journal.resets, 0);
  EXPECT_EQ(journal.reads.size(), 1U);
}

TEST_F(TextContentSourceTest, ReadsALongTextTwiceInPieces) {
  Journal journal;
  std::string const text = repeated(kFrenchUTF8, kHeld + 1);
  TextContentSource source(std::make_unique<ProbeSource>(text, &journal));
  EXPECT_TRUE(readAll(source.getInputStream(), 65'536) == text);
  EXPECT_EQ(journal.resets, 1);
  for (std::size_t const count : journal.reads) EXPECT_LE(count, kHeld);
}

TEST_F(TextContentSourceTest, FailureOfTheSourceComesThroughAtEachOfItsReads) {
  for (std::size_t failAt = 1; failAt <= 3; ++failAt) {
    TextContentSource source(std::make_unique<ProbeSource>(std::string(20'000, 'x'), nullptr, failAt));
    EXPECT_THROW(source.getFinding(), ProbeFailure) << failAt;
  }
}

TEST_F(TextContentSourceTest, LongTextOfTheHeldSizeAndMoreIsConverted) {
  for (std::size_t const size : {kHeld, kHeld + 1}) {
    std::string const latin1 = repeated(kFrench, size),
                      utf8 = repeated(kFrenchUTF8, size / kFrench.size() * kFrenchUTF8.size() + 1);
    expectConverted(latin1, utf8, "ISO-8859-1");
  }
}

TEST_F(TextContentSourceTest, LongUTF8MayBeCutWithinEachCharacter) {
  for (std::size_t before = 1; before <= 4; ++before) {
    std::string const text = std::string(kHeld - before, 'x') + "\U0001F4E6 \u20AC\u00E9" + std::string(100, 'y');
    expectConverted(text, text, "UTF-8");
  }
}

TEST_F(TextContentSourceTest, LongUTF16MayBeCutWithinAPair) {
  std::string const pair = "\x3D\xD8\xE6\xDC"s;  // U+1F4E6
  for (std::string const& start : {"\xFF\xFE"s, "\xFF\xFEz\0"s})
    expectConverted(start + repeated(pair, kHeld),
                    "\uFEFF" + std::string(start.size() == 4 ? "z" : "") + repeated("\U0001F4E6", kHeld / 4 * 4),
                    "UTF-16LE");
}

TEST_F(TextContentSourceTest, LongTextMayBeInANamedUTF16) {
  std::string const pair = "\x3D\xD8\xE6\xDC"s;
  expectConverted("z\0"s + repeated(pair, kHeld), "z" + repeated("\U0001F4E6", kHeld), "utf-16le", "utf-16le");
}

TEST_F(TextContentSourceTest, LongTextOfSingleBytesNeedsNoLineEnds) {
  expectConverted(std::string(kHeld + 1, '\xE9'), repeated("\u00E9", 2 * kHeld + 1), "ISO-8859-1", "ISO-8859-1");
}

TEST_F(TextContentSourceTest, LongTextOfSeveralBytesIsCutAtLineEnds) {
  std::string const line = "\x82\xA0\x82\xA2\x82\xA4 abc\n";  // in Shift_JIS
  std::string const utf8 = "\u3042\u3044\u3046 abc\n";
  std::string const text = repeated(line, kHeld + 1);
  expectConverted(text, repeated(utf8, text.size() / line.size() * utf8.size()), "Shift_JIS", "Shift_JIS");
}

TEST_F(TextContentSourceTest, LongTextMayBeginWithPlainASCII) {
  std::string const plain = repeated("plain ASCII\n", kHeld + 1);
  expectConverted(plain + kFrench, plain + kFrenchUTF8, "ISO-8859-1");
  expectConverted(plain + kFrenchUTF8, plain + kFrenchUTF8, "UTF-8");
  expectKept(plain + "\xE9", "The character set of the text is unknown");
  std::string const even = repeated("plain ASCII\n", kHeld).substr(0, kHeld);
  expectKept(even + "w\0i\0d\0e\0 \0t\0e\0x\0t\0"s, "The text is in US-ASCII and in UTF-16LE, from byte 8388608 on");
  expectKept(even + "\x1B$B$\"$$\x1B(B abc\n", "The text is longer than 8 MiB and in ISO-2022-JP");
}

TEST_F(TextContentSourceTest, LongTextThatIsDamagedBehindTheFirstPieceStays) {
  std::string const utf8 = repeated(kFrenchUTF8, kHeld + 1);
  expectKept(utf8 + "\xFF", "Text is not valid UTF-8 at byte ");
  expectKept(repeated(kFrench, kHeld + 1) + "NUL \0"s, "the text would hold the control character \\u{0}");
  expectKept(repeated(kFrench, kHeld + 1) + kFrenchUTF8, "from byte 8388");
}

TEST_F(TextContentSourceTest, LongTextThatCannotBeCutStays) {
  expectKept(std::string(kHeld, '\xE9') + kFrench, "The text is longer than 8 MiB and has longer lines");
  expectKept("\xFF" + repeated("abc\n", kHeld), "The text is longer than 8 MiB and in UTF16_BigEndian",
             "UTF16_BigEndian");
  expectKept(repeated("\x1B$B$\"$$\x1B(B abc\n", kHeld + 1), "The text is longer than 8 MiB and in ISO-2022-JP");
}

}  // namespace
}  // namespace opc::ztservices
