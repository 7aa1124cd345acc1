// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "opc/Strings.hpp"
#include "opc/Time.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/PackageHelper.hpp"
#include "services/properties/CorePropertiesSamples.hpp"
#include "support/TestSupport.hpp"

namespace opc::ztservices {
namespace {

using model::Package;
using ReleaseInfo = CoreProperties::ReleaseInfo;
using namespace samples;

constexpr char kUUIDIsSet[] = "UUID is already set. It can not be overwritten";

TEST(CorePropertiesManager, NamesItsPartsTypesAndRelationships) {
  EXPECT_EQ(CorePropertiesManager::getPartURI().toString(), u"/metadata/ztcoreProperties.xml");
  EXPECT_EQ(CorePropertiesManager::getPartContentType().toString(),
            u"application/vnd.corvanta.package.coreProperties+xml");
  EXPECT_EQ(CorePropertiesManager::getRelationshipType(), toString(kVendorType));
  EXPECT_EQ(CorePropertiesManager::getExtensionPartURI().toString(), u"/metadata/ztcorePropertiesExtension.xml");
  EXPECT_EQ(CorePropertiesManager::getExtensionPartContentType().toString(),
            u"application/vnd.corvanta.package.corePropertiesExtension+xml");
  EXPECT_EQ(CorePropertiesManager::getExtensionRelationshipType(), toString(kExtensionType));
  EXPECT_EQ(CorePropertiesManager::getReleaseInfoPartURI().toString(), u"/metadata/ztcorePropertiesReleaseInfo.xml");
  EXPECT_EQ(CorePropertiesManager::getReleaseInfoPartContentType().toString(),
            u"application/vnd.corvanta.package.corePropertiesReleaseInfo+xml");
  EXPECT_EQ(CorePropertiesManager::getReleaseInfoRelationshipType(), toString(kReleaseInfoType));
}

TEST(CorePropertiesManager, SaysWhatItManages) {
  auto const package = Package::createInMemory();
  CorePropertiesManager const manager(*package);
  EXPECT_EQ(manager.getManagedPartNames(),
            (std::vector<std::u16string>{u"/metadata/ztcoreProperties.xml", u"/metadata/ztcorePropertiesExtension.xml",
                                         u"/metadata/ztcorePropertiesReleaseInfo.xml"}));
  EXPECT_EQ(manager.getManagedRelationshipTypes(),
            (std::vector<std::u16string>{toString(kVendorType), toString(kExtensionType), toString(kReleaseInfoType)}));
}

TEST(CorePropertiesManager, FindsARecordThatIsNotValidInAnEmptyPackage) {
  auto const package = Package::createInMemory();
  CoreProperties const properties = load(*package);
  EXPECT_FALSE(properties.isValid());
  EXPECT_FALSE(properties.getUUID());
  EXPECT_TRUE(package->getPartNames().empty());
}

TEST(CorePropertiesManager, MayBeConst) {
  auto const package = Package::createInMemory();
  addPart(*package, "/e.xml", extensionXml("<uuid>" + toUTF8String(kUUID) + "</uuid>"), kExtensionType);
  CorePropertiesManager const manager(*package);
  manager.load();
  EXPECT_EQ(*manager.getCoreProperties().getUUID(), kUUID);
}

TEST(CorePropertiesManager, LoadsOnce) {
  auto const package = Package::createInMemory();
  CorePropertiesManager manager(*package);
  manager.load();
  addPart(*package, "/v.xml", "none", kVendorType);
  EXPECT_EQ(manager.getCoreProperties().getContentType(), u"");
}

TEST(CorePropertiesManager, HandsOutCopies) {
  auto const package = Package::createInMemory();
  CorePropertiesManager manager(*package);
  manager.setCoreProperties(record());
  manager.getCoreProperties().setTitle(u"title");
  EXPECT_EQ(manager.getCoreProperties().getTitle(), u"");
}

TEST(CorePropertiesManager, IsDirtyOnceARecordIsSet) {
  auto const package = Package::createInMemory();
  CorePropertiesManager manager(*package);
  EXPECT_FALSE(manager.getCoreProperties().isValid());
  EXPECT_FALSE(manager.isDirty());
  manager.setCoreProperties(record());
  EXPECT_TRUE(manager.isDirty());
  package->save();
  EXPECT_FALSE(manager.isDirty());
}

TEST(CorePropertiesManager, TakesARecordThatIsNotValid) {
  auto const package = Package::createInMemory();
  CorePropertiesManager manager(*package);
  manager.setCoreProperties(record());
  manager.setCoreProperties(CoreProperties());
  EXPECT_FALSE(manager.getCoreProperties().isValid());
  EXPECT_EQ(manager.getCoreProperties().getContentType(), u"");
}

TEST(CorePropertiesManager, KeepsItsUUIDWhereTheNewRecordHasNone) {
  auto const package = Package::createInMemory();
  CorePropertiesManager manager(*package);
  CoreProperties properties = record();
  properties.setUUID(kUUID);
  manager.setCoreProperties(properties);
  manager.setCoreProperties(properties);
  manager.setCoreProperties(record());
  EXPECT_EQ(*manager.getCoreProperties().getUUID(), kUUID);
}

TEST(CorePropertiesManager, RefusesAnotherUUIDAndChangesNothing) {
  auto const package = Package::createInMemory();
  CoreProperties properties = record();
  properties.setUUID(kUUID);
  save(*package, properties);
  CorePropertiesManager manager(*package);
  CoreProperties other = record(u"R2010b");
  other.setUUID(kOtherUUID);
  EXPECT_THROW_MESSAGE(manager.setCoreProperties(other), InvalidCorePropertyValue, kUUIDIsSet);
  EXPECT_FALSE(manager.isDirty());
  EXPECT_EQ(manager.getCoreProperties().getTALBEXRelease(), u"R2009a");
}

TEST(CorePropertiesManager, ThrowsOnceItsPackageIsGone) {
  auto package = Package::createInMemory();
  CorePropertiesManager manager(*package);
  package.reset();
  EXPECT_THROW_MESSAGE(manager.getCoreProperties(), InvalidCoreProperties, "The package is gone");
}

TEST(CorePropertiesManager, TheLastOfTwoDirtyOnesDecides) {
  auto const package = Package::createInMemory();
  CorePropertiesManager first(*package), second(*package);
  CoreProperties properties = record(u"R2010b");
  properties.setUUID(kUUID);
  second.setCoreProperties(properties);
  first.setCoreProperties(record());
  package->save();
  EXPECT_EQ(load(*package).getTALBEXRelease(), u"R2010b");
  EXPECT_EQ(*load(*package).getUUID(), kUUID);
}

}  // namespace
}  // namespace opc::ztservices
