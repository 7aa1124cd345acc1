// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>

#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "services/properties/CorePropertiesSamples.hpp"
#include "support/TestSupport.hpp"

/// What is made of parts of any maker.
namespace opc::ztservices {
namespace {

using model::Package;
using ReleaseInfo = CoreProperties::ReleaseInfo;
using namespace samples;

constexpr char kToolbox[] = "application/vnd.corvanta.talbex.toolbox";
constexpr char kCoreType[] = "http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties";
std::string const kUUIDElement = "<uuid>" + toUTF8String(kUUID) + "</uuid>";

std::unique_ptr<Package> packageWith(std::string const& content, std::string const& relationshipType) {
  auto package = Package::createInMemory();
  addPart(*package, "/part.xml", content, relationshipType);
  return package;
}

/// The message of the InvalidCoreProperties that loading throws.
std::string faultOf(Package& package) {
  try {
    load(package);
  } catch (InvalidCoreProperties const& error) {
    return error.what();
  }
  return "none";
}

std::string faultOf(std::string const& content, std::string const& relationshipType) {
  return faultOf(*packageWith(content, relationshipType));
}

bool beginsWith(std::string const& text, std::string const& beginning) { return text.rfind(beginning, 0) == 0; }

TEST(CorePropertiesLoad, TakesEachPartByItself) {
  auto const vendor = load(*packageWith(vendorXml(kToolbox, "My Toolbox", "R2009a"), kVendorType));
  EXPECT_EQ(vendor.getContentType(), toString(kToolbox));
  EXPECT_EQ(vendor.getContentTypeFriendlyName(), u"My Toolbox");
  EXPECT_EQ(vendor.getTALBEXReleaseInfo(), ReleaseInfo("R2009a"));
  EXPECT_FALSE(vendor.getUUID());
  auto const extension = load(*packageWith(extensionXml(kUUIDElement), kExtensionType));
  EXPECT_EQ(*extension.getUUID(), kUUID);
  EXPECT_FALSE(extension.isValid());
  auto const release = load(*packageWith(kOtherRelease.getVersionInfo(), kReleaseInfoType));
  EXPECT_EQ(release.getTALBEXReleaseInfo(), kOtherRelease);
}

TEST(CorePropertiesLoad, ARunningReleaseWithoutReleaseInfoIsTakenInFull) {
  std::string const running = ReleaseInfo().getReleaseFamily();
  std::string upper = running;
  upper.back() = static_cast<char>(upper.back() - 'a' + 'A');
  for (std::string const& release : {running, upper}) {
    auto const package = packageWith(vendorXml(kToolbox, "T", release), kVendorType);
    EXPECT_EQ(load(*package).getTALBEXReleaseInfo(), ReleaseInfo()) << release;
  }
}

TEST(CorePropertiesLoad, TheReleaseInfoCountsMoreThanTheVendorPart) {
  auto const package = packageWith(vendorXml(kToolbox, "T", "R2009a"), kVendorType);
  addPart(*package, "/release.xml", kOtherRelease.getVersionInfo(), kReleaseInfoType);
  EXPECT_EQ(load(*package).getTALBEXReleaseInfo(), kOtherRelease);
}

TEST(CorePropertiesLoad, TakesAVersionInTheVendorPart) {
  std::string const children = "<contentType>" + std::string(kToolbox) +
                               "</contentType><contentTypeFriendlyName>T</contentTypeFriendlyName>"
                               "<talbexRelease>R2009a</talbexRelease><talbexVersion>7.8</talbexVersion>";
  EXPECT_EQ(load(*packageWith(vendorXml(children), kVendorType)).getTALBEXRelease(), u"R2009a");
}

TEST(CorePropertiesLoad, TakesTheFirstOfSeveralParts) {
  auto const package = packageWith(extensionXml(kUUIDElement), kExtensionType);
  addPart(*package, "/another.xml", "none", kExtensionType);
  EXPECT_EQ(*load(*package).getUUID(), kUUID);
}

TEST(CorePropertiesLoad, TakesUTF16) {
  std::u16string const text = u"\ufeff" + toString(extensionXml(kUUIDElement));
  std::string bytes;
  for (char16_t const c : text) bytes += {static_cast<char>(c & 0xff), static_cast<char>(c >> 8)};
  EXPECT_EQ(*load(*packageWith(bytes, kExtensionType)).getUUID(), kUUID);
}

TEST(CorePropertiesLoad, RefusesAVendorPartThatBreaksItsSchema) {
  std::string const three = "<contentType>" + std::string(kToolbox) +
                            "</contentType><contentTypeFriendlyName>T</contentTypeFriendlyName>"
                            "<talbexRelease>R2009a</talbexRelease>";
  EXPECT_EQ(faultOf(vendorXml(three), kVendorType), "none");
  for (std::string const& document :
       {vendorXml(""), vendorXml(three + "<more/>"), vendorXml(three + three),
        vendorXml("<contentType>" + std::string(kToolbox) + "</contentType><talbexRelease>R2009a</talbexRelease>"),
        vendorXml("text" + three), extensionXml(three), std::string("<ztcoreProperties/>"), std::string("<other/>")})
    EXPECT_TRUE(beginsWith(faultOf(document, kVendorType), "line 1, column ")) << document;
}

TEST(CorePropertiesLoad, RefusesPartsThatAreNotXml) {
  for (auto const* const type : {kVendorType, kExtensionType})
    for (std::string const document : {"", "text", "<ztcoreProperties", "<!DOCTYPE a><a/>"})
      EXPECT_TRUE(beginsWith(faultOf(document, type), "line 1, column ")) << document;
}

TEST(CorePropertiesLoad, RefusesValuesThatTheRecordRefuses) {
  EXPECT_EQ(faultOf(vendorXml("text/plain", "T", "R2009a"), kVendorType),
            "Content type must have the format: application/vnd.corvanta.<product>.<package-type>");
  EXPECT_EQ(faultOf(vendorXml(kToolbox, "", "R2009a"), kVendorType),
            "Content type friendly name must be a non-empty string");
  EXPECT_EQ(faultOf(vendorXml(kToolbox, "\nT\n", "R2009a"), kVendorType),
            "Content type friendly name must be a non-empty string");
  EXPECT_EQ(faultOf(vendorXml(kToolbox, "T", "R2009A"), kVendorType),
            "TALBEX release must have the format: R<four-digit-year>(a|b)");
  EXPECT_EQ(faultOf(extensionXml("<uuid>none</uuid>"), kExtensionType),
            "UUID must have the format: hhhhhhhh-hhhh-hhhh-hhhh-hhhhhhhhhhhh where h is a hexidecimal digit");
  EXPECT_EQ(faultOf(ReleaseInfo("R2009", "1", "", "").getVersionInfo(), kReleaseInfoType),
            "TALBEX release must have the format: R<four-digit-year>(a|b)");
}

TEST(CorePropertiesLoad, ChecksTheVendorPartsTextsInOrder) {
  EXPECT_EQ(faultOf(vendorXml("", "", ""), kVendorType),
            "Content type must have the format: application/vnd.corvanta.<product>.<package-type>");
  EXPECT_EQ(faultOf(vendorXml(kToolbox, "", ""), kVendorType), "Content type friendly name must be a non-empty string");
}

TEST(CorePropertiesLoad, RefusesAnExtensionPartWithAnotherRoot) {
  for (std::string const& document :
       {vendorXml(kToolbox, "T", "R2009a"), std::string("<ztcoreProperties/>"),
        "<other xmlns='http://schemas.corvanta.example/package/2014/corePropertiesExtension'>" + kUUIDElement +
            "</other>"})
    EXPECT_EQ(faultOf(document, kExtensionType), "The expected extended core properties root element is not present");
}

TEST(CorePropertiesLoad, RefusesAnExtensionPartWithoutUUID) {
  for (std::string const children : {"", "<talbexVersion>1</talbexVersion>", "<uuid xmlns=''>x</uuid>"})
    EXPECT_EQ(faultOf(extensionXml(children), kExtensionType), "The expected element uuid is not present");
}

TEST(CorePropertiesLoad, DoesNotValidateTheExtensionPart) {
  auto const package = packageWith(extensionXml("<talbexVersion/>" + kUUIDElement + "<more/>text"), kExtensionType);
  EXPECT_EQ(*load(*package).getUUID(), kUUID);
}

TEST(CorePropertiesLoad, RefusesAReleaseInfoThatIsNone) {
  constexpr char kMessage[] = "Could not construct a ReleaseInfo from the given XML";
  std::string const whole = kOtherRelease.getVersionInfo();
  for (std::string const& text : {std::string(), std::string("R2019b"), std::string("<releaseInfo/>"), whole + whole,
                                  vendorXml(kToolbox, "T", "R2009a")})
    EXPECT_EQ(faultOf(text, kReleaseInfoType), kMessage) << text;
}

TEST(CorePropertiesLoad, RefusesAReleaseInfoWithoutVersion) {
  EXPECT_EQ(faultOf(ReleaseInfo("R2019b", "", "described", "2019-09-11").getVersionInfo(), kReleaseInfoType),
            "ReleaseInfo is invalid");
}

TEST(CorePropertiesLoad, RefusesAReleaseInfoTooLongForADocument) {
  EXPECT_EQ(faultOf(std::string(16'777'217, ' '), kReleaseInfoType),
            "Could not construct a ReleaseInfo from the given XML");
}

TEST(CorePropertiesLoad, RefusesEveryTruncation) {
  for (auto const& [whole, type] : {std::pair(vendorXml(kToolbox, "T", "R2009a"), kVendorType),
                                    std::pair(extensionXml(kUUIDElement), kExtensionType)})
    for (std::size_t size = 0; size < whole.size(); ++size)
      EXPECT_NE(faultOf(whole.substr(0, size), type), "none") << size;
}

TEST(CorePropertiesLoad, RefusesARelationshipThatLeadsNowhere) {
  for (auto const* const type : {kVendorType, kExtensionType, kReleaseInfoType}) {
    auto const package = Package::createInMemory();
    package->createInternalRelationship(toString(type), model::URI(u"/gone.xml"));
    EXPECT_EQ(faultOf(*package), "Part not found: /gone.xml");
  }
}

TEST(CorePropertiesLoad, RefusesARelationshipThatLeadsOut) {
  auto const package = Package::createInMemory();
  package->createExternalRelationship(toString(kVendorType), u"http://example.org/v.xml");
  EXPECT_EQ(faultOf(*package), "Part not found: http://example.org/v.xml");
}

TEST(CorePropertiesLoad, RefusesABrokenStandardPart) {
  auto const package = packageWith("<none/>", kCoreType);
  EXPECT_TRUE(beginsWith(faultOf(*package), "/part.xml: ")) << faultOf(*package);
}

TEST(CorePropertiesLoad, ReportsTheFirstBrokenPart) {
  auto const package = packageWith(extensionXml("<uuid>none</uuid>"), kExtensionType);
  addPart(*package, "/release.xml", "none", kReleaseInfoType);
  addPart(*package, "/vendor.xml", vendorXml(kToolbox, "", "R2009a"), kVendorType);
  EXPECT_EQ(faultOf(*package), "Content type friendly name must be a non-empty string");
}

TEST(CorePropertiesLoad, EveryOperationThatReadsLoadsFirst) {
  auto const package = packageWith(extensionXml(""), kExtensionType);
  CorePropertiesManager manager(*package);
  constexpr char kMessage[] = "The expected element uuid is not present";
  EXPECT_THROW_MESSAGE(manager.load(), InvalidCoreProperties, kMessage);
  EXPECT_THROW_MESSAGE(manager.getCoreProperties(), InvalidCoreProperties, kMessage);
  manager.markAsDirty();
  EXPECT_THROW_MESSAGE(package->save(), InvalidCoreProperties, kMessage);
}

TEST(CorePropertiesLoad, CanBeRepeatedFromTheStart) {
  auto const package = packageWith(extensionXml(kUUIDElement), kExtensionType);
  addPart(*package, "/release.xml", "none", kReleaseInfoType);
  CorePropertiesManager manager(*package);
  EXPECT_THROW(manager.load(), InvalidCoreProperties);
  package->deletePart(model::PartName(u"/part.xml"));
  addPart(*package, "/part.xml", extensionXml("<uuid>" + toUTF8String(kOtherUUID) + "</uuid>"));
  package->deletePart(model::PartName(u"/release.xml"));
  addPart(*package, "/release.xml", kOtherRelease.getVersionInfo());
  EXPECT_EQ(*manager.getCoreProperties().getUUID(), kOtherUUID);
  EXPECT_EQ(manager.getCoreProperties().getTALBEXReleaseInfo(), kOtherRelease);
}

}  // namespace
}  // namespace opc::ztservices
