// SPDX-License-Identifier: Apache-2.0
#include "opc/model/PackageHelper.hpp"

#include <optional>
#include <vector>

#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/CorePropertiesPart.hpp"
#include "package/Messages.hpp"
#include "package/PackageState.hpp"
#include "package/PartNameRules.hpp"
#include "xml/XmlFault.hpp"
#include "xml/XmlLimits.hpp"

namespace opc::model {
namespace {

/// The name that an internal target resolves to, if to any.
std::optional<PartName> targetOf(Relationship const& relationship) {
  if (relationship.getMode() == TargetMode::External) return std::nullopt;
  try {
    return PartName(relationship.getTargetURI());
  } catch (InvalidURI const&) {
    return std::nullopt;  // such a target is no part, which is all that matters here
  }
}

/// "/docProps/core.xml", or with a number where existing parts stand in the way.
PartName freeName(Package const& package) {
  std::u16string existing;
  PartName name(u"/docProps/core.xml");
  for (int number = 1; package.isPartDerivedFromExistingPartName(name, existing); ++number)
    name = PartName(u"/docProps" + toString(std::to_string(number)) + u"/core.xml");
  return name;
}

}  // namespace

std::optional<Part> PackageHelper::findTarget(Package const& package, Relationship const& relationship) {
  auto const name = targetOf(relationship);
  if (!name) return std::nullopt;
  auto const part = package.state().find(detail::narrowName(name->toString()));
  if (part == package.state().parts.end()) return std::nullopt;
  return package.getPart(detail::PackageState::partNameOf(part));
}

Part PackageHelper::getTarget(Package const& package, Relationship const& relationship) {
  if (auto part = findTarget(package, relationship)) return std::move(*part);
  throw PartNotFound(detail::messages::partNotFound(relationship.getTargetURI().toString()));
}

std::optional<Part> PackageHelper::findCoreProperties(Package const& package) {
  for (auto const& relationship : package.getRelationshipsByType(detail::kCorePropertiesRelationshipType))
    if (auto part = findTarget(package, relationship)) return part;
  return std::nullopt;
}

CoreProperties PackageHelper::getCoreProperties(Package const& package) {
  auto const part = findCoreProperties(package);
  if (!part) return {};
  // Before it is unpacked; a package of a few kilobytes can hold a part of any size.
  if (part->getSize() > kXmlDomDocumentBytes)
    throw InvalidPartContent(detail::messages::invalidPartContent(part->getName().toString(),
                                                                  xml_text::documentTooLong(kXmlDomDocumentBytes)));
  auto const input = part->getInputStream();
  return detail::readCoreProperties(*input, part->getName());
}

Part PackageHelper::createCorePropertiesPart(Package& package) {
  PartName const name = freeName(package);
  Part part =
      package.createPart(name, ContentType(detail::kCorePropertiesType), StandardPartInfo(CompressionType::Markup));
  // There may be one at the most, and these lead nowhere.
  for (auto const& relationship : package.getRelationshipsByType(detail::kCorePropertiesRelationshipType))
    package.deleteRelationship(relationship.getID());
  try {
    package.createInternalRelationship(detail::kCorePropertiesRelationshipType, name.getURI());
  } catch (...) {
    package.deletePart(name);  // nothing would lead to it
    throw;
  }
  return part;
}

void PackageHelper::createOrUpdateCoreProperties(Package& package, CoreProperties const& properties) {
  std::vector<unsigned char> bytes;
  ByteArrayOutAdaptor document(bytes);
  detail::writeCoreProperties(properties, document);  // before anything of the package is changed
  auto part = findCoreProperties(package);
  if (!part) part = createCorePropertiesPart(package);
  auto const output = part->getOutputStream();
  output->write(bytes.data(), bytes.size());
  output->close();
}

void PackageHelper::deleteRelationshipsAndTargets(Package& package, std::u16string const& relationshipType) {
  for (auto const& relationship : package.getRelationshipsByType(relationshipType)) {
    auto const target = findTarget(package, relationship);
    package.deleteRelationship(relationship.getID());
    if (target && !target->getName().isRelationshipsPart()) package.deletePart(target->getName());
  }
}

}  // namespace opc::model
