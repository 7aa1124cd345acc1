// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <string>

#include "xml/XmlTestSupport.hpp"

using namespace opc::model;

namespace {

std::string schema(std::string const& inner) {
  return "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema' targetNamespace='urn:s'>\n" + inner + "</xs:schema>";
}

/// What both doors say to a schema; they have to agree.
std::string faultOfSchema(std::string const& text) {
  XercesGuard const guard;
  zt_test::Parser const parser(XercesHelper::createParser());
  std::string first, second;
  try {
    XercesHelper::loadSchema(parser.get(), text.c_str(), "s.xsd");
  } catch (InvalidXMLSchema const& e) {
    first = e.what();
  }
  try {
    loadXmlGrammars({{"s.xsd", text.c_str()}});
  } catch (InvalidXMLSchema const& e) {
    second = e.what();
  }
  EXPECT_EQ(first, second);
  return first;
}

}  // namespace

TEST(XmlSchema, LoadsFromMemory) { EXPECT_EQ(faultOfSchema(zt_test::kListSchema), ""); }

TEST(XmlSchema, SaysWhereItIsBroken) {
  EXPECT_EQ(faultOfSchema(schema("<xs:element name='a'>")),
            "Schema could not be loaded: line 2, column 24: expected end of tag 'xs:element'");
}

TEST(XmlSchema, SaysWhatItDoesNotKnow) {
  EXPECT_EQ(faultOfSchema(schema("<xs:element name='a' type='xs:nothing'/>")),
            "Schema could not be loaded: line 2, column 41: type 'http://www.w3.org/2001/XMLSchema:nothing' not found");
}

TEST(XmlSchema, MustBeThere) {
  EXPECT_EQ(faultOfSchema(""), "Schema could not be loaded: line 1, column 1: invalid document structure");
  EXPECT_NE(faultOfSchema("<other/>"), "");
}

TEST(XmlSchema, IncludesNothing) {
  zt_test::TemporaryDirectory const directory;
  zt_test::writeFile(directory / "other.xsd", schema("<xs:element name='b'/>"));
  std::string const fault =
      faultOfSchema(schema("<xs:include schemaLocation='" + (directory / "other.xsd").string() + "'/>"));
  EXPECT_NE(fault.find("outside the document is not read"), std::string::npos) << fault;
}

TEST(XmlSchema, ImportsWhatWasLoadedBefore) {
  std::string const importing =
      "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema' xmlns:s='urn:s' targetNamespace='urn:t'>"
      "<xs:import namespace='urn:s'/><xs:element name='t'><xs:complexType><xs:sequence><xs:element ref='s:a'/>"
      "</xs:sequence></xs:complexType></xs:element></xs:schema>";
  std::string const imported = schema("<xs:element name='a' type='xs:int'/>");
  XmlStreamReader reader(loadXmlGrammars({{"s.xsd", imported.c_str()}, {"t.xsd", importing.c_str()}}));
  EXPECT_EQ(zt_test::streamFault(reader, "<t xmlns='urn:t'><a xmlns='urn:s'>1</a></t>"), "");
  EXPECT_NE(zt_test::streamFault(reader, "<t xmlns='urn:t'><a xmlns='urn:s'>x</a></t>"), "");
}

TEST(XmlSchema, ParserCanBeUsedAfterASchemaThatCouldNotBeLoaded) {
  XercesGuard const guard;
  zt_test::Parser const parser(XercesHelper::createParser());
  EXPECT_THROW(XercesHelper::loadSchema(parser.get(), "<broken", "s.xsd"), InvalidXMLSchema);
  XercesHelper::loadSchema(parser.get(), zt_test::kListSchema, "list.xsd");
  EXPECT_EQ(zt_test::domFault(parser.get(), zt_test::listOf(""), true), "");
}
