// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <string_view>

#include "xml/XmlLimits.hpp"
#include "xml/XmlMarkupMeter.hpp"
#include "xml/XmlTestSupport.hpp"

using namespace opc::model;
using zt_test::streamFault;

namespace {

constexpr std::string_view kPadding = "                                ";  // so that the parser has begun

XmlLimits limits() {
  XmlLimits limits;
  limits.depth = 3;
  limits.attributeBytes = 8;
  limits.attributesOfElement = 2;
  limits.markupBytes = 40;
  limits.documentBytes = 200;
  return limits;
}

/// The fault of the document under these limits, the same at every step of reading.
std::string faultOf(std::string const& document) {
  XmlStreamReader reader(nullptr, limits());
  std::string const whole = streamFault(reader, document);
  for (std::size_t const step : {1UL, 2UL, 7UL}) {
    zt_test::StepInput input(document, step);
    zt_test::Recorder recorder;
    std::string fault;
    try {
      reader.read(input, recorder);
    } catch (InvalidXMLDocument const& e) {
      fault = e.what();
    }
    EXPECT_EQ(fault.substr(fault.find(": ") + 1), whole.substr(whole.find(": ") + 1)) << step << " " << document;
  }
  return whole;
}

std::string in(std::string const& inner) { return "<r>" + std::string(kPadding) + inner + "</r>"; }

}  // namespace

TEST(XmlLimits, BoundTheDepth) {
  EXPECT_EQ(faultOf("<a><b><c/><c></c></b><b><c/></b></a>"), "");
  EXPECT_EQ(faultOf("<a><b><c><d/></c></b></a>"), "line 1, column 14: Elements are nested more than 3 deep");
}

TEST(XmlLimits, BoundAttributeValues) {
  EXPECT_EQ(faultOf(in("<a b='12345678' c=\"1234'678\"/>")), "");
  EXPECT_EQ(faultOf(in("<a b='123456789'/>")), "line 1, column 51: An attribute is longer than 8 bytes");
  EXPECT_NE(faultOf(in("<a b='1234&amp;'/>")), "");
}

TEST(XmlLimits, BoundTheNumberOfAttributes) {
  EXPECT_EQ(faultOf(in("<a b='1' c='2'/><a b='1' c='2'/>")), "");
  EXPECT_EQ(faultOf(in("<a b='1' c='2' d='3'/>")), "line 1, column 53: An element has more than 2 attributes");
}

TEST(XmlLimits, BoundEachPieceOfMarkup) {
  std::string const most(33, 'x'), more(34, 'x');
  std::string const fault = "A tag, comment, processing instruction or CDATA section is longer than 40 bytes";
  EXPECT_EQ(faultOf(in("<!--" + most + "--><!--" + most + "-->")), "");
  for (std::string const& text : {"<!--" + more + "123-->", "<?p " + more + "123?>", "<![CDATA[" + more + "]]>",
                                  "<a" + more + "12345/>", "<a></a" + std::string(39, ' ') + ">"})
    EXPECT_NE(faultOf(in(text)).find(fault), std::string::npos) << text;
}

TEST(XmlLimits, DoNotTakeTextForMarkup) {
  std::string const text(100, 'x');
  EXPECT_EQ(faultOf(in("'" + text + "\"")), "");
  EXPECT_EQ(faultOf(in("<!-- ' -->" + text + "<!-- \" -->")), "");
  EXPECT_EQ(faultOf(in("<![CDATA[<a b=']]]>" + text + "<?p '?><a b='>'/>")), "");
}

TEST(XmlLimits, BoundTheDocument) {
  EXPECT_EQ(faultOf("<a>" + std::string(193, 'x') + "</a>"), "");
  EXPECT_EQ(faultOf("<a>" + std::string(194, 'x') + "</a>"),
            "line 1, column 201: The document is longer than 200 bytes");
}

TEST(XmlLimits, ComeAfterFaultsBeforeThem) {
  EXPECT_EQ(faultOf("<a></b><c d='123456789'/>"), "line 1, column 6: expected end of tag 'a'");
}

TEST(XmlLimits, AreTheSameInUtf16) {
  XmlStreamReader reader(nullptr, limits());
  auto const fault = [&](std::string const& text) {
    return streamFault(reader, "\xFF\xFE" + zt_test::utf16(text, false));
  };
  EXPECT_EQ(fault("<r><a b='1234' c='>'/></r>"), "");
  EXPECT_EQ(fault("<r>0123456<a b='12345'/></r>"), "line 1, column 21: An attribute is longer than 8 bytes");
  EXPECT_EQ(fault("<r>0123456<a b='1' c='1' d='1'/></r>"), "line 1, column 28: An element has more than 2 attributes");
}

TEST(XmlLimits, StopReadingAtOnce) {
  for (std::string const start : {"<a b='", "<a ", "<!--", "<?p ", "<r><![CDATA[", "<a"}) {
    XmlLimits limits;
    limits.markupBytes = 2'000'000;
    XmlStreamReader reader(nullptr, limits);
    zt_test::EndlessInput input(start, "xxxxxxxxxxxxxxxx");
    zt_test::Recorder recorder;
    EXPECT_THROW(reader.read(input, recorder), InvalidXMLDocument) << start;
    EXPECT_LT(input.taken(), 2'200'000U) << start;
  }
}

TEST(XmlLimits, BoundEndlessText) {
  XmlLimits limits;
  limits.documentBytes = 1'000'000;
  XmlStreamReader reader(nullptr, limits);
  zt_test::EndlessInput input("<a>", "text ");
  zt_test::Recorder recorder;
  EXPECT_THROW(reader.read(input, recorder), InvalidXMLDocument);
  EXPECT_LT(input.taken(), 1'200'000U);
}

TEST(XmlLimits, BoundTheDocumentOfWhichATreeIsMade) {
  XercesGuard const guard;
  zt_test::Parser const parser(XercesHelper::createParser());
  std::string const whole = "<r>" + std::string(kXmlDomDocumentBytes - 7, ' ') + "</r>";
  EXPECT_EQ(zt_test::domFault(parser.get(), whole, false), "");
  std::string const fault = zt_test::domFault(parser.get(), whole + "\n", false);
  EXPECT_NE(fault.find("The document is longer than 16777216 bytes"), std::string::npos) << fault;
}

TEST(XmlMarkupMeter, RecognisesEncodings) {
  XmlMarkupMeter meter{XmlLimits()};
  auto const recognised = [&](std::string const& bytes) {
    meter.begin(reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size());
    return meter.encoding();
  };
  for (std::string const bytes : {"", "<", "<a/>", "\xEF\xBB\xBF<", "junk"})
    EXPECT_EQ(recognised(bytes), XmlEncoding::Utf8) << bytes;
  for (std::string const& bytes :
       {std::string("\xFE\xFF"), std::string("\xFF\xFE<\0", 4), std::string("\0<\0a", 4), std::string("<\0a\0", 4)})
    EXPECT_EQ(recognised(bytes), XmlEncoding::Utf16) << bytes;
  for (std::string const& bytes : {std::string("\0\0\xFE\xFF", 4), std::string("\xFF\xFE\0\0", 4),
                                   std::string("\0\0\0<", 4), std::string("<\0\0\0", 4)})
    EXPECT_EQ(recognised(bytes), XmlEncoding::Other) << bytes;
}
