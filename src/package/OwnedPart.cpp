// SPDX-License-Identifier: Apache-2.0
#include "package/OwnedPart.hpp"

#include <string>
#include <utility>

#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/PackageHelper.hpp"
#include "package/Messages.hpp"
#include "package/PackageState.hpp"
#include "package/PartNameRules.hpp"

namespace opc::model::detail {

bool OwnedPart::isTypeOf(Part const& part) const {
  ContentType const type = part.getContentType();
  return equalIgnoringCase(type.getType() + u"/" + type.getSubType(), contentType);
}

std::optional<Part> OwnedPart::find(Package const& package) const {
  auto const found = package.getRelationshipsByType(std::u16string(relationshipType));
  if (found.empty()) return std::nullopt;
  return PackageHelper::getTarget(package, found.front());
}

std::optional<Part> OwnedPart::findAny(Package const& package) const {
  for (Relationship const& relationship : package.getRelationshipsByType(std::u16string(relationshipType)))
    if (auto part = PackageHelper::findTarget(package, relationship)) return part;
  return std::nullopt;
}

void OwnedPart::requirePlace(Package const& package) const {
  if (!findAny(package)) requireOwnName(package);
}

void OwnedPart::requireOwnName(Package const& package) const {
  if (findUnderOwnName(package)) return;
  std::u16string const wanted(name);
  std::u16string existing;
  if (package.isPartDerivedFromExistingPartName(PartName(wanted), existing))
    throw PartNameClash(messages::partNameClash(wanted, existing));
}

std::optional<Part> OwnedPart::findUnderOwnName(Package const& package) const {
  PartName const own{std::u16string(name)};
  std::u16string existing;
  if (!package.isPartDerivedFromExistingPartName(own, existing)) return std::nullopt;
  PartName const there(existing);
  if (!there.isEquivalentTo(own) || !package.hasPart(there)) return std::nullopt;
  Part part = package.getPart(there);
  return isTypeOf(part) ? std::optional<Part>(std::move(part)) : std::nullopt;
}

void OwnedPart::save(Package& package, std::vector<unsigned char> const& content) const {
  save(package, [&content](OutputStream& output) { output.write(content.data(), content.size()); });
}

void OwnedPart::save(Package& package, WriteContent const& write) const {
  save(package, ContentType(std::u16string(contentType)), write);
}

void OwnedPart::save(Package& package, ContentType const& type, WriteContent const& write) const {
  for (Relationship const& relationship : package.getRelationshipsByType(std::u16string(relationshipType))) {
    if (auto const part = PackageHelper::findTarget(package, relationship)) return rewrite(*part, write);
    package.deleteRelationship(relationship.getID());
  }
  Part const part = create(package, type);
  try {
    rewrite(part, write);
  } catch (...) {
    remove(package);
    throw;
  }
}

void OwnedPart::replace(Package& package, ContentType const& type, WriteContent const& write,
                        std::function<void()> const& leave) const {
  auto const former = findAny(package);
  if (!former || !former->getName().isEquivalentTo(PartName(std::u16string(name)))) requireOwnName(package);
  Part const apart = package.createPart(freeName(package), type, StandardPartInfo(CompressionType::Markup));
  try {
    rewrite(apart, write);
    leave();
    auto const next = findAny(package);
    PackageState::of(package).moveContent(apart.getName(), (next ? *next : create(package, type)).getName());
  } catch (...) {
    package.deletePart(apart.getName());
    throw;
  }
  package.deletePart(apart.getName());
}

/// For a part that is about to take the owned name.
PartName OwnedPart::freeName(Package const& package) const {
  std::u16string clash;
  for (unsigned number = 1;; ++number) {
    PartName free(std::u16string(name) + toString("." + std::to_string(number)));
    if (!package.isPartDerivedFromExistingPartName(free, clash)) return free;
  }
}

void OwnedPart::rewrite(Part const& part, WriteContent const& write) {
  auto const output = part.getOutputStream();
  write(*output);
  output->close();
}

void OwnedPart::remove(Package& package) const {
  PackageHelper::deleteRelationshipsAndTargets(package, std::u16string(relationshipType));
  if (auto const orphan = findUnderOwnName(package)) package.deletePart(orphan->getName());
}

/// Deletes an orphan instead of reusing it, since a part cannot change its content type and compression.
Part OwnedPart::create(Package& package, ContentType const& type) const {
  if (auto const orphan = findUnderOwnName(package)) package.deletePart(orphan->getName());
  Part part = package.createPart(PartName(std::u16string(name)), type, StandardPartInfo(CompressionType::Markup));
  try {
    package.createInternalRelationship(std::u16string(relationshipType), part.getName().getURI());
  } catch (...) {
    package.deletePart(part.getName());  // nothing would lead to it
    throw;
  }
  return part;
}

}  // namespace opc::model::detail
