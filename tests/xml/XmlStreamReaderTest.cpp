// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "opc/model/Exceptions.hpp"
#include "xml/XmlStreamReader.hpp"
#include "xml/XmlTestSupport.hpp"

using namespace opc::model;
using zt_test::listOf;
using zt_test::OnStart;
using zt_test::Recorder;
using zt_test::stream;
using zt_test::streamFault;

namespace {

std::shared_ptr<XmlGrammars const> listGrammars() { return loadXmlGrammars({{"list.xsd", zt_test::kListSchema}}); }

/// Reads with a handler that throws at the first entry.
void readThrowing(XmlStreamReader& reader, std::string const& document) {
  std::vector<unsigned char> const bytes = zt_test::bytesOf(document);
  opc::ByteArrayInAdaptor input(bytes);
  OnStart handler([](std::u16string_view name, XmlAttributes const&) {
    if (name == u"entry") throw InvalidPartContent("no such entry");
  });
  reader.read(input, handler);
}

}  // namespace

TEST(XmlStreamReader, TellsElementsAttributesAndTextInOrder) {
  XmlStreamReader reader;
  EXPECT_EQ(stream(reader, "<?xml version=\"1.0\"?><!-- c --><a b='1' a='&lt;&#x41;'>x<?pi y?><c/></a>"),
            "<{}a b=1 a=<A\nx\n<{}c\n>{}c\n>{}a\n");
}

TEST(XmlStreamReader, ResolvesNamespacesAndKeepsDeclarationsToItself) {
  XmlStreamReader reader;
  EXPECT_EQ(stream(reader, "<p:a xmlns:p='urn:p' xmlns='urn:d' p:x='1' x='2'><b xmlns=''/></p:a>"),
            "<{urn:p}a {urn:p}x=1 x=2\n<{}b\n>{}b\n>{urn:p}a\n");
}

TEST(XmlStreamReader, FindsAttributesInNoNamespace) {
  std::optional<std::u16string> mine, none;
  OnStart handler([&](std::u16string_view, XmlAttributes const& attributes) {
    if (auto const found = attributes.find(u"x")) mine = *found;
    if (auto const found = attributes.find(u"y")) none = *found;
  });
  std::vector<unsigned char> const bytes = zt_test::bytesOf("<a xmlns:p='urn:p' p:y='3' p:x='1' x='2'/>");
  opc::ByteArrayInAdaptor input(bytes);
  XmlStreamReader().read(input, handler);
  EXPECT_EQ(mine, u"2");
  EXPECT_EQ(none, std::nullopt);
}

TEST(XmlStreamReader, RefusesAnAttributeThatIsNotThere) {
  OnStart handler([](std::u16string_view, XmlAttributes const& attributes) { attributes.value(1); });
  std::vector<unsigned char> const bytes = zt_test::bytesOf("<a b=''/>");
  opc::ByteArrayInAdaptor input(bytes);
  EXPECT_THROW(XmlStreamReader().read(input, handler), std::out_of_range);
}

TEST(XmlStreamReader, ReadsUtf16OfEitherOrder) {
  XmlStreamReader reader;
  for (std::string const declaration : {"", "<?xml version='1.0' encoding='utf-16'?>"}) {
    EXPECT_EQ(stream(reader, "\xFE\xFF" + zt_test::utf16(declaration + "<a>x</a>", true)), "<{}a\nx\n>{}a\n");
    EXPECT_EQ(stream(reader, "\xFF\xFE" + zt_test::utf16(declaration + "<a>x</a>", false)), "<{}a\nx\n>{}a\n");
  }
}

TEST(XmlStreamReader, ReadsUtf8WithAndWithoutMarkAndDeclaration) {
  XmlStreamReader reader;
  for (std::string const start : {"", "\xEF\xBB\xBF", "<?xml version='1.0' encoding='uTf-8' standalone='yes'?>"})
    EXPECT_EQ(stream(reader, start + "<a>\xC3\xA9\xF0\x9F\x98\x80</a>"), "<{}a\n\xC3\xA9\xF0\x9F\x98\x80\n>{}a\n");
}

TEST(XmlStreamReader, ReadsInStepsOfAnySize) {
  std::string const text = listOf("<entry id='1'>\xC3\xA9\xF0\x9F\x98\x80</entry>\n<!-- -->\n<entry id='2'/>");
  XmlStreamReader reader(listGrammars());
  std::string const whole = stream(reader, text);
  for (std::size_t const step : {1UL, 2UL, 15UL, 16UL, 17UL, 4096UL, text.size()}) {
    zt_test::StepInput input(text, step, 0, true);
    Recorder recorder;
    reader.read(input, recorder);
    EXPECT_EQ(recorder.log(), whole) << step;
  }
}

TEST(XmlStreamReader, TellsWhiteSpaceOnlyWhereTextMayStand) {
  XmlStreamReader plain, validating(listGrammars());
  std::string const text = listOf(" <entry id='1'>x</entry> ");
  EXPECT_EQ(stream(plain, text),
            "<{urn:list}list\n \n<{urn:list}entry id=1\nx\n>{urn:list}entry\n \n>{urn:list}list\n");
  EXPECT_EQ(stream(validating, text), "<{urn:list}list\n<{urn:list}entry id=1\nx\n>{urn:list}entry\n>{urn:list}list\n");
}

TEST(XmlStreamReader, TellsLongTextInPieces) {
  XmlStreamReader reader;
  std::string const log = stream(reader, "<a>" + std::string(300'000, 'x') + "</a>");
  EXPECT_EQ(std::count(log.begin(), log.end(), 'x'), 300'000);
}

TEST(XmlStreamReader, ValidatesAgainstSharedGrammars) {
  auto const grammars = listGrammars();
  XmlStreamReader first(grammars), second(grammars);
  for (XmlStreamReader* reader : {&first, &second, &first}) {
    EXPECT_EQ(streamFault(*reader, listOf("<entry id='1'>x</entry>")), "");
    EXPECT_EQ(streamFault(*reader, "<other/>"), "line 1, column 9: no declaration found for element 'other'");
  }
}

TEST(XmlStreamReader, SharesGrammarsBetweenThreads) {
  auto const grammars = listGrammars();
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      XmlStreamReader reader(grammars);
      for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(streamFault(reader, listOf("<entry id='1'>x</entry>")), "");
        EXPECT_NE(streamFault(reader, listOf("<entry id='x'>x</entry>")), "");
      }
    });
  for (std::thread& thread : threads) thread.join();
}

TEST(XmlStreamReader, TellsTheHandlerNothingAfterAnInvalidPlace) {
  XmlStreamReader reader(listGrammars());
  std::vector<std::u16string> seen;
  OnStart handler([&](std::u16string_view name, XmlAttributes const& attributes) {
    seen.push_back(std::u16string(name) + std::u16string(attributes.find(u"id").value_or(u"")));
  });
  std::vector<unsigned char> const bytes = zt_test::bytesOf(listOf("<entry id='1'/><entry id='x'/><entry id='3'/>"));
  opc::ByteArrayInAdaptor input(bytes);
  EXPECT_THROW(reader.read(input, handler), InvalidXMLDocument);
  EXPECT_EQ(seen, (std::vector<std::u16string>{u"list", u"entry1"}));
}

TEST(XmlStreamReader, SaysThatADocumentIsBrokenBeforeThatItIsInvalid) {
  XmlStreamReader reader(listGrammars());
  EXPECT_EQ(streamFault(reader, listOf("<entry/>\n<entry id='1'></entri>")),
            "line 2, column 17: expected end of tag 'entry'");
}

TEST(XmlStreamReader, PassesOnWhatTheHandlerThrew) {
  XmlStreamReader reader;
  EXPECT_THROW_MESSAGE(readThrowing(reader, "<a><entry/><b/></a>"), InvalidPartContent, "no such entry");
  EXPECT_EQ(streamFault(reader, "<a/>"), "");
}

TEST(XmlStreamReader, SaysWhereTheHandlerFoundAFault) {
  XmlStreamReader reader;
  OnStart handler([](std::u16string_view name, XmlAttributes const&) {
    if (name == u"b") throw XmlContentFault("no such element");
  });
  auto const bytes = zt_test::bytesOf("<a>\n <b/>\n <b/></a>");
  opc::ByteArrayInAdaptor input(bytes);
  EXPECT_THROW_MESSAGE(reader.read(input, handler), InvalidXMLDocument, "line 2, column 6: no such element");
}

TEST(XmlStreamReader, TellsOfNamespaceDeclarationsBeforeTheirElement) {
  struct Declarations final : XmlContentHandler {
    void namespaceDeclared(std::u16string_view prefix, std::u16string_view uri) override {
      ((log += prefix) += u"=") += uri;
      log += u" ";
    }
    void startElement(std::u16string_view, std::u16string_view name, XmlAttributes const& attributes) override {
      (log += name) += u" ";
      EXPECT_EQ(attributes.size(), name == u"b" ? 1U : 0U);
    }
    std::u16string log;
  } handler;
  XmlStreamReader reader;
  auto const bytes = zt_test::bytesOf("<a xmlns='urn:1' xmlns:p='urn:2'><p:b x='1' xmlns:p='urn:3'/><c xmlns=''/></a>");
  opc::ByteArrayInAdaptor input(bytes);
  reader.read(input, handler);
  EXPECT_EQ(handler.log, u"=urn:1 p=urn:2 a p=urn:3 b = c ");
}

TEST(XmlStreamReader, SaysThatADocumentIsFaultyBeforeWhatTheHandlerThrew) {
  XmlStreamReader reader(listGrammars());
  EXPECT_THROW_MESSAGE(readThrowing(reader, listOf("<entry id='1'/>\n<other/>")), InvalidXMLDocument,
                       "line 2, column 9: no declaration found for element 'other'");
  EXPECT_THROW_MESSAGE(readThrowing(reader, listOf("<entry id='1'/>\n<") + ">"), InvalidXMLDocument,
                       "line 2, column 2: element name expected");
}

TEST(XmlStreamReader, CallsTheHandlerNoMoreOnceItThrew) {
  int calls = 0;
  OnStart handler([&](std::u16string_view, XmlAttributes const&) {
    if (++calls == 2) throw 2;
  });
  std::vector<unsigned char> const bytes = zt_test::bytesOf("<a><b/><c/></a>");
  opc::ByteArrayInAdaptor input(bytes);
  EXPECT_THROW(XmlStreamReader().read(input, handler), int);
  EXPECT_EQ(calls, 2);
}

TEST(XmlStreamReader, PassesOnWhatTheInputThrowsAndCanBeUsedAgain) {
  XmlStreamReader reader(listGrammars());
  std::string const text = listOf("<entry id='1'/>");
  for (std::size_t failAt = 1; failAt <= text.size(); ++failAt) {
    zt_test::StepInput input(text, 1, failAt);
    Recorder recorder;
    EXPECT_THROW_MESSAGE(reader.read(input, recorder), opc::StreamError, "read " + std::to_string(failAt) + " fails");
    EXPECT_EQ(streamFault(reader, text), "");
  }
}

TEST(XmlStreamReader, TakesTheInputsFailureBeforeWhatTheHandlerThrew) {
  XmlStreamReader reader;
  zt_test::StepInput input("<entry/>" + std::string(100'000, ' '), 1000, 100);
  OnStart handler([](std::u16string_view, XmlAttributes const&) { throw InvalidPartContent("no such entry"); });
  EXPECT_THROW_MESSAGE(reader.read(input, handler), opc::StreamError, "read 100 fails");
}

TEST(XmlStreamReader, RefusesEveryTruncation) {
  std::string const text =
      "<?xml version='1.0' encoding='UTF-8'?>\n<!-- c -->" + listOf("<entry id='1'>\xC3\xA9&amp;</entry>");
  XmlStreamReader plain, validating(listGrammars());
  for (std::size_t size = 0; size < text.size(); ++size) {
    EXPECT_NE(streamFault(plain, text.substr(0, size)), "") << size;
    EXPECT_NE(streamFault(validating, text.substr(0, size)), "") << size;
  }
  EXPECT_EQ(streamFault(validating, text), "");
}

TEST(XmlStreamReader, RefusesEveryTruncationOfUtf16) {
  std::string const text = "\xFE\xFF" + zt_test::utf16("<a b='1'>x</a>");
  XmlStreamReader reader;
  for (std::size_t size = 0; size < text.size(); ++size)
    EXPECT_NE(streamFault(reader, text.substr(0, size)), "") << size;
}

TEST(XmlStreamReader, CannotBeUsedByItsOwnHandler) {
  XmlStreamReader reader;
  std::vector<unsigned char> const bytes = zt_test::bytesOf("<a/>");
  opc::ByteArrayInAdaptor input(bytes);
  OnStart handler([&](std::u16string_view, XmlAttributes const&) { stream(reader, "<b/>"); });
  EXPECT_THROW_MESSAGE(reader.read(input, handler), InvalidState, "An XML reader is used by its own handler");
  EXPECT_EQ(stream(reader, "<b/>"), "<{}b\n>{}b\n");
}

TEST(XmlStreamReader, HandlersMayUseOtherReaders) {
  XmlStreamReader outer, inner;
  std::string log;
  OnStart handler([&](std::u16string_view, XmlAttributes const&) { log += stream(inner, "<b/>"); });
  std::vector<unsigned char> const bytes = zt_test::bytesOf("<a><a/></a>");
  opc::ByteArrayInAdaptor input(bytes);
  outer.read(input, handler);
  EXPECT_EQ(log, "<{}b\n>{}b\n<{}b\n>{}b\n");
}

TEST(XmlStreamReader, DropsSchemaLocations) {
  XmlStreamReader reader;
  EXPECT_EQ(stream(reader,
                   "<a xmlns:x='http://www.w3.org/2001/XMLSchema-instance' x:schemaLocation='urn:x /nowhere'"
                   " x:noNamespaceSchemaLocation='http://127.0.0.1/' x:nil='true' schemaLocation='mine'/>"),
            "<{}a {http://www.w3.org/2001/XMLSchema-instance}nil=true schemaLocation=mine\n>{}a\n");
}

TEST(XmlStreamReader, RefusesSchemaLocationsWhereAsked) {
  XmlStreamReader reader(nullptr, {}, XmlSchemaLocations::Refuse);
  for (std::string const name : {"schemaLocation", "noNamespaceSchemaLocation"})
    EXPECT_EQ(
        streamFault(reader, "<a>\n<b xmlns:x='http://www.w3.org/2001/XMLSchema-instance' x:" + name + "=''/></a>"),
        "line 2, column " + std::to_string(63 + name.size()) + ": The attribute '" + name + "' is not allowed");
  EXPECT_EQ(streamFault(reader, "<a schemaLocation='mine'/>"), "");
}

TEST(XmlStreamReader, NeverFollowsSchemaLocationsWhenValidating) {
  zt_test::TemporaryDirectory const directory;
  zt_test::writeFile(directory / "x.xsd",
                     "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema'><xs:element name='x'/></xs:schema>");
  XmlStreamReader reader(listGrammars());
  EXPECT_EQ(streamFault(reader, "<x xmlns:i='http://www.w3.org/2001/XMLSchema-instance' i:noNamespaceSchemaLocation='" +
                                    (directory / "x.xsd").string() + "'/>")
                .substr(0, 7),
            "line 1,");
}
