// SPDX-License-Identifier: Apache-2.0
#include "package/PartIndex.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/Messages.hpp"
#include "package/PartNameRules.hpp"

namespace opc::model::detail {
namespace {

/// What the part of a name is kept by: without the leading slash.
std::string_view keyOf(std::string_view name) { return name.substr(std::min<std::size_t>(1, name.size())); }

bool isAbsolute(std::string_view name) { return name.starts_with('/'); }

}  // namespace

PartIndex::iterator PartIndex::find(std::string_view name) {
  return isAbsolute(name) ? parts_.find(keyOf(name)) : parts_.end();
}

PartIndex::const_iterator PartIndex::find(std::string_view name) const {
  return isAbsolute(name) ? parts_.find(keyOf(name)) : parts_.end();
}

PartIndex::iterator PartIndex::findExactly(PartName const& name) {
  std::string const narrow = narrowName(name.toString());
  auto const part = find(narrow);
  return part != parts_.end() && part->first.text() == keyOf(narrow) ? part : parts_.end();
}

PartIndex::iterator PartIndex::get(PartName const& name) {
  auto const part = findExactly(name);
  if (part == parts_.end()) throw PartNotFound(messages::partNotFound(name.toString()));
  return part;
}

std::string PartIndex::nameOf(const_iterator part) { return std::string("/").append(part->first.text()); }

PartName PartIndex::partNameOf(const_iterator part) { return PartName(wideName(nameOf(part))); }

std::string_view PartIndex::nameOf(LooseItem const& item) const { return archive_->entry(item.index).name; }

LooseItem const* PartIndex::findItem(std::string_view key) const {
  auto const found =
      std::lower_bound(items_.begin(), items_.end(), key,
                       [this](LooseItem const& item, std::string_view k) { return NameLess::less(takenBy(item), k); });
  return found != items_.end() && equalIgnoringCase(takenBy(*found), key) ? &*found : nullptr;
}

/// No two parts of a package stand in each other's way. So a part that the name continues is the last one before it,
/// and one that continues the name the first one from it on (NameLess): one look-up finds both.
std::optional<std::string> PartIndex::existingClash(std::string_view name) {
  return existingClash(name, parts_.lower_bound(keyOf(name)));
}

std::optional<std::string> PartIndex::existingClash(std::string_view name, iterator next) {
  if (!isAbsolute(name)) return std::nullopt;
  std::string_view const key = keyOf(name);
  if (next != parts_.begin() && continues(key, std::prev(next)->first.text())) return nameOf(std::prev(next));
  bool const isFree = next == parts_.end() || NameLess::less(key, next->first.text());
  if (!isFree) return nameOf(next);
  if (LooseItem const* const item = findItem(key)) return std::string("/").append(takenBy(*item));
  if (next != parts_.end() && continues(next->first.text(), key)) return nameOf(next);
  return std::nullopt;
}

std::optional<std::u16string> PartIndex::clash(std::u16string const& name) {
  std::string narrow = narrowName(name);
  if (free_ && free_->name == narrow) return std::nullopt;
  auto const bad = lengthUpToBadSegment(narrow);
  auto const next = parts_.lower_bound(keyOf(narrow));
  auto const existing = existingClash(narrow, next);
  if (bad && (!existing || existing->size() > *bad)) return name.substr(0, *bad);
  if (existing) return toString(*existing, false);
  free_ = FreeName{std::move(narrow), next};
  return std::nullopt;
}

PartIndex::iterator PartIndex::insert(std::string_view name, MediaType const* type) {
  auto const next = free_ && free_->name == name ? free_->next : parts_.lower_bound(keyOf(name));
  free_.reset();
  PartRecord record;
  record.type = type;
  return parts_.emplace_hint(next, PartKey::copyOf(keyOf(name)), std::move(record));
}

void PartIndex::erase(iterator part) noexcept {
  free_.reset();
  parts_.erase(part);
}

void PartIndex::read(std::shared_ptr<zip::Archive const> archive) { archive_ = std::move(archive); }

std::pair<PartIndex::iterator, bool> PartIndex::add(std::string_view key, MediaType const* type) {
  std::size_t const before = parts_.size();
  auto const part = parts_.emplace_hint(parts_.end(), PartKey::viewOf(key), PartRecord());
  bool const isNew = parts_.size() > before;
  if (isNew) part->second.type = type;
  return {part, isNew};
}

void PartIndex::setItems(std::vector<LooseItem> items) { items_ = std::move(items); }

void PartIndex::moveTo(std::shared_ptr<zip::Archive const> archive, std::vector<LooseItem> items) noexcept {
  archive_ = std::move(archive);
  items_ = std::move(items);
}

}  // namespace opc::model::detail
