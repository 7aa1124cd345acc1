// SPDX-License-Identifier: Apache-2.0
#include <functional>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/PackageHelper.hpp"
#include "opc/ztservices/CoreProperties.hpp"
#include "package/CorePropertiesPart.hpp"
#include "services/properties/ExtendedPropertyParts.hpp"
#include "xml/XmlLimits.hpp"

namespace opc::ztservices {
namespace {

using model::Part;
using model::detail::OwnedPart;
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

/// A value of the vendor part, in the order in which they are read and written.
struct VendorValue {
  char16_t const* element;
  void (CoreProperties::*set)(std::u16string const& value);
};
constexpr VendorValue kVendorValues[] = {
    {extended_properties::kContentType, &CoreProperties::setContentType},
    {extended_properties::kContentTypeFriendlyName, &CoreProperties::setContentTypeFriendlyName},
    {extended_properties::kRelease, &CoreProperties::setTALBEXRelease}};

/// What happens to a fault: it ends the reading, or is noted for the part.
using Attempt = std::function<void(OwnedPart const& part, std::function<void()> const& read)>;

void readOrThrow(OwnedPart const&, std::function<void()> const& read) { read(); }

Attempt readOrNote(std::vector<std::string>& faults) {
  return [&faults](OwnedPart const& part, std::function<void()> const& read) {
    try {
      read();
    } catch (Exception const& fault) {
      if (fault.getErrorCode()) throw;  // the part may be sound, and is not to be replaced
      faults.push_back(toUDEString(std::u16string(part.name)) + ": " + fault.what());
    }
  };
}

void loadVendorPart(model::Package const& package, model::XmlTextRecord& xml, CoreProperties& properties,
                    Attempt const& attempt) {
  auto const part = kVendor.find(package);
  if (!part) return;
  auto const texts = xml.read(*part->getInputStream()).value();  // the schema refuses other roots
  for (VendorValue const& value : kVendorValues)
    attempt(kVendor, [&] { (properties.*value.set)(requiredText(texts, value.element)); });
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

void loadParts(model::Package const& package, model::XmlTextRecord& vendorXml, model::XmlTextRecord& extensionXml,
               CoreProperties& properties, Attempt const& attempt) {
  attempt(kVendor, [&] { loadVendorPart(package, vendorXml, properties, attempt); });
  attempt(kExtension, [&] { loadExtensionPart(package, extensionXml, properties); });
  attempt(kReleaseInfo, [&] { loadReleaseInfoPart(package, properties); });
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

// Loads nothing, so that parts that cannot be loaded can be replaced.
void CorePropertiesManager::setCoreProperties(CoreProperties const& properties) {
  CoreProperties next = properties;
  if (auto const present = getPresentUUID()) next.setUUID(*present);
  markAsDirty();
  properties_ = std::move(next);
  isSet_ = true;
}

CoreProperties CorePropertiesManager::getReadableProperties(std::vector<std::string>& faults) const {
  CoreProperties read;
  loadParts(getPackage(), *vendorXml_, *extensionXml_, read, readOrNote(faults));
  read.opcProps() = model::PackageHelper::getCoreProperties(getPackage(), faults);
  return read;
}

boost::optional<std::u16string> CorePropertiesManager::getPresentUUID() const {
  if (isSet_ || properties_.getUUID()) return properties_.getUUID();
  CoreProperties stored;
  std::vector<std::string> ignored;
  readOrNote(ignored)(kExtension, [&] { loadExtensionPart(getPackage(), *extensionXml_, stored); });
  return stored.getUUID();
}

void CorePropertiesManager::doLoad() {
  if (isSet_) return;
  try {
    CoreProperties loaded;
    loadParts(getPackage(), *vendorXml_, *extensionXml_, loaded, readOrThrow);
    loaded.opcProps() = model::PackageHelper::getCoreProperties(getPackage());
    properties_ = std::move(loaded);
  } catch (Exception const& error) {
    throw InvalidCoreProperties(error.what(), error.getErrorCode());
  }
}

// Everything that may be refused is tried before the first part is written. Loads first, because a manager that was
// marked dirty but never used has no properties yet.
void CorePropertiesManager::doSave() {
  load();
  if (!properties_.isValid()) throw InvalidCoreProperties(kNotAllSet);
  model::Package& package = getPackage();
  CoreProperties next = properties_;
  if (!next.getUUID()) next.generateAndSetUUID();
  if (!kVendor.findAny(package) && !CoreProperties::isValidTime(next.getCreatedTime()))
    next.setCreatedTime(CoreProperties::getCurrentTime());
  Bytes const vendor = makeVendorDocument(*vendorXml_, next);
  Bytes const extension = makeDocument(*extensionXml_, {{extended_properties::kUUID, *next.getUUID()}});
  ReleaseInfo const release = next.getTALBEXReleaseInfo();
  std::string const releaseInfo = release.isLegacy() ? std::string() : release.getVersionInfo();
  model::detail::makeCorePropertiesDocument(next.opcProps());
  kVendor.requirePlace(package);
  kExtension.requirePlace(package);
  if (!releaseInfo.empty()) kReleaseInfo.requirePlace(package);

  kVendor.save(package, vendor);
  kExtension.save(package, extension);
  saveReleaseInfo(package, releaseInfo);
  model::PackageHelper::createOrUpdateCoreProperties(package, next.opcProps());
  properties_ = std::move(next);
}

std::vector<std::u16string> CorePropertiesManager::doGetManagedPartNames() const {
  return {std::u16string(kVendor.name), std::u16string(kExtension.name), std::u16string(kReleaseInfo.name)};
}

std::vector<std::u16string> CorePropertiesManager::doGetManagedRelationshipTypes() const {
  return {getRelationshipType(), getExtensionRelationshipType(), getReleaseInfoRelationshipType()};
}

}  // namespace opc::ztservices
