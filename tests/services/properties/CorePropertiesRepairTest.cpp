// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <memory>
#include <string>
#include <vector>

#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/PackageHelper.hpp"
#include "opc/ztservices/Exceptions.hpp"
#include "services/properties/CorePropertiesSamples.hpp"
#include "support/TestSupport.hpp"

/// Damaged properties, and how they are replaced.
namespace opc::ztservices {
namespace {

using namespace samples;
using model::Package;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kKind[] = "application/vnd.corvanta.talbex.toolbox";
constexpr char kStandardType[] =
    "http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties";

std::string standardXml(std::string const& children) {
  return "<cp:coreProperties xmlns:cp='http://schemas.openxmlformats.org/package/2006/metadata/core-properties' "
         "xmlns:dc='http://purl.org/dc/elements/1.1/' xmlns:x='urn:x'>" +
         children + "</cp:coreProperties>";
}

/// A part that cannot be loaded, or a relationship without a part.
struct Damage {
  char const* name;
  std::string content;
  char const* relationshipType;
};

std::vector<Damage> damages() {
  return {{"/v.xml", vendorXml(kKind, "My Toolbox", "R2019c"), kVendorType},
          {"/v.xml", "no XML", kVendorType},
          {"/e.xml", extensionXml("<uuid>none</uuid>"), kExtensionType},
          {"/e.xml", extensionXml(""), kExtensionType},
          {"/r.xml", "none", kReleaseInfoType},
          {"/c.xml", standardXml("<x:foreign/><dc:title>old</dc:title>"), kStandardType},
          {"/c.xml", "no XML", kStandardType}};
}

void expectReplaced(Package& package) {
  EXPECT_THROW(load(package), InvalidCoreProperties);
  CoreProperties properties = record();
  properties.setTitle(u"new");
  CorePropertiesManager manager(package);
  manager.setCoreProperties(properties);
  EXPECT_EQ(manager.getCoreProperties().getTitle(), u"new");
  package.save();
  CoreProperties const again = load(*reopen(package));
  EXPECT_EQ(again.getTitle(), u"new");
  EXPECT_EQ(again.getTALBEXRelease(), u"R2009a");
  EXPECT_TRUE(CoreProperties::isValidUUID(*again.getUUID()));
}

TEST(CorePropertiesRepair, ADamagedPartIsReplaced) {
  for (auto const& [name, content, type] : damages()) {
    SCOPED_TRACE(content);
    auto const package = Package::createInMemory();
    addPart(*package, name, content, type);
    expectReplaced(*package);
  }
}

TEST(CorePropertiesRepair, ARelationshipThatLeadsNowhereIsReplaced) {
  for (char const* const type : {kVendorType, kExtensionType, kReleaseInfoType, kStandardType}) {
    SCOPED_TRACE(type);
    auto const package = Package::createInMemory();
    package->createInternalRelationship(toString(std::string(type)), model::URI(u"/gone.xml"));
    if (type != kStandardType) {
      expectReplaced(*package);
      EXPECT_LE(package->getRelationshipsByType(toString(std::string(type))).size(), 1U);
    } else {
      save(*package, record());
    }
  }
}

TEST(CorePropertiesRepair, SettingLoadsNothing) {
  auto const package = Package::createInMemory();
  save(*package, record(u"R2010b"));
  CorePropertiesManager manager(*package);
  manager.setCoreProperties(record());
  package->deletePart(model::PartName(u"/metadata/ztcoreProperties.xml"));
  EXPECT_EQ(manager.getCoreProperties().getTALBEXRelease(), u"R2009a");
}

TEST(CorePropertiesRepair, APresentUUIDStaysWhereAnotherPartIsDamaged) {
  auto const package = Package::createInMemory();
  addPart(*package, "/v.xml", vendorXml(kKind, "My Toolbox", "R2019c"), kVendorType);
  addPart(*package, "/e.xml", extensionXml("<uuid>" + toUTF8String(kUUID) + "</uuid>"), kExtensionType);
  CorePropertiesManager manager(*package);
  CoreProperties other = record();
  other.setUUID(kOtherUUID);
  EXPECT_THROW(manager.setCoreProperties(other), InvalidCorePropertyValue);
  manager.setCoreProperties(record());
  package->save();
  EXPECT_EQ(*load(*package).getUUID(), kUUID);
}

TEST(CorePropertiesRepair, AFailedSaveLeavesAllPartsAsTheyWere) {
  auto const package = Package::createInMemory();
  CoreProperties properties = record(u"R2010b");
  properties.setTitle(u"title");
  save(*package, properties);
  auto const before = snapshot(*package);
  properties = record(u"R2009a");
  properties.setTitle(u"a\u0001b");
  EXPECT_THROW(save(*package, properties), model::InvalidXMLDocument);
  EXPECT_EQ(snapshot(*package), before);
}

TEST(CorePropertiesRepair, AFailedSaveOfAnEmptyPackageMakesNothing) {
  auto const package = Package::createInMemory();
  CorePropertiesManager manager(*package);
  CoreProperties properties = record();
  properties.setTitle(u"a\u0001b");
  manager.setCoreProperties(properties);
  EXPECT_THROW(package->save(), model::InvalidXMLDocument);
  EXPECT_THAT(package->getPartNames(), IsEmpty());
  EXPECT_THAT(package->getRelationships(), IsEmpty());
  EXPECT_FALSE(manager.getCoreProperties().getUUID());
  EXPECT_TRUE(manager.getCoreProperties().getCreatedTime().is_special());
}

TEST(CorePropertiesRepair, AForeignPartInTheWayOfOneLeavesTheOthersAsTheyWere) {
  CoreProperties full = record();
  full.setTALBEXReleaseInfo(kOtherRelease);
  for (char const* const name : {"/metadata/ztcoreProperties.xml", "/metadata/ztcorePropertiesExtension.xml",
                                 "/metadata/ztcorePropertiesReleaseInfo.xml"}) {
    auto const package = Package::createInMemory();
    addPart(*package, name, "somebody's");
    auto const before = snapshot(*package);
    EXPECT_THROW(save(*package, full), model::PartNameClash) << name;
    EXPECT_EQ(snapshot(*package), before);
    EXPECT_THAT(package->getRelationships(), IsEmpty());
  }
}

TEST(CorePropertiesRepair, StandardPropertiesThatCouldNotBeReadBackAreNotSaved) {
  auto const package = Package::createInMemory();
  CoreProperties properties = record();
  properties.setTitle(std::u16string(17'000'000, u'x'));
  EXPECT_THROW(save(*package, properties), model::InvalidXMLDocument);
  EXPECT_THAT(package->getPartNames(), IsEmpty());
}

TEST(CorePropertiesRepair, ReadableValuesAreReadAndFaultsAreNamed) {
  auto const package = Package::createInMemory();
  addPart(*package, "/v.xml", vendorXml(kKind, "My Toolbox", "R2019c"), kVendorType);
  addPart(*package, "/e.xml", extensionXml("<uuid>none</uuid>"), kExtensionType);
  addPart(*package, "/r.xml", "none", kReleaseInfoType);
  addPart(*package, "/c.xml", standardXml("<x:foreign/><dc:title>T</dc:title><dc:creator>C</dc:creator>"),
          kStandardType);
  std::vector<std::string> faults;
  CoreProperties const read = CorePropertiesManager(*package).getReadableProperties(faults);
  EXPECT_EQ(toUTF8String(read.getContentType()), kKind);
  EXPECT_EQ(read.getContentTypeFriendlyName(), u"My Toolbox");
  EXPECT_EQ(read.getTALBEXRelease(), u"");
  EXPECT_FALSE(read.getUUID());
  EXPECT_EQ(read.getTitle(), u"T");
  EXPECT_EQ(read.opcProps().getCreator(), u"C");
  EXPECT_THAT(faults, ElementsAre(HasSubstr("TALBEX release must have the format"), HasSubstr("UUID must have"),
                                  HasSubstr("Could not construct a ReleaseInfo"), HasSubstr("Unexpected element")));
}

TEST(CorePropertiesRepair, AnUndamagedRecordIsReadWithoutFaults) {
  auto const package = Package::createInMemory();
  CoreProperties properties = record(u"R2010b");
  properties.setTitle(u"title");
  save(*package, properties);
  std::vector<std::string> faults;
  CoreProperties const read = CorePropertiesManager(*package).getReadableProperties(faults);
  EXPECT_THAT(faults, IsEmpty());
  EXPECT_EQ(read.getTitle(), u"title");
  EXPECT_EQ(read.getTALBEXRelease(), u"R2010b");
  EXPECT_EQ(*read.getUUID(), *load(*package).getUUID());
}

}  // namespace
}  // namespace opc::ztservices
