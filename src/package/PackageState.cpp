// SPDX-License-Identifier: Apache-2.0
#include "package/PackageState.hpp"

#include <filesystem>
#include <utility>

#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/Messages.hpp"
#include "package/PartNameRules.hpp"

namespace opc::model::detail {

std::string PackageFile::directory() const { return std::filesystem::path(path).parent_path().string(); }

PackageState::PackageState(PackageFile boundTo) : file(std::move(boundTo)), contents(file.directory()) {}

PackageState::~PackageState() = default;

void PackageState::erase(PartIndex::iterator part) {
  writes.deletePart(PartIndex::nameOf(part));
  contents.drop(part->second);
  parts.erase(part);
}

RelationshipSet* PackageState::relationshipsOf(std::string_view source) {
  auto const part = parts.find(relationshipsNameOf(source));
  return part == parts.end() ? nullptr : part->second.relationships.get();
}

PartIndex::iterator PackageState::relationshipsPartOf(std::string_view source) {
  std::string const name = relationshipsNameOf(source);
  auto part = parts.find(name);
  if (part != parts.end()) return part;
  if (name.size() - 1 > kMaximumItemName) throw InvalidPartName(messages::partNameTooLong(wideName(name)));
  if (auto const existing = parts.existingClash(name))
    throw PartNameClash(messages::partNameClash(wideName(name), toString(*existing, false)));
  auto relationships = std::make_unique<RelationshipSet>();
  part = parts.insert(name, types.intern(kRelationshipsType));
  part->second.relationships = std::move(relationships);
  contents.relationshipsChanged(part->second);
  return part;
}

void PackageState::relationshipsChanged(PartIndex::iterator part) {
  contents.relationshipsChanged(part->second);
  if (part->second.relationships->empty()) parts.erase(part);
}

void PackageState::refreshRelationships() {
  for (auto part = parts.begin(); part != parts.end(); ++part) contents.refresh(part->second);
}

void PackageState::requirePackage() const {
  if (isGone) throw InvalidState(messages::kPackageIsGone);
}

void PackageState::requireWritable() const {
  requirePackage();
  if (isReadOnly) throw PackageIsReadOnly(messages::packageIsReadOnly(file.path));
}

void PackageState::requireNoOpenWrites() {
  contents.store().settle();
  writes.requireNone();
}

}  // namespace opc::model::detail
