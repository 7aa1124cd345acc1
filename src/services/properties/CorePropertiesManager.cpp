// SPDX-License-Identifier: Apache-2.0
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "opc/model/Exceptions.hpp"
#include "opc/model/PackageHelper.hpp"
#include "opc/ztservices/CoreProperties.hpp"
#include "services/properties/ExtendedPropertyParts.hpp"
#include "xml/XmlLimits.hpp"

namespace opc::ztservices {
namespace {

using model::Part;
using Bytes = std::vector<unsigned char>;
using ReleaseInfo = CoreProperties::ReleaseInfo;

using extended_properties::kExtension;
using extended_properties::kReleaseInfo;
using extended_properties::kVendor;

constexpr char kNotAllSet[] = "Not all required core properties are set";
constexpr char kNoExtensionRoot[] = "The expected extended core properties root element is not present";
constexpr char kNoReleaseInfo[] = "Could not construct a ReleaseInfo from the given XML";
constexpr char kInvalidReleaseInfo[] = "ReleaseInfo is invalid";

std::u16string const& requiredText(std::map<std::u16string, std::u16string> const& texts, std::u16string const& name) {
  auto const text = texts.find(name);
  if (text == texts.end())
    throw model::InvalidPartContent("The expected element " + toUDEString(name) + " is not present");
  return text->second;
}

void loadVendorPart(model::Package const& package, model::XmlTextRecord& xml, CoreProperties& properties) {
  auto const part = kVendor.find(package);
  if (!part) return;
  auto const texts = xml.read(*part->getInputStream()).value();  // the schema refuses other roots
  properties.setContentType(requiredText(texts, extended_properties::kContentType));
  properties.setContentTypeFriendlyName(requiredText(texts, extended_properties::kContentTypeFriendlyName));
  properties.setTALBEXRelease(requiredText(texts, extended_properties::kRelease));
}

void loadExtensionPart(model::Package const& package, model::XmlTextRecord& xml, CoreProperties& properties) {
  auto const part = kExtension.find(package);
  if (!part) return;
  auto const texts = xml.read(*part->getInputStream());
  if (!texts) throw model::InvalidPartContent(kNoExtensionRoot);
  properties.setUUID(requiredText(*texts, extended_properties::kUUID));
}

/// A part of a few kilobytes can unpack to any size, so its declared size is checked before it is read.
std::stringstream textOf(Part const& part) {
  if (part.getSize() > model::kXmlDomDocumentBytes) throw model::InvalidPartContent(kNoReleaseInfo);
  std::stringstream text;
  StdOStreamAdaptor output(text);
  StreamHelper::copyStreamToStream(*part.getInputStream(), output);
  output.close();
  return text;
}

ReleaseInfo parseReleaseInfo(std::istream& text) {
  try {
    return ReleaseInfo(text);
  } catch (Exception const&) {
    throw model::InvalidPartContent(kNoReleaseInfo);
  }
}

void loadReleaseInfoPart(model::Package const& package, CoreProperties& properties) {
  auto const part = kReleaseInfo.find(package);
  if (!part) return;
  auto text = textOf(*part);
  ReleaseInfo const info = parseReleaseInfo(text);
  if (info.getTALBEXVersion().empty()) throw model::InvalidPartContent(kInvalidReleaseInfo);
  properties.setTALBEXReleaseInfo(info);
}

Bytes makeDocument(model::XmlTextRecord& xml, std::vector<std::pair<char16_t const*, std::u16string>> const& texts) {
  Bytes bytes;
  ByteArrayOutAdaptor output(bytes);
  xml.write(texts, output);
  return bytes;
}

Bytes makeVendorDocument(model::XmlTextRecord& xml, CoreProperties const& properties) {
  return makeDocument(xml, {{extended_properties::kContentType, properties.getContentType()},
                            {extended_properties::kContentTypeFriendlyName, properties.getContentTypeFriendlyName()},
                            {extended_properties::kRelease, properties.getTALBEXRelease()}});
}

void saveReleaseInfo(model::Package& package, std::string const& text) {
  if (text.empty()) return kReleaseInfo.remove(package);
  kReleaseInfo.save(package, Bytes(text.begin(), text.end()));
}

}  // namespace

CorePropertiesManager::CorePropertiesManager(model::Package& package)
    : DataManager(package, false),
      vendorXml_(extended_properties::makeVendor()),
      extensionXml_(extended_properties::makeExtension()) {}

CorePropertiesManager::~CorePropertiesManager() = default;

model::URI CorePropertiesManager::getPartURI() { return model::URI(std::u16string(kVendor.name)); }
model::ContentType CorePropertiesManager::getPartContentType() {
  return model::ContentType(std::u16string(kVendor.contentType));
}
std::u16string CorePropertiesManager::getRelationshipType() { return std::u16string(kVendor.relationshipType); }

model::URI CorePropertiesManager::getExtensionPartURI() { return model::URI(std::u16string(kExtension.name)); }
model::ContentType CorePropertiesManager::getExtensionPartContentType() {
  return model::ContentType(std::u16string(kExtension.contentType));
}
std::u16string CorePropertiesManager::getExtensionRelationshipType() {
  return std::u16string(kExtension.relationshipType);
}

model::URI CorePropertiesManager::getReleaseInfoPartURI() { return model::URI(std::u16string(kReleaseInfo.name)); }
model::ContentType CorePropertiesManager::getReleaseInfoPartContentType() {
  return model::ContentType(std::u16string(kReleaseInfo.contentType));
}
std::u16string CorePropertiesManager::getReleaseInfoRelationshipType() {
  return std::u16string(kReleaseInfo.relationshipType);
}

// Lazy loading fills the memory of a const manager and does not change its properties. All members that it changes,
// including those of DataManager, are mutable, so that a manager may be defined const.
void CorePropertiesManager::load() const { const_cast<CorePropertiesManager*>(this)->DataManager::load(); }

CoreProperties CorePropertiesManager::getCoreProperties() const {
  load();
  return properties_;
}

void CorePropertiesManager::setCoreProperties(CoreProperties const& properties) {
  load();
  CoreProperties next = properties;
  if (auto const& held = properties_.getUUID()) next.setUUID(*held);
  markAsDirty();
  properties_ = std::move(next);
}

void CorePropertiesManager::doLoad() {
  try {
    CoreProperties loaded;
    loadVendorPart(getPackage(), *vendorXml_, loaded);
    loadExtensionPart(getPackage(), *extensionXml_, loaded);
    loadReleaseInfoPart(getPackage(), loaded);
    loaded.opcProps() = model::PackageHelper::getCoreProperties(getPackage());
    properties_ = std::move(loaded);
  } catch (Exception const& error) {
    throw InvalidCoreProperties(error.what());
  }
}

// All documents are complete before the first part is written. Loads first, because a manager that was marked dirty but
// never used has no properties yet.
void CorePropertiesManager::doSave() {
  load();
  if (!properties_.isValid()) throw InvalidCoreProperties(kNotAllSet);
  if (!properties_.getUUID()) properties_.generateAndSetUUID();
  Bytes const vendor = makeVendorDocument(*vendorXml_, properties_);
  Bytes const extension = makeDocument(*extensionXml_, {{extended_properties::kUUID, *properties_.getUUID()}});
  ReleaseInfo const release = properties_.getTALBEXReleaseInfo();
  std::string const releaseInfo = release.isLegacy() ? std::string() : release.getVersionInfo();

  model::Package& package = getPackage();
  bool const isNew = !kVendor.find(package);
  kVendor.save(package, vendor);
  if (isNew && !CoreProperties::isValidTime(properties_.getCreatedTime()))
    properties_.setCreatedTime(CoreProperties::getCurrentTime());
  kExtension.save(package, extension);
  saveReleaseInfo(package, releaseInfo);
  model::PackageHelper::createOrUpdateCoreProperties(package, properties_.opcProps());
}

std::vector<std::u16string> CorePropertiesManager::doGetManagedPartNames() const {
  return {std::u16string(kVendor.name), std::u16string(kExtension.name), std::u16string(kReleaseInfo.name)};
}

std::vector<std::u16string> CorePropertiesManager::doGetManagedRelationshipTypes() const {
  return {getRelationshipType(), getExtensionRelationshipType(), getReleaseInfoRelationshipType()};
}

}  // namespace opc::ztservices
