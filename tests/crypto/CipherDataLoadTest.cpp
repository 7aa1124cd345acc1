// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>
#include <string>

#include "crypto/CipherDataSamples.hpp"

/// What is made of a part of any maker.
namespace opc::ztservices {
namespace {

using namespace samples;
using model::InvalidPartContent;

/// The message of the InvalidXMLDocument that loading throws.
std::string parserFaultOf(std::string const& document) {
  try {
    samples::load(document);
  } catch (model::InvalidXMLDocument const& error) {
    return error.what();
  }
  return "none";
}

std::string entryWith(std::string const& from, std::string const& to) {
  std::string entry = entryXml();
  return cipherData(entry.replace(entry.find(from), from.size(), to));
}

void expectRefused(std::string const& document, std::string const& reason) {
  EXPECT_NE(parserFaultOf(document).find(reason), std::string::npos) << document << "\n" << parserFaultOf(document);
}

TEST(CipherDataLoad, FindsNothingWhereThereIsNoRelationship) {
  auto const package = Package::createInMemory();
  addPart(*package, kPart, "no cipher data");
  EXPECT_FALSE(CipherDataManager(*package).hasCipherEntry(byID()));
}

TEST(CipherDataLoad, ReadsAnEntry) {
  auto const package = packageWith(cipherData(entryXml()));
  expectEntry(CipherDataManager(*package).getCipherEntry(byID()), byID());
}

TEST(CipherDataLoad, FollowsTheRelationship) {
  auto const package = packageWith(cipherData(entryXml()), u"/some/where.xml");
  expectEntry(CipherDataManager(*package).getCipherEntry(byID()), byID());
}

TEST(CipherDataLoad, FollowsARelationshipThatWritesItsTargetInAnotherCase) {
  auto const package = Package::createInMemory();
  addPart(*package, kPart, cipherData(entryXml()));
  package->createInternalRelationship(kRelationshipType, model::URI(u"/METADATA/ztcipherdata.XML"));
  expectEntry(CipherDataManager(*package).getCipherEntry(byID()), byID());
}

TEST(CipherDataLoad, ReadsBothKindsOfSelectors) {
  auto const package = packageWith(entryWith("ByID", "ByType"));
  expectEntry(CipherDataManager(*package).getCipherEntry(byType(u"rId1")), byType(u"rId1"));
}

TEST(CipherDataLoad, RequiresASelector) {
  EXPECT_THROW_MESSAGE(samples::load(cipherData(entryXml(kTextsXml))), InvalidPartContent,
                       "XML signature: RelationshipSelector is not present.");
}

TEST(CipherDataLoad, RequiresTheSource) {
  EXPECT_THROW_MESSAGE(samples::load(entryWith("SourceURI='/'", "")), InvalidPartContent,
                       "RelationshipSelector xml element missing SourceURI attribute.");
}

TEST(CipherDataLoad, RequiresTheTypeOfTheSelector) {
  EXPECT_THROW_MESSAGE(samples::load(entryWith("SelectorType='ByID'", "")), InvalidPartContent,
                       "RelationshipSelector xml element missing SelectorType attribute.");
}

TEST(CipherDataLoad, RequiresTheValueUnderAnotherName) {
  EXPECT_THROW_MESSAGE(samples::load(entryWith("Value='rId1'", "")), InvalidPartContent,
                       "RelationshipSelector xml element missing SelectorValue attribute.");
}

TEST(CipherDataLoad, NamesTheFirstMissingAttribute) {
  EXPECT_THROW_MESSAGE(samples::load(entryWith("SourceURI='/' SelectorType='ByID' Value='rId1'", "")),
                       InvalidPartContent, "RelationshipSelector xml element missing SourceURI attribute.");
}

TEST(CipherDataLoad, TakesEmptyAttributes) {
  auto const package = packageWith(
      entryWith("SourceURI='/' SelectorType='ByID' Value='rId1'", "SourceURI='' SelectorType='ByID' Value=''"));
  EXPECT_TRUE(CipherDataManager(*package).hasCipherEntry(byID(u"", u"")));
}

TEST(CipherDataLoad, RequiresTexts) {
  EXPECT_THROW_MESSAGE(samples::load(entryWith("<Hash>AQID", "<Hash>")), InvalidPartContent,
                       "XML signature: Hash is empty.");
  EXPECT_THROW_MESSAGE(samples::load(entryWith("<Salt>some salt</Salt>", "<Salt/>")), InvalidPartContent,
                       "XML signature: Salt is empty.");
  EXPECT_THROW_MESSAGE(samples::load(entryWith("/wB/gA==", "<!-- none -->")), InvalidPartContent,
                       "XML signature: IV is empty.");
}

TEST(CipherDataLoad, TakesNoWhiteSpaceForBytes) {
  EXPECT_THROW_MESSAGE(samples::load(entryWith("AQID", " \n\t")), InvalidPartContent, "XML signature: Hash is empty.");
}

TEST(CipherDataLoad, TakesDigitsInSeveralLines) {
  auto const package = packageWith(entryWith("AQID", "\n  AQ\r\n\tID\n"));
  expectEntry(CipherDataManager(*package).getCipherEntry(byID()), byID());
}

TEST(CipherDataLoad, TakesASaltAsItIs) {
  auto const package = packageWith(entryWith("some salt", " &#13;a<![CDATA[<b>]]> "));
  expectEntry(CipherDataManager(*package).getCipherEntry(byID()), byID(), kHash, u" \ra<b> ");
}

TEST(CipherDataLoad, RefusesWhatIsNotBase64) {
  for (char const* text : {"AQI", "AQI*", "AQID=", "=", "AQJ=", "\xC3\xA9\xC3\xA9"}) {
    EXPECT_THROW_MESSAGE(samples::load(entryWith("AQID", text)), InvalidPartContent,
                         "XML signature: Hash is not base64.");
    EXPECT_THROW_MESSAGE(samples::load(entryWith("/wB/gA==", text)), InvalidPartContent,
                         "XML signature: IV is not base64.");
  }
}

TEST(CipherDataLoad, IgnoresWhatLaterVersionsAdd) {
  for (char const* added :
       {"<NewEntry/>", "<NewEntry><Hash>other</Hash><Hash/></NewEntry>",
        "<NewEntry><x xmlns='urn:x' a='1'/></NewEntry>", "<NewEntry><x xmlns=''><y/></x></NewEntry>",
        "<NewEntry>text</NewEntry>", "<NewEntry x='1'> text <CipherEntry/> <RelationshipSelector/></NewEntry>"}) {
    auto const package = packageWith(cipherData(entryXml(kSelectorXml + kTextsXml + added)));
    expectEntry(CipherDataManager(*package).getCipherEntry(byID()), byID());
  }
}

TEST(CipherDataLoad, RefusesTwoEntriesOfOneSelector) {
  std::string const other = entryXml(kSelectorXml + "<Hash>AQIE</Hash><Salt>s</Salt><IV>AQIE</IV>");
  EXPECT_THROW_MESSAGE(samples::load(cipherData(entryXml() + other)), InvalidCipherData,
                       "Cipher data in the package has multiple entries with the same values.");
}

TEST(CipherDataLoad, RefusesWhatTheSchemaForbids) {
  expectRefused(cipherData(""), "CipherEntry");
  expectRefused("<CipherData/>", "CipherData");
  expectRefused(entryWith("<Hash>AQID</Hash>", ""), "Hash");
  expectRefused(entryWith("<Salt>some salt</Salt>", ""), "Salt");
  expectRefused(entryWith("<IV>/wB/gA==</IV>", ""), "IV");
  expectRefused(entryWith("<Hash>AQID</Hash>", "<Hash>AQID</Hash><Hash>AQID</Hash>"), "Hash");
  expectRefused(cipherData(entryXml(kTextsXml + kSelectorXml)), "RelationshipSelector");
  expectRefused(cipherData(entryXml(kSelectorXml + kSelectorXml + kTextsXml)), "RelationshipSelector");
  expectRefused(cipherData(entryXml(kSelectorXml + kTextsXml + "<NewEntry/><NewEntry/>")), "NewEntry");
  expectRefused(cipherData(entryXml(kSelectorXml + kTextsXml + "<Other/>")), "Other");
  expectRefused(entryWith("ByID", "byID"), "byID");
  expectRefused(entryWith("Value='rId1'", "Value='rId1' Other=''"), "Other");
  expectRefused(entryWith("AQID", "<b>AQID</b>"), "Hash");
  expectRefused(cipherData(entryXml() + "text"), "no character data is allowed");
}

TEST(CipherDataLoad, RefusesWhatIsNotWellFormed) {
  std::string const document = cipherData(entryXml());
  EXPECT_EQ(parserFaultOf(document), "none");
  for (std::size_t length = 0; length < document.size(); ++length)
    EXPECT_NE(parserFaultOf(document.substr(0, length)), "none") << length;
  EXPECT_NE(parserFaultOf("<!DOCTYPE CipherData>" + document), "none");
}

TEST(CipherDataLoad, RefusesARelationshipThatLeadsNowhere) {
  auto const package = Package::createInMemory();
  package->createInternalRelationship(kRelationshipType, model::URI(u"/gone.xml"));
  EXPECT_THROW_MESSAGE(CipherDataManager(*package).load(), model::PartNotFound, "Part not found: /gone.xml");
}

TEST(CipherDataLoad, HappensBeforeEveryOperation) {
  constexpr char kMessage[] = "XML signature: RelationshipSelector is not present.";
  auto const package = packageWith(cipherData(entryXml(kTextsXml)));
  CipherDataManager manager(*package);
  EXPECT_THROW_MESSAGE(manager.addCipherEntry(byID(), {}, u"", {}), InvalidPartContent, kMessage);
  EXPECT_THROW_MESSAGE(manager.deleteCipherEntry(byID()), InvalidPartContent, kMessage);
  EXPECT_THROW_MESSAGE(manager.getCipherEntry(byID()), InvalidPartContent, kMessage);
  EXPECT_THROW_MESSAGE(manager.hasCipherEntry(byID()), InvalidPartContent, kMessage);
  manager.markAsDirty();
  EXPECT_THROW_MESSAGE(package->save(), InvalidPartContent, kMessage);
}

TEST(CipherDataLoad, CanBeRepeatedFromTheStart) {
  auto const package = packageWith(cipherData(entryXml() + entryXml()));
  CipherDataManager manager(*package);
  EXPECT_THROW(manager.load(), InvalidCipherData);
  writePart(package->getPart(PartName(kPart)), entryWith("rId1", "rId2"));
  EXPECT_FALSE(manager.hasCipherEntry(byID()));
  EXPECT_TRUE(manager.hasCipherEntry(byID(u"rId2")));
}

}  // namespace
}  // namespace opc::ztservices
