// SPDX-License-Identifier: Apache-2.0
#include "package/PackageState.hpp"

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "container/Faults.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/Messages.hpp"
#include "package/PartNameRules.hpp"

namespace opc::model::detail {

std::string absolutePath(std::u16string const& path) {
  std::string const text = toUTF8String(path);
  std::error_code error;
  auto const absolute = std::filesystem::absolute(text, error);
  return error || text.empty() ? text : absolute.string();
}

PackageFile PackageFile::forNew(std::u16string const& path, Existing existing) {
  PackageFile file{.path = absolutePath(path), .mustBeNew = existing == Existing::Refuse};
  if (file.path.find('\0') != std::string::npos) throw zip::couldNotSave(file.path, EINVAL);
  if (file.path.empty()) throw zip::couldNotSave(file.path, ENOENT);
  std::error_code ignored;  // the save reports a path that cannot be looked up
  if (file.mustBeNew && std::filesystem::exists(std::filesystem::symlink_status(file.path, ignored)))
    throw zip::couldNotSave(file.path, EEXIST);
  return file;
}

std::string PackageFile::directory() const { return std::filesystem::path(path).parent_path().string(); }

}  // namespace opc::model::detail

namespace opc::model {

PackageState::PackageState(detail::PackageFile boundTo, Purpose purpose)
    : file(std::move(boundTo)), contents(file.directory(), purpose) {}

PackageState::~PackageState() = default;

std::unique_ptr<Package> PackageState::makePackage(std::shared_ptr<PackageState> state) {
  return std::unique_ptr<Package>(new Package(std::move(state)));
}

PackageState& PackageState::of(Package& package) { return package.state(); }

void PackageState::moveContent(PartName const& from, PartName const& to) {
  detail::PartRecord& source = parts.get(from)->second;
  detail::PartRecord& target = parts.get(to)->second;
  contents.move(source, target);
  isChanged = true;
}

void PackageState::erase(detail::PartIndex::iterator part) {
  isChanged = true;
  writes.deletePart(detail::PartIndex::nameOf(part));
  contents.drop(part->second);
  parts.erase(part);
}

detail::RelationshipSet* PackageState::relationshipsOf(std::string_view source) {
  auto const part = parts.find(detail::relationshipsNameOf(source));
  return part == parts.end() ? nullptr : part->second.relationships.get();
}

detail::PartIndex::iterator PackageState::relationshipsPartOf(std::string_view source) {
  std::string const name = detail::relationshipsNameOf(source);
  auto part = parts.find(name);
  if (part != parts.end()) return part;
  if (name.size() - 1 > detail::kMaximumItemName)
    throw InvalidPartName(detail::messages::partNameTooLong(detail::wideName(name)));
  if (auto const existing = parts.existingClash(name))
    throw PartNameClash(detail::messages::partNameClash(detail::wideName(name), toString(*existing, false)));
  auto relationships = std::make_unique<detail::RelationshipSet>();
  part = parts.insert(name, types.intern(detail::kRelationshipsType));
  part->second.relationships = std::move(relationships);
  contents.relationshipsChanged(part->second);
  return part;
}

void PackageState::relationshipsChanged(detail::PartIndex::iterator part) {
  isChanged = true;
  contents.relationshipsChanged(part->second);
  if (part->second.relationships->empty()) parts.erase(part);
}

void PackageState::refreshRelationships() {
  for (auto part = parts.begin(); part != parts.end(); ++part) contents.refresh(*part);
}

void PackageState::requirePackage() const {
  if (isGone) throw InvalidState(detail::messages::kPackageIsGone);
}

void PackageState::requireWritable() const {
  requirePackage();
  if (isReadOnly) throw PackageIsReadOnly(detail::messages::packageIsReadOnly(file.path));
}

void PackageState::requireNoOpenWrites() {
  while (contents.store().settleFirst())
    if (watch) watch->check();
  writes.requireNone();
}

}  // namespace opc::model
