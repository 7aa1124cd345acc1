// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "opc/model/InvalidState.hpp"
#include "opc/model/XmlExceptions.hpp"
#include "support/TestSupport.hpp"
#include "xml/XmlTextWriter.hpp"

using namespace opc::model;

namespace {

std::string const kDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>\n";

/// What is written, without the declaration.
std::string written(std::function<void(XmlTextWriter&)> const& work) {
  std::vector<unsigned char> bytes;
  opc::ByteArrayOutAdaptor output(bytes);
  XmlTextWriter writer(output);
  work(writer);
  writer.finish();
  std::string const text = zt_test::textOf(bytes);
  EXPECT_EQ(text.substr(0, kDeclaration.size()), kDeclaration);
  return text.substr(kDeclaration.size());
}

std::string attributeAs(std::u16string_view value) {
  return written([&](XmlTextWriter& writer) {
    writer.startRoot(u"", u"r");
    writer.attribute(u"a", value);
    writer.endElement();
  });
}

std::string textAs(std::u16string_view text) {
  return written([&](XmlTextWriter& writer) {
    writer.startRoot(u"", u"r");
    writer.text(text);
    writer.endElement();
  });
}

class XmlTextWriterTest : public testing::Test {
 protected:
  std::vector<unsigned char> bytes_;
  opc::ByteArrayOutAdaptor output_{bytes_};
  XmlTextWriter writer_{output_};
};

std::string const kBroken = "The XML document was broken off before";
std::string const kDisorder = "The XML document is not written in order";

}  // namespace

TEST(XmlTextWriter, PrintsAnEmptyRoot) {
  EXPECT_EQ(written([](XmlTextWriter& writer) {
              writer.startRoot(u"urn:x", u"root");
              writer.endElement();
            }),
            "<root xmlns=\"urn:x\"/>\n");
}

TEST(XmlTextWriter, IndentsElementsAndSetsOffThoseOfTheRoot) {
  EXPECT_EQ(
      written([](XmlTextWriter& writer) {
        writer.startRoot(u"urn:x", u"root");
        for (int i = 0; i < 2; ++i) {
          writer.startElement(u"a");
          writer.startElement(u"b");
          writer.text(u"x");
          writer.endElement();
          writer.startElement(u"c");
          writer.endElement();
          writer.endElement();
        }
        writer.endElement();
      }),
      "<root xmlns=\"urn:x\">\n\n  <a>\n    <b>x</b>\n    <c/>\n  </a>\n\n  <a>\n    <b>x</b>\n    <c/>\n  </a>\n\n"
      "</root>\n");
}

TEST(XmlTextWriter, SortsAttributesBehindTheNamespace) {
  EXPECT_EQ(written([](XmlTextWriter& writer) {
              writer.startRoot(u"urn:x", u"root");
              for (char16_t const* name : {u"m", u"a", u"z", u"Z", u"b"}) writer.attribute(name, name);
              writer.endElement();
            }),
            "<root xmlns=\"urn:x\" Z=\"Z\" a=\"a\" b=\"b\" m=\"m\" z=\"z\"/>\n");
}

TEST(XmlTextWriter, TakesTheLaterValueOfAnAttribute) {
  EXPECT_EQ(written([](XmlTextWriter& writer) {
              writer.startRoot(u"", u"r");
              writer.attribute(u"b", u"1");
              writer.attribute(u"a", u"2");
              writer.attribute(u"b", u"longer");
              writer.endElement();
            }),
            "<r a=\"2\" b=\"longer\"/>\n");
}

TEST(XmlTextWriter, KeepsTheAttributesOfElementsApart) {
  EXPECT_EQ(written([](XmlTextWriter& writer) {
              writer.startRoot(u"", u"r");
              for (char16_t const* name : {u"b", u"a"}) {
                writer.startElement(u"e");
                writer.attribute(name, u"");
                writer.endElement();
              }
              writer.endElement();
            }),
            "<r>\n\n  <e b=\"\"/>\n\n  <e a=\"\"/>\n\n</r>\n");
}

TEST(XmlTextWriter, EscapesAttributeValues) {
  EXPECT_EQ(attributeAs(u"&<>\"'\t\n\r "), "<r a=\"&amp;&lt;>&quot;'&#x9;&#xA;&#xD; \"/>\n");
}

TEST(XmlTextWriter, EscapesText) { EXPECT_EQ(textAs(u"&<>\"'\t\n\r "), "<r>&amp;&lt;&gt;\"'\t\n&#xD; </r>\n"); }

TEST(XmlTextWriter, WritesUtf8OfEveryLength) {
  std::string const bytes =
      "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBD\xF0\x90\x80\x80\xF4\x8F\xBF\xBF";
  std::u16string const text = u"\u007f\u0080\u07ff\u0800\ud7ff\ue000\ufffd\U00010000\U0010ffff";
  EXPECT_EQ(textAs(text), "<r>" + bytes + "</r>\n");
  EXPECT_EQ(attributeAs(text), "<r a=\"" + bytes + "\"/>\n");
}

TEST(XmlTextWriter, TellsEmptyTextFromNone) { EXPECT_EQ(textAs(u""), "<r></r>\n"); }

TEST(XmlTextWriter, WritesLongTextsWhole) {
  for (std::size_t const before : {0UL, 1UL, 8191UL, 8192UL, 65535UL, 65536UL, 200'000UL}) {
    std::string const expected = "<r>" + std::string(before, 'x') + "\xF0\x9F\x98\x80yy</r>\n";
    EXPECT_EQ(textAs(std::u16string(before, u'x') + u"\U0001F600yy"), expected);
  }
  EXPECT_EQ(attributeAs(std::u16string(200'000, u'&')).size(), 5 * 200'000U + 10);
}

TEST(XmlTextWriter, NamesTheCharacterThatXmlCannotCarry) {
  std::pair<std::u16string, std::string> const cases[] = {{std::u16string(u"a\0", 2), "U+0000"},
                                                          {u"a\x0001", "U+0001"},
                                                          {u"\x000B", "U+000B"},
                                                          {u"\x001F", "U+001F"},
                                                          {u"\xD800", "U+D800"},
                                                          {u"\xD800x", "U+D800"},
                                                          {u"\xDC00", "U+DC00"},
                                                          {u"\xDBFF\xD800", "U+DBFF"},
                                                          {u"\xFFFE", "U+FFFE"},
                                                          {u"\xFFFF", "U+FFFF"}};
  for (auto const& [text, name] : cases) {
    EXPECT_THROW_MESSAGE(textAs(text), InvalidXMLDocument,
                         "The character " + name + " cannot stand in an XML document");
    EXPECT_THROW_MESSAGE(attributeAs(text), InvalidXMLDocument,
                         "The character " + name + " cannot stand in an XML document");
  }
}

TEST_F(XmlTextWriterTest, CannotGoOnAfterACharacterWasRefused) {
  writer_.startRoot(u"", u"r");
  EXPECT_THROW(writer_.text(u"\xFFFF"), InvalidXMLDocument);
  EXPECT_THROW_MESSAGE(writer_.endElement(), InvalidState, kBroken);
  EXPECT_THROW_MESSAGE(writer_.finish(), InvalidState, kBroken);
  EXPECT_TRUE(bytes_.empty());
}

TEST_F(XmlTextWriterTest, WantsARootFirst) {
  EXPECT_THROW_MESSAGE(writer_.startElement(u"a"), InvalidState, kDisorder);
}

TEST_F(XmlTextWriterTest, WantsARootAtAll) { EXPECT_THROW_MESSAGE(writer_.finish(), InvalidState, kDisorder); }

TEST_F(XmlTextWriterTest, WantsOneRootOnly) {
  writer_.startRoot(u"", u"r");
  writer_.endElement();
  EXPECT_THROW_MESSAGE(writer_.startRoot(u"", u"r"), InvalidState, kDisorder);
}

TEST_F(XmlTextWriterTest, WantsNothingBehindTheRoot) {
  writer_.startRoot(u"", u"r");
  writer_.endElement();
  EXPECT_THROW_MESSAGE(writer_.text(u"x"), InvalidState, kDisorder);
}

TEST_F(XmlTextWriterTest, WantsAttributesBeforeContent) {
  writer_.startRoot(u"", u"r");
  writer_.text(u"x");
  EXPECT_THROW_MESSAGE(writer_.attribute(u"a", u""), InvalidState, kDisorder);
}

TEST_F(XmlTextWriterTest, WantsAllElementsEnded) {
  writer_.startRoot(u"", u"r");
  EXPECT_THROW_MESSAGE(writer_.finish(), InvalidState, kDisorder);
}

TEST_F(XmlTextWriterTest, WantsNoMoreEndsThanStarts) {
  writer_.startRoot(u"", u"r");
  writer_.endElement();
  EXPECT_THROW_MESSAGE(writer_.endElement(), InvalidState, kDisorder);
}

TEST_F(XmlTextWriterTest, FinishesOnce) {
  writer_.startRoot(u"", u"r");
  writer_.endElement();
  writer_.finish();
  EXPECT_THROW_MESSAGE(writer_.finish(), InvalidState, kDisorder);
  EXPECT_EQ(zt_test::textOf(bytes_), kDeclaration + "<r/>\n");
}

TEST_F(XmlTextWriterTest, HandsOverNothingUnlessItIsFinished) {
  {
    XmlTextWriter writer(output_);
    writer.startRoot(u"", u"r");
  }
  EXPECT_TRUE(bytes_.empty());
}

TEST(XmlTextWriter, PassesOnEveryFailureOfTheOutputAndStaysBroken) {
  for (std::size_t failAt = 1; failAt <= 4; ++failAt) {
    zt_test::FailingOutput output(failAt);
    XmlTextWriter writer(output);
    auto const write = [&] {
      writer.startRoot(u"", u"r");
      for (int i = 0; i < 20'000; ++i) {
        writer.startElement(u"entry");
        writer.endElement();
      }
      writer.endElement();
      writer.finish();
    };
    EXPECT_THROW_MESSAGE(write(), opc::StreamError, "write " + std::to_string(failAt) + " fails");
    EXPECT_THROW_MESSAGE(writer.finish(), InvalidState, kBroken);
  }
}

TEST(XmlTextWriter, WritesInPiecesOfAboutItsBuffer) {
  class Counting final : public opc::OutputStream {
   public:
    void write(void const*, std::size_t count) override { largest = std::max(largest, count); }
    void close() override {}
    std::size_t largest = 0;
  } output;
  XmlTextWriter writer(output);
  writer.startRoot(u"", u"r");
  writer.text(std::u16string(1'000'000, u'&'));
  writer.endElement();
  writer.finish();
  EXPECT_GE(output.largest, 65'536U);
  EXPECT_LE(output.largest, 131'072U);
}
