// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "opc/Strings.hpp"
#include "xml/XercesHelper.hpp"
#include "xml/XmlTestSupport.hpp"

using namespace opc::model;
using xercesc::DOMElement;
using zt_test::Document;
using zt_test::listOf;
using zt_test::parse;
using zt_test::Parser;

namespace {

XercesString const kSpace(u"urn:list");
XercesString const kList(u"list");
XercesString const kEntry(u"entry");
XercesString const kId(u"id");

class XercesHelperTest : public testing::Test {
 protected:
  XercesHelperTest() { XercesHelper::loadSchema(parser_.get(), zt_test::kListSchema, "list.xsd"); }

  DOMElement* newRoot() {
    document_.reset(XercesHelper::createDocument());
    return XercesHelper::appendElementNS(document_.get(), kSpace, kList);
  }
  DOMElement* rootOf(std::string const& text) {
    document_ = parse(parser_.get(), text);
    return document_->getDocumentElement();
  }
  static std::u16string textOf(DOMElement const* element) {
    std::u16string text = u"before";
    XercesHelper::getElementText(element, text);
    return text;
  }

  XercesGuard guard_;
  Parser parser_{XercesHelper::createParser()};
  Document document_;
};

}  // namespace

TEST_F(XercesHelperTest, BuildsAndPrintsADocument) {
  DOMElement* const root = newRoot();
  DOMElement* const entry = XercesHelper::appendElementNS(root, kSpace, kEntry);
  XercesHelper::setElementAttribute(entry, kId, u"1");
  XercesHelper::setElementText(entry, u"a<b");
  XercesHelper::setElementText(XercesHelper::appendElementNS(root, kSpace, kEntry), u"");
  XercesHelper::appendElementNS(root, kSpace, kEntry);
  EXPECT_EQ(
      zt_test::write(document_.get()),
      "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>\n"
      "<list xmlns=\"urn:list\">\n\n  <entry id=\"1\">a&lt;b</entry>\n\n  <entry></entry>\n\n  <entry/>\n\n</list>\n");
}

TEST_F(XercesHelperTest, ReplacesTextAndAttribute) {
  DOMElement* const root = newRoot();
  for (char16_t const* text : {u"one", u"two"}) {
    XercesHelper::setElementText(root, text);
    XercesHelper::setElementAttribute(root, kId, text);
  }
  std::u16string value;
  XercesHelper::getElementAttribute(root, kId, value);
  EXPECT_EQ(value, u"two");
  EXPECT_EQ(textOf(root), u"two");
}

TEST_F(XercesHelperTest, RefusesCharactersThatXmlCannotCarry) {
  DOMElement* const root = newRoot();
  EXPECT_THROW_MESSAGE(XercesHelper::setElementText(root, std::u16string(u"a\0b", 3)), InvalidXMLDocument,
                       "The character U+0000 cannot stand in an XML document");
  EXPECT_THROW_MESSAGE(XercesHelper::setElementAttribute(root, kId, u"\xDC00"), InvalidXMLDocument,
                       "The character U+DC00 cannot stand in an XML document");
}

TEST_F(XercesHelperTest, SetsAttributesInANamespace) {
  DOMElement* const root = newRoot();
  XercesString const space(u"urn:p"), name(u"p:kind");
  XercesHelper::setElementAttributeNS(root, space, name, u"<");
  EXPECT_THROW(XercesHelper::setElementAttributeNS(root, space, name, u"\xFFFE"), InvalidXMLDocument);
  EXPECT_EQ(std::u16string(root->getAttributeNS(u"urn:p", u"kind")), u"<");
}

TEST_F(XercesHelperTest, RefusesWhatIsNoName) {
  newRoot();
  EXPECT_THROW_MESSAGE(XercesHelper::appendElementNS(document_->getDocumentElement(), kSpace, XercesString(u"1 2")),
                       InvalidXMLDocument, "invalid or illegal XML character");
}

TEST_F(XercesHelperTest, FindsTheFirstChildOfAName) {
  DOMElement* const root = rootOf("<r>text<!-- --><b><c/></b><c n='1'/><c n='2'/></r>");
  std::u16string value;
  XercesHelper::getElementAttribute(XercesHelper::getElement(root, XercesString(u"c")), XercesString(u"n"), value);
  EXPECT_EQ(value, u"1");
  EXPECT_EQ(XercesHelper::getElement(root, XercesString(u"d")), nullptr);
}

TEST_F(XercesHelperTest, FindsPrefixedChildrenByTheirLocalName) {
  DOMElement* const root = rootOf("<p:r xmlns:p='urn:p'><p:a/></p:r>");
  EXPECT_NE(XercesHelper::getElement(root, XercesString(u"a")), nullptr);
  EXPECT_EQ(XercesHelper::getElement(root, XercesString(u"p:a")), nullptr);
}

TEST_F(XercesHelperTest, FindsChildrenByNamespace) {
  DOMElement* const root = rootOf("<r xmlns:p='urn:p'><a/><p:a>mine</p:a></r>");
  DOMElement* const found = XercesHelper::getElementNS(root, XercesString(u"urn:p"), XercesString(u"a"));
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(textOf(found), u"mine");
  EXPECT_NE(XercesHelper::getElementNS(root, XercesString(), XercesString(u"a")), nullptr);
  EXPECT_EQ(XercesHelper::getElementNS(root, XercesString(u"urn:q"), XercesString(u"a")), nullptr);
}

TEST_F(XercesHelperTest, ListsChildrenInDocumentOrder) {
  DOMElement* const root = rootOf("<r><a>1</a><b/><a>2<a>no</a></a><a>3</a></r>");
  std::vector<DOMElement*> const found = XercesHelper::getElements(root, XercesString(u"a"));
  ASSERT_EQ(found.size(), 3U);
  EXPECT_EQ(textOf(found[0]), u"1");
  EXPECT_EQ(textOf(found[2]), u"3");
  EXPECT_TRUE(XercesHelper::getElements(root, XercesString(u"c")).empty());
}

TEST_F(XercesHelperTest, JoinsTheTextOfAnElement) {
  EXPECT_EQ(textOf(rootOf("<r>a&amp;<!-- no --><![CDATA[<b>]]>&#x1F600;</r>")), u"a&<b>\U0001F600");
  EXPECT_EQ(textOf(rootOf("<r/>")), u"");
}

TEST_F(XercesHelperTest, GivesNothingForAnAbsentAttribute) {
  std::u16string value = u"before";
  XercesHelper::getElementAttribute(rootOf("<r/>"), kId, value);
  EXPECT_EQ(value, u"");
}

TEST_F(XercesHelperTest, ReadsBackWhatItPrints) {
  std::u16string const text = u"\t\n\r &<>\"'\u0085\U0010FFFD";
  DOMElement* const root = newRoot();
  XercesHelper::setElementAttribute(root, kId, text);
  XercesHelper::setElementText(root, text);
  DOMElement* const again = rootOf(zt_test::write(document_.get()));
  std::u16string value;
  XercesHelper::getElementAttribute(again, kId, value);
  EXPECT_EQ(value, text);
  EXPECT_EQ(textOf(again), text);
}

TEST_F(XercesHelperTest, ValidatesOnlyWhenAskedTo) {
  std::string const invalid = listOf("<entry id='0'/>");
  EXPECT_EQ(zt_test::domFault(parser_.get(), invalid, false), "");
  EXPECT_NE(zt_test::domFault(parser_.get(), invalid, true), "");
  EXPECT_EQ(zt_test::domFault(parser_.get(), listOf("<entry id='1'/>"), true), "");
}

TEST_F(XercesHelperTest, TakesADocumentThatNoSchemaDescribesForInvalid) {
  EXPECT_EQ(zt_test::domFault(parser_.get(), "<other/>", true),
            "line 1, column 9: no declaration found for element 'other'");
}

TEST_F(XercesHelperTest, ValidatesAgainstSeveralSchemas) {
  std::string other = zt_test::kListSchema;
  for (std::size_t at; (at = other.find("urn:list")) != other.npos;) other.replace(at, 8, "urn:more");
  XercesHelper::loadSchema(parser_.get(), other.c_str(), "more.xsd");
  EXPECT_EQ(zt_test::domFault(parser_.get(), listOf(""), true), "");
  EXPECT_EQ(zt_test::domFault(parser_.get(), "<list xmlns='urn:more'/>", true), "");
}

TEST_F(XercesHelperTest, RefusesAnotherDocumentElementThanWanted) {
  std::vector<unsigned char> const bytes = zt_test::bytesOf("<list xmlns='urn:other'>\n<entry/></list>");
  opc::ByteArrayInAdaptor input(bytes);
  EXPECT_THROW_MESSAGE(XercesHelper::readDocumentFromStream(parser_.get(), input, false, u"urn:list", u"list"),
                       InvalidXMLDocument,
                       "line 1, column 25: The document element is '{urn:other}list' instead of '{urn:list}list'");
  input.reset();
  EXPECT_THROW_MESSAGE(XercesHelper::readDocumentFromStream(parser_.get(), input, false, u"", u"entry"),
                       InvalidXMLDocument,
                       "line 1, column 25: The document element is '{urn:other}list' instead of 'entry'");
  input.reset();
  EXPECT_THROW_MESSAGE(XercesHelper::readDocumentFromStream(parser_.get(), input, false, u"urn:list", u""),
                       InvalidXMLDocument,
                       "line 1, column 25: The document element is '{urn:other}list' instead of '{urn:list}*'");
  input.reset();
  Document const document(XercesHelper::readDocumentFromStream(parser_.get(), input, false, u"urn:other", u"list"));
  EXPECT_NE(document, nullptr);
}

TEST_F(XercesHelperTest, SaysThatADocumentIsBrokenBeforeThatItIsAnother) {
  std::vector<unsigned char> const bytes = zt_test::bytesOf("<other>\n</list>");
  opc::ByteArrayInAdaptor input(bytes);
  EXPECT_THROW_MESSAGE(XercesHelper::readDocumentFromStream(parser_.get(), input, false, u"", u"list"),
                       InvalidXMLDocument, "line 2, column 3: expected end of tag 'other'");
}

TEST_F(XercesHelperTest, RefusesSchemaLocationsWhereAsked) {
  Parser const strict(XercesHelper::createParser(XmlSchemaLocations::Refuse));
  std::string const text =
      "<a xmlns:x='http://www.w3.org/2001/XMLSchema-instance' x:schemaLocation='urn:x /nowhere/x.xsd'/>";
  EXPECT_EQ(zt_test::domFault(parser_.get(), text, false), "");
  EXPECT_EQ(zt_test::domFault(strict.get(), text, false),
            "line 1, column 97: The attribute 'schemaLocation' is not allowed");
}

TEST_F(XercesHelperTest, RefusesAParserThatIsNotItsOwn) {
  xercesc::DOMImplementation* const implementation = xercesc::DOMImplementationRegistry::getDOMImplementation(u"LS");
  Parser const other(implementation->createLSParser(xercesc::DOMImplementationLS::MODE_SYNCHRONOUS, nullptr));
  EXPECT_THROW_MESSAGE(parse(other.get(), "<a/>"), std::invalid_argument,
                       "The XML parser does not come from XercesHelper::createParser()");
}

TEST_F(XercesHelperTest, DocumentsOutliveTheirParser) {
  document_ = parse(parser_.get(), "<a>text</a>");
  parse(parser_.get(), "<b/>");
  parser_.reset();
  EXPECT_EQ(textOf(document_->getDocumentElement()), u"text");
}

TEST_F(XercesHelperTest, ReadsInStepsOfAnySize) {
  std::string const text = listOf("<entry id='1'>\xC3\xA9\xF0\x9F\x98\x80</entry>");
  for (std::size_t const step : {1UL, 2UL, 15UL, 16UL, 17UL, 4096UL, text.size()}) {
    zt_test::StepInput input(text, step, 0, true);
    Document const document(XercesHelper::readDocumentFromStream(parser_.get(), input, true, {}, {}));
    EXPECT_EQ(textOf(document->getDocumentElement()), u"\u00e9\U0001F600");
  }
}

TEST_F(XercesHelperTest, PassesOnWhatTheInputThrowsAndCanBeUsedAgain) {
  for (std::size_t failAt = 1; failAt <= 20; ++failAt) {
    zt_test::StepInput input(listOf("<entry id='1'/>"), 3, failAt);
    if (listOf("<entry id='1'/>").size() / 3 + 1 < failAt) break;
    EXPECT_THROW_MESSAGE(XercesHelper::readDocumentFromStream(parser_.get(), input, true, {}, {}), opc::StreamError,
                         "read " + std::to_string(failAt) + " fails");
    EXPECT_EQ(zt_test::domFault(parser_.get(), listOf(""), true), "");
  }
}

TEST_F(XercesHelperTest, PassesOnEveryFailureOfTheOutput) {
  DOMElement* const root = newRoot();
  XercesHelper::setElementText(root, std::u16string(200'000, u'x'));
  zt_test::Writer const writer(XercesHelper::createPrettyPrintingWriter());
  for (std::size_t failAt = 1; failAt <= 3; ++failAt) {
    zt_test::FailingOutput output(failAt);
    EXPECT_THROW_MESSAGE(XercesHelper::writeDocumentToStream(writer.get(), document_.get(), output), opc::StreamError,
                         "write " + std::to_string(failAt) + " fails");
  }
  std::vector<unsigned char> bytes;
  opc::ByteArrayOutAdaptor output(bytes);
  XercesHelper::writeDocumentToStream(writer.get(), document_.get(), output);
  EXPECT_GT(bytes.size(), 200'000U);
}

TEST_F(XercesHelperTest, SaysWhatIsWrongWithATree) {
  DOMElement* const root = newRoot();
  root->setAttribute(u"a", u"\x0001");
  EXPECT_THROW_MESSAGE(zt_test::write(document_.get()), InvalidXMLDocument, "invalid or illegal XML character");
}

TEST_F(XercesHelperTest, PrintsSurrogatePairsWhereverTheyStand) {
  for (std::size_t const before : {16383UL, 16384UL, 16385UL, 32767UL}) {
    std::u16string const text = std::u16string(before, u'x') + u"\U0001F600";
    XercesHelper::setElementText(newRoot(), text);
    EXPECT_NE(zt_test::write(document_.get()).find("x\xF0\x9F\x98\x80</list>"), std::string::npos) << before;
  }
}
