// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "opc/Time.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/PackageHelper.hpp"
#include "package/ModelSamples.hpp"

/// The rules of the core-properties part (ECMA-376-2, 11), one test each. A part that breaks one is refused
/// when it is read; its package opens and is saved as it is.
namespace opc::model {
namespace {

std::string const kType = "http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties";

std::string coreDocument(std::string const& children, std::string const& rootAttributes = {}) {
  return "<cp:coreProperties xmlns:cp='http://schemas.openxmlformats.org/package/2006/metadata/core-properties' "
         "xmlns:dc='http://purl.org/dc/elements/1.1/' xmlns:dcterms='http://purl.org/dc/terms/' "
         "xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' " +
         rootAttributes + ">" + children + "</cp:coreProperties>";
}

std::unique_ptr<Package> packageOfCore(std::string const& xml) {
  std::string const relationship = "<Relationship Id='c' Type='" + kType + "' Target='core.xml'/>";
  return samples::open(samples::packageOf({{"_rels/.rels", samples::relationships(relationship)}, {"core.xml", xml}}));
}

/// What reading the properties says; the package itself must open and keep the part to the letter.
std::string faultOfDocument(std::string const& xml) {
  auto const package = packageOfCore(xml);
  EXPECT_EQ(samples::read(*samples::open(package->saveToBytes()), u"/core.xml"), xml);
  try {
    PackageHelper::getCoreProperties(*package);
  } catch (InvalidPartContent const& error) {
    return std::string(error.what()).substr(std::string("/core.xml: ").size());
  }
  return "none";
}

std::string faultOfChildren(std::string const& children) { return faultOfDocument(coreDocument(children)); }

std::string created(std::string const& text) {
  return "<dcterms:created xsi:type='dcterms:W3CDTF'>" + text + "</dcterms:created>";
}

// 11.1, 11.2
TEST(CorePropertiesRules, TheirPartHasItsContentTypeAndARelationshipOfThePackage) {
  auto const package = Package::createInMemory();
  PackageHelper::createOrUpdateCoreProperties(*package, {});
  auto const found = package->getRelationshipsByType(std::u16string(kType.begin(), kType.end()));
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(package->getPart(PartName(found[0].getTargetURI())).getContentType().toString(),
            u"application/vnd.openxmlformats-package.core-properties+xml");
}

// 11.2
TEST(CorePropertiesRules, ThereIsOneRelationshipToThemAtTheMost) {
  auto const package = Package::createInMemory();
  PackageHelper::createOrUpdateCoreProperties(*package, {});
  std::u16string const type(kType.begin(), kType.end());
  EXPECT_THROW(package->createInternalRelationship(type, URI(u"other.xml")), InvalidRelationship);
  std::string const two = "<Relationship Id='a' Type='" + kType + "' Target='a.xml'/><Relationship Id='b' Type='" +
                          kType + "' Target='b.xml'/>";
  auto const foreign = samples::open(samples::packageOf({{"_rels/.rels", samples::relationships(two)},
                                                         {"a.xml", coreDocument("<dc:title>a</dc:title>")},
                                                         {"b.xml", coreDocument("<dc:title>b</dc:title>")}}));
  EXPECT_EQ(PackageHelper::getCoreProperties(*foreign).getTitle(), u"a");
  EXPECT_EQ(samples::open(foreign->saveToBytes())->getRelationshipsByType(type).size(), 2U);
}

// 11.3
TEST(CorePropertiesRules, TheyHaveNoMarkupCompatibility) {
  std::string const mc = "xmlns:mc='http://schemas.openxmlformats.org/markup-compatibility/2006' ";
  EXPECT_EQ(faultOfDocument(coreDocument("", mc)), "Markup compatibility is not allowed: cp:coreProperties");
  EXPECT_EQ(faultOfDocument(coreDocument("", mc + "xmlns:x='urn:x' mc:Ignorable='x'")),
            "Markup compatibility is not allowed: cp:coreProperties");
  EXPECT_EQ(faultOfChildren("<mc:AlternateContent " + mc + "/>"), "Unexpected element: mc:AlternateContent");
}

// 11.4
TEST(CorePropertiesRules, TheyRefineNoElementButTheTwoTimes) {
  for (std::string const name : {"issued", "available", "abstract", "alternative"})
    EXPECT_EQ(faultOfChildren("<dcterms:" + name + ">x</dcterms:" + name + ">"), "Unexpected element: dcterms:" + name);
  EXPECT_EQ(faultOfChildren(created("2006")), "none");
}

// 11.4
TEST(CorePropertiesRules, TheyHaveNoLanguageButForKeywords) {
  for (std::string const name : {"dc:title", "cp:category", "cp:lastPrinted"})
    EXPECT_EQ(faultOfChildren("<" + name + " xml:lang='en'/>"), "Unexpected attribute xml:lang: " + name);
  EXPECT_EQ(faultOfChildren("<cp:keywords xml:lang='en'><cp:value xml:lang='fr'>a</cp:value></cp:keywords>"), "none");
}

// 11.4
TEST(CorePropertiesRules, TheTwoTimesAloneHaveATypeAndNeedIt) {
  EXPECT_EQ(faultOfChildren("<dcterms:created>2006</dcterms:created>"),
            "xsi:type must be dcterms:W3CDTF: dcterms:created");
  EXPECT_EQ(faultOfChildren("<dcterms:modified xsi:type='dcterms:Period'>2006</dcterms:modified>"),
            "xsi:type must be dcterms:W3CDTF: dcterms:modified");
  EXPECT_EQ(faultOfChildren("<dc:title xsi:type='dcterms:W3CDTF'>2006</dc:title>"),
            "Unexpected attribute xsi:type: dc:title");
  EXPECT_EQ(faultOfChildren("<cp:lastPrinted xsi:type='dcterms:W3CDTF'>2006</cp:lastPrinted>"),
            "Unexpected attribute xsi:type: cp:lastPrinted");
}

// 11.4
TEST(CorePropertiesRules, NoElementIsRepeated) {
  for (std::string const element : {"<dc:title/>", "<cp:keywords/>", "<cp:contentType/>"}) {
    std::string const name = element.substr(1, element.size() - 3);
    EXPECT_EQ(faultOfChildren(element + element), "Repeated element: " + name);
  }
  EXPECT_EQ(faultOfChildren(created("2006") + created("2007")), "Repeated element: dcterms:created");
}

// 11.4; W3C NOTE-datetime
TEST(CorePropertiesRules, ATimeHasOneOfSixForms) {
  for (std::string const text : {"2006", "2006-10", "2006-10-13", "2006-10-13T18:06Z", "2006-10-13T18:06:01+02:00",
                                 "2006-10-13T18:06:01.5-11:30"})
    EXPECT_EQ(faultOfChildren(created(text)), "none") << text;
  for (std::string const text : {"", "06", "2006-13", "2006-02-30", "2006-10-13T18", "2006-10-13T18:06",
                                 "2006-10-13T18:06:61Z", "2006-10-13T18:06:01.Z", "2006-10-13 18:06Z", "yesterday"})
    EXPECT_EQ(faultOfChildren(created(text)), "Invalid time \"" + text + "\": dcterms:created");
}

// 11.4
TEST(CorePropertiesRules, AnElementHoldsTextAlone) {
  EXPECT_EQ(faultOfChildren("<dc:title>a<dc:title/></dc:title>"), "Unexpected element: dc:title");
  EXPECT_EQ(faultOfChildren("<dc:title x='1'/>"), "Unexpected attribute x: dc:title");
  EXPECT_EQ(faultOfChildren("text"), "Unexpected text: cp:coreProperties");
}

// 9.1.4
TEST(CorePropertiesRules, TheyHaveNoDocumentType) {
  EXPECT_NE(faultOfDocument("<!DOCTYPE a>" + coreDocument("")), "none");
  EXPECT_NE(faultOfDocument("<!DOCTYPE a [<!ENTITY e SYSTEM 'file:///etc/passwd'>]>" + coreDocument("&e;")), "none");
}

// 11
TEST(CorePropertiesRules, WhatIsWrittenObeysThem) {
  auto const package = Package::createInMemory();
  CoreProperties p;
  p.setKeywords({{u"a", u"en"}, {u"b", u""}});
  p.setCreated(convertStringToTime(u"2024-01-02T03:04:05.6Z"));
  p.setLastPrinted(p.getCreated());
  p.setModified(p.getCreated());
  for (auto const set :
       {&CoreProperties::setCategory, &CoreProperties::setContentStatus, &CoreProperties::setContentType,
        &CoreProperties::setCreator, &CoreProperties::setDescription, &CoreProperties::setIdentifier,
        &CoreProperties::setLanguage, &CoreProperties::setLastModifiedBy, &CoreProperties::setRevision,
        &CoreProperties::setSubject, &CoreProperties::setTitle, &CoreProperties::setVersion})
    (p.*set)(u" <a>\r\n&amp;\t]]> ");
  PackageHelper::createOrUpdateCoreProperties(*package, p);
  EXPECT_EQ(faultOfDocument(samples::read(*package, u"/docProps/core.xml")), "none");
  EXPECT_EQ(PackageHelper::getCoreProperties(*package).getVersion(), u" <a>\r\n&amp;\t]]> ");
}

}  // namespace
}  // namespace opc::model
