// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "opc/model/XmlExceptions.hpp"
#include "support/TestSupport.hpp"
#include "xml/XmlTextRecord.hpp"

namespace opc::model {
namespace {

using Texts = std::map<std::u16string, std::u16string>;

constexpr XmlSchemaText kSchema = {"pair.xsd", R"(<xsd:schema xmlns:xsd="http://www.w3.org/2001/XMLSchema"
    targetNamespace="urn:pair" elementFormDefault="qualified">
  <xsd:element name="pair"><xsd:complexType><xsd:sequence>
    <xsd:element name="one" type="xsd:string"/><xsd:element name="two" type="xsd:string"/>
  </xsd:sequence></xsd:complexType></xsd:element></xsd:schema>)"};

std::optional<Texts> read(XmlTextRecord& record, std::string const& document) {
  auto const bytes = zt_test::bytesOf(document);
  ByteArrayInAdaptor input(bytes);
  return record.read(input);
}

std::string write(XmlTextRecord& record, std::vector<std::pair<char16_t const*, std::u16string>> const& texts) {
  std::vector<unsigned char> bytes;
  ByteArrayOutAdaptor output(bytes);
  record.write(texts, output);
  return zt_test::textOf(bytes);
}

TEST(XmlTextRecord, WritesTextsInTheGivenOrder) {
  XmlTextRecord record(u"urn:pair", u"pair");
  EXPECT_EQ(write(record, {{u"two", u"<&>"}, {u"one", u""}}),
            "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>\n"
            "<pair xmlns=\"urn:pair\">\n\n  <two>&lt;&amp;&gt;</two>\n\n  <one></one>\n\n</pair>\n");
}

TEST(XmlTextRecord, ReadsWhatItWrote) {
  XmlTextRecord record(u"urn:pair", u"pair", kSchema);
  std::u16string const one = u" \n\r\t\u00e9\U0001F600]]> ";
  EXPECT_EQ(read(record, write(record, {{u"one", one}, {u"two", u""}})), (Texts{{u"one", one}, {u"two", u""}}));
  EXPECT_EQ(read(record, write(record, {{u"one", u"1"}, {u"two", u"2"}})), (Texts{{u"one", u"1"}, {u"two", u"2"}}));
}

TEST(XmlTextRecord, TakesTheFirstOfARepeatedNameAndNoOtherNamespace) {
  XmlTextRecord record(u"urn:pair", u"pair");
  EXPECT_EQ(read(record, "<p:pair xmlns:p='urn:pair'><one>0</one><p:one>1</p:one><p:one>2</p:one></p:pair>"),
            (Texts{{u"one", u"1"}}));
}

TEST(XmlTextRecord, ReadsNothingBelowAnotherRoot) {
  XmlTextRecord record(u"urn:pair", u"pair");
  EXPECT_EQ(read(record, "<pair><one>1</one></pair>"), std::nullopt);
  EXPECT_EQ(read(record, "<pair xmlns='urn:other'/>"), std::nullopt);
  EXPECT_EQ(read(record, "<Pair xmlns='urn:pair'/>"), std::nullopt);
  EXPECT_EQ(read(record, "<pair xmlns='urn:pair'/>"), Texts());
}

TEST(XmlTextRecord, ValidatesWhereThereIsASchema) {
  XmlTextRecord record(u"urn:pair", u"pair", kSchema);
  EXPECT_THROW(read(record, "<pair xmlns='urn:pair'><two>2</two></pair>"), InvalidXMLDocument);
  EXPECT_THROW(read(record, "<other/>"), InvalidXMLDocument);
  EXPECT_THROW(read(record, ""), InvalidXMLDocument);
  EXPECT_TRUE(read(record, "<pair xmlns='urn:pair'><one/><two/></pair>"));
}

TEST(XmlTextRecord, WritesNothingWhereATextCannotBeCarried) {
  XmlTextRecord record(u"urn:pair", u"pair");
  std::vector<unsigned char> bytes;
  ByteArrayOutAdaptor output(bytes);
  EXPECT_THROW(record.write({{u"one", u"1"}, {u"two", u"\u0001"}}, output), InvalidXMLDocument);
  EXPECT_TRUE(bytes.empty());
}

TEST(XmlTextRecord, WritesNothingThatItCouldNotRead) {
  XmlTextRecord record(u"urn:pair", u"pair");
  std::u16string const frame =
      u"<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>\n"
      u"<pair xmlns=\"urn:pair\">\n\n  <one></one>\n\n</pair>\n";
  std::u16string const longest(16'777'216 - frame.size(), u'x');
  EXPECT_EQ(read(record, write(record, {{u"one", longest}}))->at(u"one").size(), longest.size());
  std::vector<unsigned char> bytes;
  ByteArrayOutAdaptor output(bytes);
  EXPECT_THROW_MESSAGE(record.write({{u"one", longest + u"x"}}, output), InvalidXMLDocument,
                       "The document is longer than 16777216 bytes");
  EXPECT_TRUE(bytes.empty());
}

TEST(XmlTextRecord, RefusesASchemaThatIsNone) {
  constexpr XmlSchemaText kBad = {"bad.xsd", "<schema"};
  try {
    XmlTextRecord const record(u"urn:pair", u"pair", kBad);
    FAIL();
  } catch (InvalidXMLSchema const& error) {
    EXPECT_EQ(std::string(error.what()).rfind("Schema could not be loaded: ", 0), 0U) << error.what();
  }
}

}  // namespace
}  // namespace opc::model
