// SPDX-License-Identifier: Apache-2.0
#include "opc/model/PackageHelper.hpp"

#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/CorePropertiesPart.hpp"
#include "package/Messages.hpp"
#include "package/OwnedPart.hpp"
#include "package/PackageState.hpp"
#include "package/RelationshipSet.hpp"
#include "xml/XmlFault.hpp"
#include "xml/XmlLimits.hpp"

namespace opc::model {
namespace {

detail::OwnedPart corePropertiesPart(std::u16string_view name) {
  detail::OwnedPart part = detail::kCorePropertiesPart;
  part.name = name;
  return part;
}

/// "/docProps/core.xml", or with a number where something has that name: other programs keep their properties in parts
/// of this type, also where no relationship leads to them any more.
std::u16string chooseName(Package const& package) {
  std::u16string existing;
  std::u16string name(detail::kCorePropertiesPart.name);
  for (int number = 1; package.isPartDerivedFromExistingPartName(PartName(name), existing); ++number)
    name = u"/docProps" + toString(std::to_string(number)) + u"/core.xml";
  return name;
}

/// A package of a few kilobytes can hold a part of any size, so the size is checked before anything is unpacked.
CoreProperties readPart(Part const& part, std::vector<std::string>* faults) {
  if (part.getSize() > kXmlDomDocumentBytes)
    throw InvalidPartContent(detail::messages::invalidPartContent(part.getName().toString(),
                                                                  xml_text::documentTooLong(kXmlDomDocumentBytes)));
  auto const input = part.getInputStream();
  return detail::readCoreProperties(*input, part.getName(), faults);
}

}  // namespace

std::optional<Part> PackageHelper::findTarget(Package const& package, Relationship const& relationship) {
  auto const name = detail::targetNameOf(*relationship.record_);
  if (!name) return std::nullopt;
  auto const part = package.state().parts.find(*name);
  if (part == package.state().parts.end()) return std::nullopt;
  return package.getPart(detail::PartIndex::partNameOf(part));
}

Part PackageHelper::getTarget(Package const& package, Relationship const& relationship) {
  if (auto part = findTarget(package, relationship)) return std::move(*part);
  throw PartNotFound(detail::messages::partNotFound(relationship.getTargetURI().toString()));
}

std::vector<PartName> PackageHelper::getAllTargets(Package const& package) {
  detail::PartIndex const& parts = package.state().parts;
  std::set<PartName> targets;
  for (auto const& source : parts) {
    if (!source.second.relationships) continue;
    for (auto const& record : source.second.relationships->records()) {
      auto const name = detail::targetNameOf(*record.second);
      auto const part = name ? parts.find(*name) : parts.end();
      if (part != parts.end()) targets.insert(detail::PartIndex::partNameOf(part));
    }
  }
  return {targets.begin(), targets.end()};
}

std::optional<Part> PackageHelper::findCoreProperties(Package const& package) {
  for (auto const& relationship : package.getRelationshipsByType(detail::kCorePropertiesRelationshipType))
    if (auto part = findTarget(package, relationship)) return part;
  return std::nullopt;
}

CoreProperties PackageHelper::getCoreProperties(Package const& package) {
  auto const part = findCoreProperties(package);
  return part ? readPart(*part, nullptr) : CoreProperties();
}

CoreProperties PackageHelper::getCoreProperties(Package const& package, std::vector<std::string>& faults) {
  try {
    if (auto const part = findCoreProperties(package)) return readPart(*part, &faults);
    for (Relationship const& relationship : package.getRelationshipsByType(detail::kCorePropertiesRelationshipType))
      faults.push_back(detail::messages::partNotFound(relationship.getTargetText()));
    return {};
  } catch (Exception const& fault) {
    if (fault.getErrorCode()) throw;  // the part may be sound, and is not to be replaced
    faults.emplace_back(fault.what());
    return {};
  }
}

void PackageHelper::createOrUpdateCoreProperties(Package& package, CoreProperties const& properties) {
  std::vector<unsigned char> bytes;
  ByteArrayOutAdaptor document(bytes);
  detail::writeCoreProperties(properties, document);  // throws before the package changes
  auto const write = [&bytes](OutputStream& output) { output.write(bytes.data(), bytes.size()); };
  if (auto const part = findCoreProperties(package)) return detail::OwnedPart::rewrite(*part, write);
  // A package has at most one such relationship, and these lead to no part.
  for (auto const& relationship : package.getRelationshipsByType(detail::kCorePropertiesRelationshipType))
    package.deleteRelationship(relationship.getID());
  std::u16string const name = chooseName(package);
  corePropertiesPart(name).save(package, write);
}

void PackageHelper::deleteRelationshipsAndTargets(Package& package, std::u16string const& relationshipType) {
  for (auto const& relationship : package.getRelationshipsByType(relationshipType)) {
    auto const target = findTarget(package, relationship);
    package.deleteRelationship(relationship.getID());
    if (target && !target->getName().isRelationshipsPart()) package.deletePart(target->getName());
  }
}

}  // namespace opc::model
