// SPDX-License-Identifier: Apache-2.0
#include "verify/PackageCheck.hpp"

#include <algorithm>
#include <cstddef>

#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/CorePropertiesPart.hpp"
#include "package/Messages.hpp"
#include "package/PartNameRules.hpp"
#include "verify/FaultList.hpp"

namespace opc::ztservices {
namespace {

namespace detail = model::detail;
namespace package_messages = model::detail::messages;

bool isLess(CheckedPart const& part, std::string_view key) { return detail::NameLess::less(part.key, key); }

}  // namespace

PackageCheck::PackageCheck(detail::PackageReader const& reader, model::OpenOptions const& limits, FaultList& faults)
    : reader_(reader),
      archive_(*reader.state().contents.archive()),
      limits_(limits),
      faults_(faults),
      parts_(reader.parts()) {}

void PackageCheck::check(std::span<detail::OwnedPart const> owned) {
  checkCoreProperties();
  if (!reader_.knowsRelationships()) return;
  for (detail::OwnedPart const& part : owned) checkOrphan(part);
}

CheckedPart const* PackageCheck::findEquivalent(std::string_view name) const {
  if (!name.starts_with('/')) return nullptr;
  auto const part = std::lower_bound(parts_.begin(), parts_.end(), name.substr(1), isLess);
  return part != parts_.end() && detail::equalIgnoringCase(part->key, name.substr(1)) ? &*part : nullptr;
}

CheckedPart const* PackageCheck::find(std::u16string const& name) const {
  std::string const wanted = detail::narrowName(name);
  CheckedPart const* part = findEquivalent(wanted);
  if (!part) return nullptr;
  std::string_view const key = std::string_view(wanted).substr(1);
  for (; part != parts_.data() + parts_.size() && detail::equalIgnoringCase(part->key, key); ++part)
    if (part->key == key) return part;
  return nullptr;
}

std::uint64_t PackageCheck::sizeOf(CheckedPart const& part) const {
  std::uint64_t size = 0;
  for (std::uint32_t const item : part.items()) size += archive_.entry(item).size;
  return size;
}

std::uint64_t PackageCheck::storedSizeOf(CheckedPart const& part) const {
  std::uint64_t size = 0;
  for (std::uint32_t const item : part.items()) size += archive_.entry(item).storedSize;
  return size;
}

void PackageCheck::read(CheckedPart const& part, ContentSink const& take) const {
  std::vector<unsigned char> buffer(65536);
  auto const input = open(part);
  while (!input->isEnd()) {
    std::size_t const count = input->read(buffer.data(), buffer.size());
    take({buffer.data(), count});
  }
}

std::vector<CheckedPart const*> PackageCheck::targetsOf(std::u16string_view type) const {
  std::vector<CheckedPart const*> targets;
  auto const* const relationships = reader_.state().relationshipsOf("");
  if (!relationships) return targets;
  for (auto const& [position, relationship] : relationships->records()) {
    if (*relationship->type != type) continue;
    auto const name = detail::targetNameOf(*relationship);
    CheckedPart const* const part = name ? findEquivalent(*name) : nullptr;
    if (part) targets.push_back(part);
  }
  return targets;
}

std::vector<bool> PackageCheck::allTargets() const {
  std::vector<bool> isTarget(parts_.size());
  for (auto const& source : reader_.state().parts) {
    if (!source.second.relationships) continue;
    for (auto const& record : source.second.relationships->records())
      if (auto const name = detail::targetNameOf(*record.second))
        if (CheckedPart const* const part = findEquivalent(*name))
          isTarget[static_cast<std::size_t>(part - parts_.data())] = true;
  }
  return isTarget;
}

void PackageCheck::checkCoreProperties() {
  std::u16string_view const type = detail::kCorePropertiesRelationshipType;
  auto const* const relationships = reader_.state().relationshipsOf("");
  auto const count = !relationships ? 0 : std::ranges::count_if(relationships->records(), [&](auto const& record) {
    return *record.second->type == type;
  });
  if (count > 1)
    faults_.add(code::kSeveralCoreProperties, u"/",
                "The package has " + std::to_string(count) + " core-properties relationships");
  for (CheckedPart const* const part : targetsOf(type)) try {
      if (!isSound(*part)) continue;
      if (sizeOf(*part) > model::kXmlDomDocumentBytes)
        throw model::InvalidPackage(package_messages::invalidItem(part->name(), "it is too large"));
      detail::readCoreProperties(*open(*part), model::PartName(detail::wideName(part->name())));
    } catch (Exception const& fault) {
      if (fault.getErrorCode()) throw;
      faults_.addItem(code::kInvalidCoreProperties, part->key, fault.what());
    }
}

void PackageCheck::checkOrphan(detail::OwnedPart const& owned) {
  CheckedPart const* const part = findEquivalent(detail::narrowName(owned.name));
  if (!part || !part->type || !part->type->is(owned.contentType)) return;
  auto const targets = targetsOf(owned.relationshipType);
  if (std::ranges::find(targets, part) != targets.end()) return;
  // The content type of core properties is the standard's, and other programs lead to them in ways of their own.
  bool const isInUse = owned.contentType == detail::kCorePropertiesPart.contentType &&
                       allTargets()[static_cast<std::size_t>(part - parts_.data())];
  if (!isInUse)
    faults_.addItem(code::kOrphanedPart, part->key,
                    package_messages::invalidItem(
                        part->name(), "no relationship of the package leads to it as to what its content type says"));
}

}  // namespace opc::ztservices
