// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/Package.hpp"
#include "package/ModelSamples.hpp"
#include "support/TestSupport.hpp"

/// The rules of the package model (ECMA-376-2, 9 and 10.1), one test each: what is written obeys them, and
/// what is read is refused, is no part, or is tolerated.
namespace opc::model {
namespace {

using samples::archiveOf;
using samples::Bytes;
using samples::contentTypes;
using samples::open;
using samples::packageOf;
using samples::relationship;
using samples::relationships;

std::string ruleBrokenBy(Bytes const& bytes) {
  try {
    open(bytes);
  } catch (InvalidPackage const& error) {
    return samples::withoutPosition(error.what()).substr(std::string("Invalid package: ").size());
  }
  return "none";
}

/// What createPart says to the name.
std::string refusalOf(std::u16string const& name) {
  try {
    samples::create(*Package::createInMemory(), name);
  } catch (Exception const& error) {
    return error.what();
  }
  return "none";
}

/// The name can be neither given nor borne: an item of that name is kept, but is no part.
void expectNoPartName(std::string const& item) {
  EXPECT_EQ(refusalOf(toString("/" + item)), "Invalid part name: /" + item);
  auto const package = open(packageOf({{item, "x"}}));
  EXPECT_TRUE(package->getPartNames().empty()) << item;
  EXPECT_EQ(package->getItemNames(), std::vector<std::u16string>{toString(item)});
  EXPECT_EQ(open(package->saveToBytes())->getItemNames(), package->getItemNames());
}

std::string faultOfRelationship(std::string const& element) {
  std::string const fault = ruleBrokenBy(packageOf({{"_rels/.rels", relationships(element)}}));
  std::string const start = "/_rels/.rels: ";
  return fault.starts_with(start) ? fault.substr(start.size()) : fault;
}

std::string ruleBrokenByTypes(std::string const& children) {
  std::string const fault = ruleBrokenBy(packageOf({}, children));
  std::string const start = "[Content_Types].xml: ";
  return fault.starts_with(start) ? fault.substr(start.size()) : fault;
}

// 9.1.1
TEST(PackageRules, APartHasAName) {
  EXPECT_EQ(refusalOf(u""), "Invalid part name: ");
  EXPECT_EQ(refusalOf(u"/"), "Invalid part name: /");
}

// 9.1.2
TEST(PackageRules, APartHasAContentType) {
  EXPECT_THROW(ContentType(u""), InvalidContentType);
  auto const package = open(packageOf({{"a.untyped", "x"}}));
  EXPECT_TRUE(package->getPartNames().empty());
  EXPECT_EQ(package->getItemNames(), std::vector<std::u16string>{u"a.untyped"});
}

// 9.1.1.1
TEST(PackageRules, APartNameHasNoEmptySegment) { expectNoPartName("a//b.xml"); }

// 9.1.1.1
TEST(PackageRules, APartNameBeginsWithASlash) {
  EXPECT_EQ(refusalOf(u"a.xml"), "Invalid part name: a.xml");
  expectNoPartName("/a.xml");  // it would have two
}

// 9.1.1.1
TEST(PackageRules, APartNameDoesNotEndInASlash) { expectNoPartName("a.xml/"); }

// 9.1.1.1
TEST(PackageRules, ASegmentHoldsNothingButTheCharactersOfAPath) {
  for (std::string const name :
       {"a b.xml", "a[1].xml", "a\\b.xml", "a\"b.xml", "a^b.xml", "a?b.xml", "a#b.xml", "a%b.xml"})
    expectNoPartName(name);
  EXPECT_EQ(refusalOf(u"/\u00e4.xml"), "Invalid part name: /" + toUDEString(u"\u00e4.xml"));
  EXPECT_EQ(refusalOf(u"/-._~!$&'()*+,;=:@%20azAZ09.xml"), "none");
}

// 9.1.1.1
TEST(PackageRules, ASegmentHoldsNoEncodedSlash) {
  for (std::string const name : {"a%2Fb.xml", "a%2fb.xml", "a%5Cb.xml", "a%5cb.xml"}) expectNoPartName(name);
}

// 9.1.1.1
TEST(PackageRules, ASegmentHoldsNoEncodedUnreservedCharacter) {
  for (std::string const name : {"%41.xml", "a%7Eb.xml", "a%2eb.xml", "a%5Fb.xml", "a%30.xml"}) expectNoPartName(name);
}

// 9.1.1.1
TEST(PackageRules, ASegmentDoesNotEndInADot) {
  for (std::string const name : {"a./b.xml", "a.xml."}) expectNoPartName(name);
}

// 9.1.1.1
TEST(PackageRules, ASegmentIsNotAllDots) {
  for (std::string const name : {"./a.xml", "../a.xml", ".../a.xml", "a/.."}) expectNoPartName(name);
}

// 9.1.1.4
TEST(PackageRules, NoPartNameIsDerivedFromAnother) {
  auto const package = Package::createInMemory();
  samples::create(*package, u"/a/b.xml");
  EXPECT_THROW_MESSAGE(samples::create(*package, u"/a/B.XML/c.xml"), PartNameClash,
                       "Part name /a/B.XML/c.xml clashes with existing /a/b.xml");
  EXPECT_THROW_MESSAGE(samples::create(*package, u"/A"), PartNameClash, "Part name /A clashes with existing /a/b.xml");
  EXPECT_EQ(ruleBrokenBy(packageOf({{"a.xml", ""}, {"A.xml/b.xml", ""}})), "Names clash: a.xml and A.xml/b.xml");
}

// 9.1.1.3
TEST(PackageRules, NoTwoPartNamesAreEquivalent) {
  auto const package = Package::createInMemory();
  samples::create(*package, u"/a%c3%A9.xml");
  EXPECT_THROW_MESSAGE(samples::create(*package, u"/A%C3%a9.XML"), PartNameClash,
                       "Part name /A%C3%a9.XML clashes with existing /a%c3%A9.xml");
  EXPECT_EQ(ruleBrokenBy(packageOf({{"a.xml", ""}, {"A.xml", ""}})), "Names clash: a.xml and A.xml");
}

// 9.1.2; RFC 2616, 3.7
TEST(PackageRules, AContentTypeIsAMediaType) {
  for (auto text : {u"text", u"text/", u"/xml", u"a b/c", u"a/b c", u"a/b;", u"a/b;c", u"a/b;c=", u"a/b;=c", u"a/b/c"})
    EXPECT_THROW(ContentType{text}, InvalidContentType);
  auto const package = open(packageOf({{"a.bad", "x"}}, "<Default Extension='bad' ContentType='nonsense'/>"));
  EXPECT_TRUE(package->getPartNames().empty());
}

// 9.1.2
TEST(PackageRules, AContentTypeHasNoWhiteSpaceRoundItsMarksOrEnds) {
  for (auto text : {u" a/b", u"a/b ", u"a /b", u"a/ b", u"a/b;c =d", u"a/b;c= d", u"a/b;c=d ", u"a/b\t", u"a/b\n"})
    EXPECT_THROW(ContentType{text}, InvalidContentType);
  EXPECT_NO_THROW(ContentType(u"a/b ; c=d"));
  auto const package = open(packageOf({{"a.bad", "x"}}, "<Default Extension='bad' ContentType=' a/b'/>"));
  EXPECT_TRUE(package->getPartNames().empty());
}

// 9.1.2
TEST(PackageRules, AContentTypeHasNoComments) {
  for (auto text : {u"a/b(c)", u"a/b;c=d(e)", u"(c)a/b"}) EXPECT_THROW(ContentType{text}, InvalidContentType);
  auto const package = open(packageOf({{"a.bad", "x"}}, "<Default Extension='bad' ContentType='a/b (c)'/>"));
  EXPECT_TRUE(package->getPartNames().empty());
}

// 9.1.3
TEST(PackageRules, AGrowthHintSaysNothing) {
  auto const package = Package::createInMemory();
  PartName const name(u"/a.xml");
  package->createPart(name, ContentType(u"a/b"), StandardPartInfo(CompressionType::Markup, 1'000'000));
  EXPECT_EQ(package->getPart(name).getSize(), 0U);
  EXPECT_LT(package->saveToBytes().size(), 2000U);
}

// 9.1.4
TEST(PackageRules, ThePackagesOwnXmlIsInUtf8OrUtf16) {
  std::string const types = contentTypes();
  std::u16string const wide = toString("<?xml version=\"1.0\" encoding=\"UTF-16\"?>" + types);
  std::string utf16 = "\xFF\xFE";
  for (char16_t const c : wide) (utf16 += static_cast<char>(c & 0xFF)) += static_cast<char>(c >> 8);
  EXPECT_EQ(ruleBrokenBy(archiveOf({{"[Content_Types].xml", utf16}, {"a.xml", "a"}})), "none");
  for (std::string const encoding : {"ISO-8859-1", "US-ASCII", "UTF-7", "UTF-32"})
    EXPECT_NE(
        ruleBrokenBy(archiveOf({{"[Content_Types].xml", "<?xml version='1.0' encoding='" + encoding + "'?>" + types}})),
        "none");
  EXPECT_TRUE(samples::itemsOf(Package::createInMemory()->saveToBytes())
                  .front()
                  .content.starts_with("<?xml version=\"1.0\" encoding=\"UTF-8\""));
}

// 9.1.4
TEST(PackageRules, ThePackagesOwnXmlHasNoDocumentType) {
  std::string const type = "<!DOCTYPE x>";
  EXPECT_NE(ruleBrokenBy(archiveOf({{"[Content_Types].xml", type + contentTypes()}})), "none");
  EXPECT_NE(ruleBrokenBy(packageOf({{"_rels/.rels", type + relationships("")}})), "none");
}

// 9.1.4, 9.3.4
TEST(PackageRules, MarkupCompatibilityIsProcessedBeforeRelationshipsAreJudged) {
  std::string const odd =
      "<Relationship Id='a' Type='urn:x' Target='a.xml' x:y='1' xmlns:x='urn:x' "
      "xmlns:mc='http://schemas.openxmlformats.org/markup-compatibility/2006' mc:Ignorable='x'/>";
  EXPECT_EQ(faultOfRelationship(odd), "none");
}

// 9.1.4
TEST(PackageRules, ThePackagesOwnXmlIsValid) {
  EXPECT_EQ(faultOfRelationship("<Other/>"), "Unexpected element: Other");
  EXPECT_EQ(faultOfRelationship("<o:Relationship xmlns:o='urn:o'/>"), "Unexpected element: Relationship");
  EXPECT_EQ(faultOfRelationship("<Relationship Id='a' Type='t' Target='a' o:b='1' xmlns:o='urn:o'/>"),
            "Unexpected attribute: Relationship/@b");
  EXPECT_EQ(ruleBrokenByTypes("<Other/>"), "Unexpected element: Other");
  EXPECT_EQ(ruleBrokenByTypes("<Default Extension='a' ContentType='b/c' o:b='1' xmlns:o='urn:o'/>"),
            "Unexpected attribute: Default/@b");
}

// 9.1.4, 9.3.2
TEST(PackageRules, ThePackagesOwnXmlHasNoXmlOrSchemaAttributes) {
  for (std::string const attribute : {"xml:base='/x/'", "xml:lang='en'", "xml:space='preserve'", "xml:id='x'"}) {
    std::string const name = attribute.substr(4, attribute.find('=') - 4);
    EXPECT_EQ(faultOfRelationship(relationship("a", "t", attribute)), "Unexpected attribute: Relationship/@" + name);
    EXPECT_EQ(ruleBrokenByTypes("<Default Extension='a' ContentType='b/c' " + attribute + "/>"),
              "Unexpected attribute: Default/@" + name);
  }
  for (std::string const attribute :
       {"schemaLocation='a b'", "noNamespaceSchemaLocation='a'", "type='a'", "nil='true'"}) {
    std::string const xsi = "xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' xsi:" + attribute;
    EXPECT_NE(faultOfRelationship(relationship("a", "t", xsi)), "none") << attribute;
    EXPECT_NE(ruleBrokenByTypes("<Default Extension='a' ContentType='b/c' " + xsi + "/>"), "none") << attribute;
  }
}

// 9.1.2, 9.3.1, 11.1, 12.2
TEST(PackageRules, ThePackagesOwnContentTypesHaveNoParameters) {
  auto const package = Package::createInMemory();
  for (auto type : {u"application/vnd.openxmlformats-package.core-properties+xml",
                    u"Application/VND.openxmlformats-package.digital-signature-origin"}) {
    ContentType const bad(std::u16string(type) + u";a=b");
    EXPECT_THROW_MESSAGE(package->createPart(PartName(u"/a"), bad, StandardPartInfo(CompressionType::Markup)),
                         InvalidContentType,
                         "This content type has no parameters: " + toUDEString(std::u16string(type) + u";a=b"));
  }
  EXPECT_TRUE(package->getPartNames().empty());
  std::string const override =
      "<Override PartName='/_rels/.rels' "
      "ContentType='application/vnd.openxmlformats-package.relationships+xml;a=b'/>";
  auto const tolerated = open(packageOf({{"_rels/.rels", relationships(relationship("a", "t"))}}, override));
  EXPECT_EQ(tolerated->getRelationships().size(), 1U);
}

// 9.2.1, A
TEST(PackageRules, AReferenceIsAUnicodeStringThatBecomesAPartName) {
  auto const package = open(packageOf(
      {{"_rels/.rels", relationships(relationship("a", "%41\xC3\xA9[1].xml"))}, {"A%C3%A9%5B1%5D.xml", "x"}}));
  PartName const target(package->getRelationships().at(0).getTargetURI());
  EXPECT_TRUE(package->hasPart(target));
  EXPECT_EQ(package->getRelationships()[0].getTargetText(), u"%41\u00e9[1].xml");
}

// 9.2.2
TEST(PackageRules, AFragmentIsKeptButLeadsToTheWholePart) {
  auto const package = Package::createInMemory();
  auto const made = package->createInternalRelationship(u"urn:t", URI(u"a.xml#part/of?it"));
  EXPECT_EQ(made.getTargetURI(), URI(u"/a.xml"));
  EXPECT_EQ(open(package->saveToBytes())->getRelationships().at(0).getTargetText(), u"a.xml#part/of?it");
}

// 9.3.1
TEST(PackageRules, ARelationshipsPartHasNoRelationships) {
  auto const package = Package::createInMemory();
  package->createInternalRelationship(u"urn:t", URI(u"a"));
  Part part = package->getPart(PartName(u"/_rels/.rels"));
  EXPECT_THROW_MESSAGE(part.createExternalRelationship(u"urn:t", u"a"), InvalidRelationship,
                       "A relationships part has no relationships: /_rels/.rels");
  std::string const empty = relationships("");
  EXPECT_EQ(ruleBrokenBy(packageOf({{"_rels/.rels", empty}, {"_rels/_rels/.rels.rels", empty}})),
            "/_rels/_rels/.rels.rels: a relationships part with relationships");
}

// 9.3.1
TEST(PackageRules, ARelationshipsPartIsNoTarget) {
  auto const package = Package::createInMemory();
  EXPECT_THROW_MESSAGE(package->createInternalRelationship(u"urn:t", URI(u"a/_rels/b.rels")), InvalidRelationship,
                       "Invalid relationship target: a/_rels/b.rels");
  for (std::string const target : {"_rels/.rels", "/a/_RELS/b.RELS", "a/../_rels/.rels#f", "%5frels%2f%2Erels"})
    EXPECT_EQ(faultOfRelationship(relationship("a", target)), "Invalid relationship target: " + target);
  EXPECT_EQ(faultOfRelationship(relationship("a", "_rels/.rels", "TargetMode='External'")), "none");
}

// 9.3.2.2
TEST(PackageRules, ARelationshipHasAnIdOfItsOwn) {
  auto const package = Package::createInMemory();
  package->createInternalRelationship(u"urn:t", URI(u"a"), u"x");
  EXPECT_THROW_MESSAGE(package->createInternalRelationship(u"urn:t", URI(u"a"), u"x"), InvalidRelationship,
                       "Relationship id is taken: x");
  for (auto id : {u"1", u"a b", u"a:b", u"-a"})
    EXPECT_THROW(package->createInternalRelationship(u"urn:t", URI(u"a"), id), InvalidRelationship);
  EXPECT_EQ(faultOfRelationship(relationship("a", "t") + relationship("a", "u")), "Relationship id is taken: a");
  EXPECT_EQ(faultOfRelationship(relationship("a:b", "t")), "Invalid relationship id: a:b");
  EXPECT_EQ(faultOfRelationship("<Relationship Type='t' Target='t'/>"), "Missing attribute: Relationship/@Id");
}

// 9.3.2.2
TEST(PackageRules, ARelationshipTypeIsAUriComparedToTheLetter) {
  auto const package = Package::createInMemory();
  for (auto type : {u"", u"a b", u"urn:%", u"urn:<", u"urn:\n"})
    EXPECT_THROW(package->createInternalRelationship(type, URI(u"a")), InvalidRelationship);
  package->createInternalRelationship(u"urn:A", URI(u"a"));
  EXPECT_TRUE(package->getRelationshipsByType(u"urn:a").empty());
  EXPECT_TRUE(package->getRelationshipsByType(u"URN:A").empty());
  EXPECT_EQ(package->getRelationshipsByType(u"urn:A").size(), 1U);
}

// 9.3.2.2
TEST(PackageRules, ARelationshipHasATargetThatIsAReference) {
  auto const package = Package::createInMemory();
  for (auto target : {u"a b", u"a\\b", u"a%", u"a[b]", u"a<b", u"a\"b", u"a^b", u"//host/a"})
    EXPECT_THROW(package->createInternalRelationship(u"urn:t", URI(target)), InvalidRelationship);
  EXPECT_NO_THROW(package->createInternalRelationship(u"urn:t", URI(u"../\u00e9%20;a=b?q#f")));
  EXPECT_EQ(faultOfRelationship("<Relationship Id='a' Type='t'/>"), "Missing attribute: Relationship/@Target");
}

// 9.3.2.2
TEST(PackageRules, AnInternalTargetIsResolvedAgainstItsSource) {
  auto const package = open(packageOf({{"_rels/.rels", relationships(relationship("a", "b.xml"))},
                                       {"a/b.xml", ""},
                                       {"a/_rels/b.xml.rels", relationships(relationship("a", "b.xml"))}}));
  EXPECT_EQ(package->getRelationships().at(0).getTargetURI(), URI(u"/b.xml"));
  EXPECT_EQ(package->getPart(PartName(u"/a/b.xml")).getRelationships().at(0).getTargetURI(), URI(u"/a/b.xml"));
  EXPECT_THROW_MESSAGE(package->createInternalRelationship(u"urn:t", URI(u"http://x/y")), InvalidRelationship,
                       "Invalid relationship target: http://x/y");
  EXPECT_EQ(faultOfRelationship(relationship("a", "http://x/y")), "Invalid relationship target: http://x/y");
}

// 9.3.2.2
TEST(PackageRules, ATargetModeIsInternalOrExternal) {
  EXPECT_EQ(faultOfRelationship(relationship("a", "t", "TargetMode='Internal'")), "none");
  EXPECT_EQ(faultOfRelationship(relationship("a", "http://t", "TargetMode='External'")), "none");
  EXPECT_EQ(faultOfRelationship(relationship("a", "t", "TargetMode='external'")),
            "Invalid relationship target mode: external");
  EXPECT_EQ(faultOfRelationship(relationship("a", "t", "TargetMode=''")), "Invalid relationship target mode: ");
}

// 9.3.3
TEST(PackageRules, ARelationshipsPartIsNamedAfterItsSource) {
  auto const package = Package::createInMemory();
  samples::create(*package, u"/a/b.xml").createInternalRelationship(u"urn:t", URI(u"c"));
  EXPECT_TRUE(package->hasPart(PartName(u"/a/_rels/b.xml.rels")));
  EXPECT_EQ(refusalOf(u"/a/_rels/b.xml.rels"), "Part name is reserved for relationships: /a/_rels/b.xml.rels");
}

// 9.3.3
TEST(PackageRules, APartThatIsNamedSoHasTheContentTypeOfRelationships) {
  EXPECT_EQ(ruleBrokenBy(packageOf({{"a/_RELS/b.RELS", relationships("")}},
                                   "<Override PartName='/a/_rels/b.rels' ContentType='text/xml'/>")),
            "/a/_RELS/b.RELS: a relationships part with another content type");
}

// 10.1.2.2
TEST(PackageRules, TheContentTypesAreNoPart) {
  auto const package =
      open(packageOf({{"a.xml", ""}}, "<Override PartName='/%5BContent_Types%5D.xml' ContentType='a/b'/>"));
  EXPECT_EQ(package->getPartNames(), std::vector<PartName>{PartName(u"/a.xml")});
  EXPECT_TRUE(package->getItemNames().empty());
  EXPECT_EQ(refusalOf(u"/[Content_Types].xml"), "Invalid part name: /[Content_Types].xml");
}

// 10.1.2.2.2, 10.1.2.2.3
TEST(PackageRules, ThereIsOneDefaultForAnExtensionAndOneOverrideForAName) {
  EXPECT_EQ(ruleBrokenByTypes("<Default Extension='XML' ContentType='b/c'/>"), "Two defaults for the extension XML");
  EXPECT_EQ(ruleBrokenByTypes("<Override PartName='/a' ContentType='b/c'/><Override PartName='/A' ContentType='b/c'/>"),
            "Two overrides for the part /A");
}

// 10.1.2.2.2
TEST(PackageRules, ADefaultHasAnExtensionAndAType) {
  EXPECT_EQ(ruleBrokenByTypes("<Default Extension='' ContentType='b/c'/>"), "A default without an extension");
  EXPECT_EQ(ruleBrokenByTypes("<Default ContentType='b/c'/>"), "Missing attribute: Default/@Extension");
  EXPECT_EQ(ruleBrokenByTypes("<Default Extension='a'/>"), "Missing attribute: Default/@ContentType");
}

// 10.1.2.2.3
TEST(PackageRules, AnOverrideHasAPartNameAndAType) {
  EXPECT_EQ(ruleBrokenByTypes("<Override PartName='a' ContentType='b/c'/>"), "Invalid part name: a");
  EXPECT_EQ(ruleBrokenByTypes("<Override ContentType='b/c'/>"), "Missing attribute: Override/@PartName");
  EXPECT_EQ(ruleBrokenByTypes("<Override PartName='/a'/>"), "Missing attribute: Override/@ContentType");
}

// 10.1.2.3
TEST(PackageRules, WhatIsAddedIsTypedByADefaultWhereOneFitsAndByAnOverrideWhereNoneDoes) {
  auto const package = open(packageOf({{"a.xml", ""}}));
  samples::create(*package, u"/b.XML", "", u"application/xml");
  samples::create(*package, u"/c.d.xml", "", u"text/xml");
  samples::create(*package, u"/none", "", u"a/b");
  std::string const types = samples::itemsOf(package->saveToBytes()).front().content;
  EXPECT_EQ(types.find("b.XML"), std::string::npos) << types;
  EXPECT_NE(types.find("<Override ContentType=\"text/xml\" PartName=\"/c.d.xml\"/>"), std::string::npos) << types;
  EXPECT_NE(types.find("<Override ContentType=\"a/b\" PartName=\"/none\"/>"), std::string::npos) << types;
}

// 10.1.2.4
TEST(PackageRules, AnOverrideGoesBeforeADefault) {
  auto const package =
      open(packageOf({{"a.xml", ""}, {"b.xml", ""}, {"c", ""}}, "<Override PartName='/A.xml' ContentType='text/x'/>"));
  EXPECT_EQ(package->getPart(PartName(u"/a.xml")).getContentType(), ContentType(u"text/x"));
  EXPECT_EQ(package->getPart(PartName(u"/b.xml")).getContentType(), ContentType(u"application/xml"));
  EXPECT_FALSE(package->hasPart(PartName(u"/c")));
}

}  // namespace
}  // namespace opc::model
