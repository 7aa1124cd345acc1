// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <utility>

#include "opc/Strings.hpp"
#include "opc/Time.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/PackageHelper.hpp"
#include "services/properties/CorePropertiesSamples.hpp"
#include "support/TestSupport.hpp"

/// What a save makes of the record.
namespace opc::ztservices {
namespace {

using model::Package;
using ReleaseInfo = CoreProperties::ReleaseInfo;
using namespace samples;

constexpr char kNotAllSet[] = "Not all required core properties are set";
constexpr char kVendorPart[] = "/metadata/ztcoreProperties.xml";
constexpr char kExtensionPart[] = "/metadata/ztcorePropertiesExtension.xml";
constexpr char kReleaseInfoPart[] = "/metadata/ztcorePropertiesReleaseInfo.xml";
ReleaseInfo const kMarkupRelease("R2019b", "9.7.0", "the \u00e9lan <release> & more", "2019-09-11");

bool has(Package const& package, char const* name) { return package.hasPart(model::PartName(toString(name))); }

CoreProperties fullRecord() {
  CoreProperties properties(u"application/vnd.corvanta.talbex.toolbox;a=b", u"M\u00fdj <Toolbox> & \U0001F600",
                            kMarkupRelease);
  properties.setUUID(kUUID);
  properties.setTitle(u"title");
  properties.setKeywords({{u"one", u"en"}, {u"two", u""}});
  properties.setCreatedTime(convertStringToTime(u"2024-02-29T23:59:58.125Z"));
  properties.setLastModifiedTime(convertStringToTime(u"2024-03-01T00:00:00Z"));
  properties.opcProps().setSubject(u"subject");
  return properties;
}

TEST(CorePropertiesSave, WritesTheDocumentedParts) {
  auto const package = Package::createInMemory();
  save(*package, fullRecord());
  EXPECT_EQ(read(*package, kVendorPart), zt_test::readFile(zt_test::data() / "ztcoreProperties.xml"));
  EXPECT_EQ(read(*package, kExtensionPart), zt_test::readFile(zt_test::data() / "ztcorePropertiesExtension.xml"));
  EXPECT_EQ(read(*package, kReleaseInfoPart), kMarkupRelease.getVersionInfo());
  EXPECT_TRUE(has(*package, "/docProps/core.xml"));
}

TEST(CorePropertiesSave, TypesAndRelatesItsParts) {
  auto const package = Package::createInMemory();
  save(*package, fullRecord());
  for (auto const& [part, type, relationship] :
       {std::tuple(kVendorPart, CorePropertiesManager::getPartContentType(), kVendorType),
        std::tuple(kExtensionPart, CorePropertiesManager::getExtensionPartContentType(), kExtensionType),
        std::tuple(kReleaseInfoPart, CorePropertiesManager::getReleaseInfoPartContentType(), kReleaseInfoType)}) {
    EXPECT_EQ(package->getPart(model::PartName(toString(part))).getContentType(), type);
    auto const found = package->getRelationshipsByType(toString(relationship));
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].getTargetURI().toString(), toString(part));
    EXPECT_EQ(found[0].getMode(), model::TargetMode::Internal);
  }
}

TEST(CorePropertiesSave, ComesBackWhole) {
  auto const package = Package::createInMemory();
  save(*package, fullRecord());
  auto const again = reopen(*package);
  CoreProperties const loaded = load(*again);
  EXPECT_EQ(loaded.getContentType(), fullRecord().getContentType());
  EXPECT_EQ(loaded.getContentTypeFriendlyName(), fullRecord().getContentTypeFriendlyName());
  EXPECT_EQ(loaded.getTALBEXReleaseInfo(), kMarkupRelease);
  EXPECT_EQ(*loaded.getUUID(), kUUID);
  EXPECT_EQ(loaded.getTitle(), u"title");
  EXPECT_EQ(loaded.getKeywords(), fullRecord().getKeywords());
  EXPECT_EQ(loaded.getCreatedTime(), fullRecord().getCreatedTime());
  EXPECT_EQ(loaded.getLastModifiedTime(), fullRecord().getLastModifiedTime());
  EXPECT_EQ(loaded.opcProps().getSubject(), u"subject");
}

TEST(CorePropertiesSave, GivesEqualBytesForEqualRecords) {
  auto const one = Package::createInMemory(), two = Package::createInMemory();
  save(*one, fullRecord());
  save(*two, fullRecord());
  EXPECT_EQ(one->saveToBytes(), two->saveToBytes());
}

TEST(CorePropertiesSave, RefusesARecordThatIsNotValidAndWritesNothing) {
  CoreProperties noType, noName, noRelease;
  noType.setContentTypeFriendlyName(u"Toolbox");
  noType.setTALBEXRelease(u"R2009a");
  noName.setContentType(record().getContentType());
  noName.setTALBEXRelease(u"R2009a");
  noRelease.setContentType(record().getContentType());
  noRelease.setContentTypeFriendlyName(u"Toolbox");
  for (CoreProperties const& properties : {noType, noName, noRelease, CoreProperties()}) {
    auto const package = Package::createInMemory();
    EXPECT_THROW_MESSAGE(save(*package, properties), InvalidCoreProperties, kNotAllSet);
    EXPECT_TRUE(package->getPartNames().empty());
    EXPECT_TRUE(package->getRelationships().empty());
  }
}

TEST(CorePropertiesSave, InvalidCorePropertiesCarriesAnEmptyCode) {
  auto const package = Package::createInMemory();
  try {
    save(*package, CoreProperties());
    FAIL();
  } catch (InvalidCoreProperties const& error) {
    EXPECT_EQ(error.getErrorCode(), boost::system::error_code(0, boost::system::system_category()));
  }
}

TEST(CorePropertiesSave, LeavesTheFileAloneWhenItFails) {
  zt_test::TemporaryDirectory const directory;
  {
    auto const package = Package::create(directory.u16("p.ztp"));
    save(*package, fullRecord());
  }
  std::string const before = zt_test::readFile(directory / "p.ztp");
  auto const package = Package::open(directory.u16("p.ztp"), model::AccessMode::ReadWrite);
  EXPECT_THROW_MESSAGE(save(*package, CoreProperties()), InvalidCoreProperties, kNotAllSet);
  EXPECT_EQ(zt_test::readFile(directory / "p.ztp"), before);
  CoreProperties unwritable = fullRecord();
  unwritable.setTitle(u"\u0001");
  EXPECT_THROW(save(*package, unwritable), model::InvalidXMLDocument);
  EXPECT_EQ(zt_test::readFile(directory / "p.ztp"), before);
}

TEST(CorePropertiesSave, CanBeRepeatedWithABetterRecord) {
  auto const package = Package::createInMemory();
  CorePropertiesManager manager(*package);
  manager.setCoreProperties(CoreProperties());
  EXPECT_THROW_MESSAGE(package->save(), InvalidCoreProperties, kNotAllSet);
  EXPECT_TRUE(manager.isDirty());
  manager.setCoreProperties(record());
  package->save();
  EXPECT_EQ(load(*package).getTALBEXRelease(), u"R2009a");
}

TEST(CorePropertiesSave, TouchesNoPartForATextThatXmlCannotCarry) {
  auto const package = Package::createInMemory();
  save(*package, fullRecord());
  auto const before = snapshot(*package);
  for (std::u16string const& name :
       {std::u16string(u"a\u0001b"), std::u16string(u"a\xd800z"), std::u16string(u"\uffff")}) {
    CoreProperties properties = fullRecord();
    properties.setContentTypeFriendlyName(name);
    EXPECT_THROW(save(*package, properties), model::InvalidXMLDocument);
    EXPECT_EQ(snapshot(*package), before);
  }
  CoreProperties properties = fullRecord();
  properties.setTALBEXReleaseInfo(ReleaseInfo("R2019b", "\x01", "", ""));
  EXPECT_THROW(save(*package, properties), model::InvalidXMLDocument);
  EXPECT_EQ(snapshot(*package), before);
}

TEST(CorePropertiesSave, TouchesNoPartForATextThatCouldNotBeReadBack) {
  auto const package = Package::createInMemory();
  CoreProperties properties = record();
  properties.setContentTypeFriendlyName(std::u16string(17'000'000, u'x'));
  EXPECT_THROW_MESSAGE(save(*package, properties), model::InvalidXMLDocument,
                       "The document is longer than 16777216 bytes");
  EXPECT_TRUE(package->getPartNames().empty());
}

TEST(CorePropertiesSave, GivesAUUIDAndKeepsIt) {
  auto const package = Package::createInMemory();
  CorePropertiesManager manager(*package);
  manager.setCoreProperties(record());
  package->save();
  std::u16string const uuid = *manager.getCoreProperties().getUUID();
  EXPECT_TRUE(CoreProperties::isValidUUID(uuid));
  manager.setCoreProperties(record());
  package->save();
  EXPECT_EQ(*manager.getCoreProperties().getUUID(), uuid);
  auto const again = reopen(*package);
  save(*again, record());
  EXPECT_EQ(*load(*again).getUUID(), uuid);
}

TEST(CorePropertiesSave, GivesATimeOfCreationWhereThePartIsNew) {
  auto const package = Package::createInMemory();
  auto const before = getCurrentTime();
  save(*package, record());
  CoreProperties const loaded = load(*package);
  EXPECT_LE(before, loaded.getCreatedTime());
  EXPECT_LE(loaded.getCreatedTime(), getCurrentTime());
  EXPECT_TRUE(loaded.getLastModifiedTime().is_not_a_date_time());
}

TEST(CorePropertiesSave, KeepsAGivenTimeOfCreation) {
  auto const package = Package::createInMemory();
  save(*package, fullRecord());
  EXPECT_EQ(load(*package).getCreatedTime(), fullRecord().getCreatedTime());
}

TEST(CorePropertiesSave, GivesNoTimeOfCreationToAnOldPart) {
  auto const package = Package::createInMemory();
  save(*package, record());
  save(*package, record());
  EXPECT_TRUE(load(*package).getCreatedTime().is_not_a_date_time());
}

TEST(CorePropertiesSave, ALegacyReleaseHasNoReleaseInfo) {
  auto const package = Package::createInMemory();
  save(*package, record(u"R2009a"));
  EXPECT_FALSE(has(*package, kReleaseInfoPart));
  EXPECT_TRUE(package->getRelationshipsByType(toString(kReleaseInfoType)).empty());
  EXPECT_EQ(load(*package).getTALBEXReleaseInfo(), ReleaseInfo("R2009a"));
}

TEST(CorePropertiesSave, ALegacyReleaseDeletesAFormerReleaseInfo) {
  auto const package = Package::createInMemory();
  save(*package, fullRecord());
  EXPECT_TRUE(has(*package, kReleaseInfoPart));
  addPart(*package, "/another.xml", kMarkupRelease.getVersionInfo(), kReleaseInfoType);
  save(*package, record(u"R2009a"));
  EXPECT_FALSE(has(*package, kReleaseInfoPart));
  EXPECT_FALSE(has(*package, "/another.xml"));
  EXPECT_TRUE(package->getRelationshipsByType(toString(kReleaseInfoType)).empty());
  EXPECT_EQ(load(*reopen(*package)).getTALBEXReleaseInfo(), ReleaseInfo("R2009a"));
}

TEST(CorePropertiesSave, TheRunningReleaseIsDescribedInFull) {
  auto const package = Package::createInMemory();
  save(*package, record(CoreProperties::getCurrentTALBEXRelease()));
  EXPECT_EQ(read(*package, kReleaseInfoPart), ReleaseInfo().getVersionInfo());
  EXPECT_EQ(load(*package).getTALBEXReleaseInfo(), ReleaseInfo());
}

TEST(CorePropertiesSave, AnotherReleaseIsReadAndSavedAgainAsItWasWritten) {
  auto const package = Package::createInMemory();
  save(*package, fullRecord());
  auto const again = reopen(*package);
  CoreProperties properties = load(*again);
  EXPECT_EQ(properties.getTALBEXReleaseInfo(), kMarkupRelease);
  properties.setTitle(u"another title");
  save(*again, properties);
  EXPECT_EQ(load(*reopen(*again)).getTALBEXReleaseInfo(), kMarkupRelease);
}

TEST(CorePropertiesSave, AReleaseWithoutVersionIsSavedAsALegacyOne) {
  auto const package = Package::createInMemory();
  CoreProperties properties = record();
  properties.setTALBEXReleaseInfo(ReleaseInfo("R2019b", "", "described", ""));
  save(*package, properties);
  EXPECT_EQ(load(*package).getTALBEXReleaseInfo(), ReleaseInfo("R2019b"));
}

TEST(CorePropertiesSave, RewritesPartsWhereTheyAre) {
  auto const package = Package::createInMemory();
  addPart(*package, "/a/v.xml", vendorXml("application/vnd.corvanta.a.b", "old", "R2009a"), kVendorType);
  addPart(*package, "/b/e.xml", extensionXml("<uuid>" + toUTF8String(kUUID) + "</uuid>"), kExtensionType);
  addPart(*package, "/c/r.xml", ReleaseInfo().getVersionInfo(), kReleaseInfoType);
  addPart(*package, "/d/core.xml",
          "<coreProperties xmlns='http://schemas.openxmlformats.org/package/2006/metadata/"
          "core-properties'/>",
          "http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties");
  save(*package, fullRecord());
  auto const names = package->getPartNames();
  EXPECT_EQ(std::count_if(names.begin(), names.end(), [](auto const& n) { return !n.isRelationshipsPart(); }), 4);
  EXPECT_EQ(read(*package, "/a/v.xml"), zt_test::readFile(zt_test::data() / "ztcoreProperties.xml"));
  EXPECT_EQ(read(*package, "/b/e.xml"), zt_test::readFile(zt_test::data() / "ztcorePropertiesExtension.xml"));
  EXPECT_EQ(read(*package, "/c/r.xml"), kMarkupRelease.getVersionInfo());
  EXPECT_NE(read(*package, "/d/core.xml").find(">title<"), std::string::npos);
  EXPECT_EQ(load(*reopen(*package)).getTALBEXReleaseInfo(), kMarkupRelease);
}

TEST(CorePropertiesSave, FindsPartsWhoseRelationshipsWriteThemInAnotherCase) {
  auto const package = Package::createInMemory();
  addPart(*package, "/Meta/V.xml", vendorXml("application/vnd.corvanta.a.b", "old", "R2009a"));
  addPart(*package, "/Meta/E.xml", extensionXml("<uuid>" + toUTF8String(kUUID) + "</uuid>"));
  addPart(*package, "/Meta/R.xml", kMarkupRelease.getVersionInfo());
  for (auto const& [name, type] : {std::pair(u"/meta/v.XML", kVendorType), std::pair(u"/META/e.xml", kExtensionType),
                                   std::pair(u"/meta/r.xml", kReleaseInfoType)})
    package->createInternalRelationship(toString(type), model::URI(name));
  EXPECT_EQ(load(*package).getUUID().value(), kUUID);
  EXPECT_EQ(load(*package).getTALBEXReleaseInfo(), kMarkupRelease);
  save(*package, record(u"R2009a"));
  EXPECT_NE(read(*package, "/Meta/V.xml").find("My Toolbox"), std::string::npos);
  EXPECT_FALSE(has(*package, "/Meta/R.xml"));
}

TEST(CorePropertiesSave, DeletesARenamedReleaseInfoToo) {
  auto const package = Package::createInMemory();
  addPart(*package, "/c/r.xml", kMarkupRelease.getVersionInfo(), kReleaseInfoType);
  save(*package, record(u"R2009a"));
  EXPECT_FALSE(has(*package, "/c/r.xml"));
}

TEST(CorePropertiesSave, KeepsWhatItFoundWhenNothingWasSet) {
  auto const package = Package::createInMemory();
  save(*package, fullRecord());
  auto const before = snapshot(*package);
  auto const again = reopen(*package);
  CorePropertiesManager manager(*again);
  manager.markAsDirty();
  again->save();
  EXPECT_EQ(snapshot(*again), before);
}

TEST(CorePropertiesSave, LeavesOtherPartsAlone) {
  auto const package = Package::createInMemory();
  addPart(*package, "/other.xml", "other");
  save(*package, fullRecord());
  EXPECT_EQ(read(*package, "/other.xml"), "other");
}

TEST(CorePropertiesSave, FailsOnAReadOnlyPackage) {
  auto const package = Package::createInMemory();
  save(*package, fullRecord());
  auto const readOnly = reopen(*package, model::AccessMode::ReadOnly);
  CorePropertiesManager manager(*readOnly);
  EXPECT_EQ(manager.getCoreProperties().getTitle(), u"title");
  manager.setCoreProperties(record());
  EXPECT_THROW(readOnly->save(), model::PackageIsReadOnly);
}

/// An empty part that no relationship leads to.
void addOrphan(Package& package, char const* name, model::ContentType const& type) {
  package.createPart(model::PartName(toString(name)), type, model::StandardPartInfo(model::CompressionType::Stored));
}

TEST(CorePropertiesSave, TakesThePlaceOfItsOrphans) {
  auto const package = Package::createInMemory();
  addOrphan(*package, "/METADATA/ztcoreproperties.xml", CorePropertiesManager::getPartContentType());
  addOrphan(*package, kExtensionPart, CorePropertiesManager::getExtensionPartContentType());
  addOrphan(*package, kReleaseInfoPart, CorePropertiesManager::getReleaseInfoPartContentType());
  addOrphan(*package, "/docProps/core.xml",
            model::ContentType(u"application/vnd.openxmlformats-package.core-properties+xml"));
  save(*package, fullRecord());
  auto const again = reopen(*package);
  EXPECT_EQ(again->getPartNames().size(), 6U);
  EXPECT_EQ(read(*again, "/docProps/core.xml"), "");  // standard core properties may be another program's
  EXPECT_EQ(read(*again, kVendorPart), zt_test::readFile(zt_test::data() / "ztcoreProperties.xml"));
  EXPECT_EQ(read(*again, kReleaseInfoPart), kMarkupRelease.getVersionInfo());
  EXPECT_EQ(load(*again).getTitle(), u"title");
}

TEST(CorePropertiesSave, ALegacyReleaseDeletesAnOrphanedReleaseInfo) {
  auto const package = Package::createInMemory();
  addOrphan(*package, kReleaseInfoPart, CorePropertiesManager::getReleaseInfoPartContentType());
  save(*package, record());
  EXPECT_FALSE(has(*package, kReleaseInfoPart));
}

TEST(CorePropertiesSave, FailsWhereAnotherPartHasTheName) {
  auto const package = Package::createInMemory();
  addPart(*package, "/metadata/ztcoreProperties.xml", "somebody's");
  EXPECT_THROW(save(*package, record()), model::PartNameClash);
  EXPECT_EQ(read(*package, "/metadata/ztcoreProperties.xml"), "somebody's");
}

}  // namespace
}  // namespace opc::ztservices
