// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <string>

#include "opc/model/Exceptions.hpp"
#include "opc/model/Package.hpp"
#include "opc/ztservices/Verification.hpp"
#include "support/TestSupport.hpp"

namespace opc::ztservices {
namespace {

std::string xmlDigest(std::string const& document) {
  auto const package = model::Package::createInMemory();
  model::Part part = package->createPart(model::PartName(u"/a.xml"), model::ContentType(u"application/xml"));
  auto const out = part.getOutputStream();
  out->write(document.data(), document.size());
  out->close();
  return digestXml(part);
}

TEST(DigestXml, IgnoresTheOrderOfAttributes) {
  EXPECT_EQ(xmlDigest("<a x='1' y='2' z:x='3' xmlns:z='u'/>"), xmlDigest("<a z:x='3' y='2' xmlns:z='u' x='1'/>"));
}

TEST(DigestXml, IgnoresPrefixesAndNamespaceDeclarations) {
  EXPECT_EQ(xmlDigest("<p:a xmlns:p='u'><p:b/></p:a>"), xmlDigest("<a xmlns='u' xmlns:unused='v'><b/></a>"));
}

TEST(DigestXml, IgnoresCommentsAndProcessingInstructionsAlsoWithinText) {
  EXPECT_EQ(xmlDigest("<?xml version='1.0'?><!-- c --><a>one<!-- c -->two<?p i?></a>"), xmlDigest("<a>onetwo</a>"));
}

TEST(DigestXml, IgnoresTheFormOfCharacters) {
  EXPECT_EQ(xmlDigest("<a b='&lt;'>&#65;<![CDATA[<]]></a>"), xmlDigest("<a b=\"&#60;\">A&lt;</a>"));
}

TEST(DigestXml, IgnoresWhiteSpaceBetweenTags) {
  EXPECT_EQ(xmlDigest("<a>\n  <b>x</b>\n  <c/>\n</a>"), xmlDigest("<a><b>x</b><c></c></a>"));
}

TEST(DigestXml, KeepsWhiteSpaceThatIsTheTextOfAnElement) {
  EXPECT_NE(xmlDigest("<a><b> </b></a>"), xmlDigest("<a><b></b></a>"));
  EXPECT_NE(xmlDigest("<a><b> </b></a>"), xmlDigest("<a><b>  </b></a>"));
}

TEST(DigestXml, KeepsWhiteSpaceAroundText) { EXPECT_NE(xmlDigest("<a> x</a>"), xmlDigest("<a>x</a>")); }

TEST(DigestXml, KeepsWhiteSpaceThatTheDocumentPreserves) {
  EXPECT_NE(xmlDigest("<a xml:space='preserve'><d> <b/></d></a>"),
            xmlDigest("<a xml:space='preserve'><d><b/></d></a>"));
  EXPECT_EQ(xmlDigest("<a xml:space='preserve'><d xml:space='default'> <b/></d></a>"),
            xmlDigest("<a xml:space='preserve'><d xml:space='default'><b/></d></a>"));
}

TEST(DigestXml, SeesEveryOtherDifference) {
  std::string const document = "<a x='1' xmlns='u'><b>t</b><c/></a>";
  for (char const* const other :
       {"<a x='2' xmlns='u'><b>t</b><c/></a>", "<a y='1' xmlns='u'><b>t</b><c/></a>", "<a xmlns='u'><b>t</b><c/></a>",
        "<a x='1' xmlns='v'><b>t</b><c/></a>", "<a x='1' xmlns='u'><b>T</b><c/></a>",
        "<a x='1' xmlns='u'><c/><b>t</b></a>", "<a x='1' xmlns='u'><b>t<c/></b></a>", "<a x='1' xmlns='u'><b>t</b></a>",
        "<a x='1' xmlns='u'><b>t</b><c/>u</a>", "<a p:x='1' xmlns='u' xmlns:p='u'><b>t</b><c/></a>"})
    EXPECT_NE(xmlDigest(document), xmlDigest(other)) << other;
}

TEST(DigestXml, DoesNotSeeInWhichPiecesALongTextIsParsed) {
  std::string const text(100'000, 'x');
  EXPECT_EQ(xmlDigest("<a>" + text + "</a>"), xmlDigest("<!-- moved --><a>" + text + "<![CDATA[]]></a>"));
}

TEST(DigestXml, TakesDocumentsInUtf16) {
  std::string utf16("\xFE\xFF", 2);
  for (char const c : std::string("<a>\xE9</a>")) utf16 += std::string(1, '\0') + c;
  EXPECT_EQ(xmlDigest(utf16), xmlDigest("<a>\xC3\xA9</a>"));
}

TEST(DigestXml, RefusesWhatTheReaderRefuses) {
  for (std::string const& document :
       {std::string(), std::string("text"), std::string("<a>"), std::string("<!DOCTYPE a [<!ENTITY e 'x'>]><a>&e;</a>"),
        std::string("<a b='") + std::string(2'000'000, 'x') + "'/>"})
    EXPECT_THROW(xmlDigest(document), model::InvalidXMLDocument) << document.substr(0, 40);
}

}  // namespace
}  // namespace opc::ztservices
