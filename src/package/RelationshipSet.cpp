// SPDX-License-Identifier: Apache-2.0
#include "package/RelationshipSet.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "opc/model/Exceptions.hpp"
#include "opc/model/URI.hpp"
#include "package/PartNameRules.hpp"
#include "text/Ascii.hpp"

namespace opc::model::detail {
namespace {

/// N of "rIdN" in its one decimal form, or 0.
std::uint64_t numberOf(std::u16string_view id) {
  constexpr std::size_t kMaximumIdDigits = 18;
  if (!id.starts_with(u"rId") || id.size() < 4 || id.size() > 3 + kMaximumIdDigits || id[3] == u'0') return 0;
  std::uint64_t number = 0;
  for (char16_t const c : id.substr(3)) {
    if (!ascii::isDigit(c)) return 0;
    number = number * 10 + static_cast<std::uint64_t>(c - u'0');
  }
  return number;
}

std::u16string idOf(std::uint64_t number) {
  std::string const digits = std::to_string(number);
  return u"rId" + std::u16string(digits.begin(), digits.end());
}

}  // namespace

std::optional<std::string> targetNameOf(RelationshipRecord const& relationship) {
  if (relationship.mode == TargetMode::External) return std::nullopt;
  try {
    return narrowName(URI(relationship.target).resolvedAgainst(URI(*relationship.source)).toString());
  } catch (InvalidURI const&) {
    return std::nullopt;
  }
}

bool RelationshipSet::hasType(std::u16string_view type) const {
  return std::any_of(records_.begin(), records_.end(), [type](auto const& one) { return *one.second->type == type; });
}

std::u16string RelationshipSet::freeId() {
  while (!freed_.empty()) {
    std::u16string id = idOf(*freed_.begin());
    if (!contains(id)) return id;
    freed_.erase(freed_.begin());
  }
  for (;; ++firstUntried_) {
    std::u16string id = idOf(firstUntried_);
    if (!contains(id)) return id;
  }
}

void RelationshipSet::append(Record record) {
  auto const at = records_.emplace_hint(records_.end(), nextPosition_, std::move(record));
  try {
    positions_.emplace(at->second->id, nextPosition_);
  } catch (...) {
    records_.erase(at);
    throw;
  }
  ++nextPosition_;
}

bool RelationshipSet::remove(std::u16string_view id) {
  auto const found = positions_.find(id);
  if (found == positions_.end()) return false;
  std::uint64_t const number = numberOf(id);
  if (number != 0 && number < firstUntried_) freed_.insert(number);
  auto const record = records_.find(found->second);
  positions_.erase(found);
  records_.erase(record);
  return true;
}

}  // namespace opc::model::detail
