// SPDX-License-Identifier: Apache-2.0
#include "package/PartIndex.hpp"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/Messages.hpp"
#include "package/PartNameRules.hpp"
#include "text/Ascii.hpp"

namespace opc::model::detail {
namespace {

/// The rank of each byte of a name in the order of paths, with upper case as lower case.
constexpr std::array<unsigned char, 256> ranks() {
  std::array<unsigned char, 256> rank{};
  for (unsigned c = 0; c < 256; ++c)
    rank[c] = static_cast<unsigned char>(pathRank(static_cast<char16_t>(ascii::lower(c))));
  return rank;
}

constexpr auto kRanks = ranks();

unsigned char rankOf(char c) { return kRanks[static_cast<unsigned char>(c)]; }

/// The first position from `at` on at which the two differ, or `end`. Compares eight bytes at once, since names of one
/// folder share a long beginning.
std::size_t mismatch(char const* a, char const* b, std::size_t at, std::size_t end) {
  constexpr std::size_t kStep = sizeof(std::uint64_t);
  while (end - at >= kStep && std::memcmp(a + at, b + at, kStep) == 0) at += kStep;
  while (at < end && a[at] == b[at]) ++at;
  return at;
}

/// The name without its leading slash.
std::string_view keyOf(std::string_view name) { return name.substr(std::min<std::size_t>(1, name.size())); }

bool isAbsolute(std::string_view name) { return name.starts_with('/'); }

}  // namespace

PartKey PartKey::copyOf(std::string_view text) {
  auto copy = std::make_unique<char[]>(text.size());
  std::copy(text.begin(), text.end(), copy.get());
  return {{copy.release(), text.size()}, true};
}

PartKey::PartKey(PartKey&& other) noexcept
    : data_(other.data_), size_(other.size_), owns_(std::exchange(other.owns_, false)) {}

PartKey::~PartKey() {
  if (owns_) delete[] data_;
}

void PartKey::viewInstead(std::string_view same) const noexcept {
  if (owns_) delete[] data_;
  data_ = same.data();
  owns_ = false;
}

bool NameLess::less(std::string_view a, std::string_view b) {
  std::size_t const common = std::min(a.size(), b.size());
  for (std::size_t i = 0; (i = mismatch(a.data(), b.data(), i, common)) < common; ++i) {
    unsigned char const p = rankOf(a[i]), q = rankOf(b[i]);
    if (p != q) return p < q;
  }
  return a.size() < b.size();
}

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

/// No two parts of a package clash. So a part that the name continues is the last one before it, and a part that
/// continues the name is the first one from it on (NameLess). One look-up finds both.
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
  ++erasures_;
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
