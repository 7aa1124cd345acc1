// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gmock/gmock.h>
#include <memory>
#include <string>

#include "opc/Strings.hpp"
#include "opc/ztservices/ContentTypes.hpp"
#include "samples/BytesSource.hpp"
#include "services/content/TransformSamples.hpp"
#include "support/ScopedEnvironment.hpp"
#include "support/TestSupport.hpp"

namespace opc::ztservices {
namespace {

using namespace content_test;
using namespace std::string_literals;
using zt_test::readAll;
using zt_test::ScopedLocale;

// As ISO-8859-1, and the same as UTF-8.
std::string const kLatin1 = "O\xF9 \xEAtes-vous all\xE9s cet \xE9t\xE9 ? Nous \xE9tions \xE0 la montagne.\n";
std::string const kUTF8 =
    "O\u00F9 \u00EAtes-vous all\u00E9s cet \u00E9t\u00E9 ? Nous \u00E9tions \u00E0 la montagne.\n";

UDEToUTF8Transform over(std::string const& text, char16_t const* type = u"text/plain") {
  return UDEToUTF8Transform(std::make_unique<samples::BytesSource>(text, ContentType(type)));
}

std::string transformed(std::string const& text, std::size_t step = 4096) {
  UDEToUTF8Transform transform = over(text);
  return readAll(transform.getInputStream(), step);
}

std::u16string typeFor(char16_t const* type) { return over("", type).getContentType().toString(); }

TEST(UDEToUTF8Transform, NeedsTheWholeStream) { EXPECT_TRUE(over("").mustTransformEntireStream()); }

TEST(UDEToUTF8Transform, PlainTextGainsTheParameterCharset) {
  EXPECT_EQ(typeFor(u"text/plain"), u"text/plain;charset=utf-8");
  EXPECT_EQ(typeFor(u"TEXT/Plain"), u"TEXT/Plain;charset=utf-8");
}

TEST(UDEToUTF8Transform, AnyOtherTypeGainsTheParameterEncoding) {
  EXPECT_EQ(typeFor(u"application/xml"), u"application/xml;encoding=utf-8");
  EXPECT_EQ(typeFor(u"text/html"), u"text/html;encoding=utf-8");
}

TEST(UDEToUTF8Transform, PlainTextWithParametersIsAnotherType) {
  EXPECT_EQ(typeFor(u"text/plain;format=flowed"), u"text/plain;format=flowed;encoding=utf-8");
  EXPECT_EQ(typeFor(u"text/plain;charset=latin1"), u"text/plain;charset=latin1;encoding=utf-8");
}

TEST(UDEToUTF8Transform, ParameterOfThatNameIsReplaced) {
  EXPECT_EQ(typeFor(u"application/xml;encoding=x"), u"application/xml;encoding=utf-8");
}

TEST(UDEToUTF8Transform, TransformingATypeIgnoresWhatTheOutputHeld) {
  UDEToUTF8Transform transform = over("");
  ContentType out(u"image/png;a=b");
  EXPECT_TRUE(transform.transformContentType(ContentType(u"text/plain"), out));
  EXPECT_EQ(out.toString(), u"text/plain;charset=utf-8");
}

TEST(UDEToUTF8Transform, EmptyTextStaysEmptyAndIsMarked) {
  EXPECT_EQ(transformed(""), "");
  UDEToUTF8Transform transform = over("");
  EXPECT_TRUE(transform.getInputStream().isEnd());
  EXPECT_EQ(transform.getContentType().toString(), u"text/plain;charset=utf-8");
}

TEST(UDEToUTF8Transform, UTF8PassesByteForByte) {
  for (std::string const& text : {"plain ASCII\r\n"s, kUTF8, "\uFEFFwith a mark"s, "a"s, "\u20AC"s, "\U0001F4E6"s,
                                  "NUL\0 within"s, "\x1B[31mred\x1B[0m"s})
    EXPECT_EQ(transformed(text), text);
}

TEST(UDEToUTF8Transform, OtherTextBecomesUTF8InReadsOfAnySize) {
  for (std::size_t const step : kSteps) EXPECT_EQ(transformed(kLatin1, step), kUTF8);
}

TEST(UDEToUTF8Transform, MarkOfUTF16StaysAMark) {
  EXPECT_EQ(transformed("\xFF\xFEz\0\xE9\0"s), "\uFEFFz\u00E9");
  EXPECT_EQ(transformed("\xFE\xFF\0z\0\xE9"s), "\uFEFFz\u00E9");
}

TEST(UDEToUTF8Transform, LongTextIsConvertedToItsEnd) {
  std::string latin1, utf8;
  for (int i = 0; i < 5000; ++i) latin1 += kLatin1, utf8 += kUTF8;
  EXPECT_EQ(transformed(latin1), utf8);
}

TEST(UDEToUTF8Transform, ReplacesWhatTheOutputHeld) {
  UDEToUTF8Transform transform = over("");
  for (std::string const& text : {kLatin1, kUTF8}) {
    Bytes out(1000, 'x');
    EXPECT_TRUE(transform.transformData(zt_test::bytesOf(text), out));
    EXPECT_EQ(zt_test::textOf(out), kUTF8);
  }
}

TEST(UDEToUTF8Transform, UndecodableTextThrowsAndLeavesItWithoutATransformer) {
  ScopedLocale const locale("C.UTF-8");
  UDEToUTF8Transform transform = over("\xEF\xBB\xBF then \xFF");
  EXPECT_THROW_MESSAGE(transform.getInputStream(), UndecodableText, "Text is not valid UTF-8 at byte 9");
  EXPECT_TRUE(transform.getInputStream().isEnd()) << "the second call finds the source read";
}

TEST(UDEToUTF8Transform, FailureOfTheSourceComesThroughAtEachOfItsReads) {
  std::string const text(3 * 65'536, 'x');
  for (std::size_t failAt = 1; failAt <= 3; ++failAt) {
    UDEToUTF8Transform transform(std::make_unique<ProbeSource>(text, nullptr, failAt));
    EXPECT_THROW(transform.getInputStream(), ProbeFailure) << failAt;
  }
}

TEST(UDEToUTF8Transform, TakesTheUsersEncodingAndPrintsNothing) {
  ScopedLocale const locale("xx_XX.IBM850");
  testing::internal::CaptureStdout();
  std::string const text = transformed("\x81");
  std::string const said = testing::internal::GetCapturedStdout();
  EXPECT_EQ(text, "\u00FC");
  EXPECT_EQ(said, "") << "standard output may be a document that a program reads";
}

}  // namespace
}  // namespace opc::ztservices
