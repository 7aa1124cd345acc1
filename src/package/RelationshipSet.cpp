// SPDX-License-Identifier: Apache-2.0
#include "package/RelationshipSet.hpp"

#include <algorithm>
#include <utility>

#include "opc/model/Exceptions.hpp"
#include "opc/model/URI.hpp"
#include "package/PartNameRules.hpp"

namespace opc::model::detail {
namespace {

struct Range {
  char32_t first, last;
};

// XML 1.0 (fifth edition), [4] and [4a], without the colon.
constexpr Range kStart[] = {{'A', 'Z'},       {'_', '_'},       {'a', 'z'},       {0xC0, 0xD6},     {0xD8, 0xF6},
                            {0xF8, 0x2FF},    {0x370, 0x37D},   {0x37F, 0x1FFF},  {0x200C, 0x200D}, {0x2070, 0x218F},
                            {0x2C00, 0x2FEF}, {0x3001, 0xD7FF}, {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}, {0x10000, 0xEFFFF}};
constexpr Range kFurther[] = {{'-', '.'}, {'0', '9'}, {0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040}};

template <std::size_t count>
bool isIn(Range const (&ranges)[count], char32_t c) {
  for (Range const& range : ranges)
    if (c >= range.first && c <= range.last) return true;
  return false;
}

/// Takes one character; a lone surrogate stays what it is and is in no range.
char32_t takeCharacter(std::u16string_view& text) {
  char32_t c = text.front();
  text.remove_prefix(1);
  if ((c & 0xFC00) != 0xD800 || text.empty() || (text.front() & 0xFC00) != 0xDC00) return c;
  c = 0x10000 + ((c & 0x3FF) << 10) + (static_cast<char32_t>(text.front()) & 0x3FF);
  text.remove_prefix(1);
  return c;
}

/// N of "rIdN" in its one decimal form, or 0.
std::uint64_t numberOf(std::u16string_view id) {
  constexpr std::size_t kMaximumDigits = 18;
  if (!id.starts_with(u"rId") || id.size() < 4 || id.size() > 3 + kMaximumDigits || id[3] == u'0') return 0;
  std::uint64_t number = 0;
  for (char16_t const c : id.substr(3)) {
    if (c < u'0' || c > u'9') return 0;
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

bool isNCName(std::u16string_view text) {
  if (text.empty() || !isIn(kStart, takeCharacter(text))) return false;
  while (!text.empty()) {
    char32_t const c = takeCharacter(text);
    if (!isIn(kStart, c) && !isIn(kFurther, c)) return false;
  }
  return true;
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
