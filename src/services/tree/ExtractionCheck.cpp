// SPDX-License-Identifier: Apache-2.0
#include "services/tree/ExtractionCheck.hpp"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "opc/SafePaths.hpp"
#include "opc/ztservices/Exceptions.hpp"
#include "services/tree/Messages.hpp"
#include "services/tree/PathRules.hpp"

namespace opc::ztservices {
namespace {

[[noreturn]] void throwUnsafe(std::u16string const& path) {
  throw UnsafeEntryPath(messages::withPath(messages::kUnsafePath, path));
}

}  // namespace

void ExtractionCheck::note(std::u16string const& path, bool isLink) {
  if (findPathFault(path) == PathFault::LeadsUpwards) throwUnsafe(path);
  if (isLink && !links_.insert(paths::collapse(path)).second) throwUnsafe(path);
}

void ExtractionCheck::check(std::u16string const& path, bool isLink) {
  std::u16string const place = paths::collapse(path);
  if (place.empty()) return;
  throwIfThroughNotedLink(path, place, isLink);
  std::u16string_view const parent = std::u16string_view(place).substr(0, place.rfind(u'/'));
  if (parent != checkedParent_) checkParent(path, parent);
}

/// Where a link stands above a path, all links between the two in order stand below it. Then the last of
/// them is refused, if not the path: looking at the one before each path finds all that is to be refused.
void ExtractionCheck::throwIfThroughNotedLink(std::u16string const& path, std::u16string const& place,
                                              bool isLink) const {
  auto const link = links_.lower_bound(place);
  if (!isLink && link != links_.end() && *link == place) throwUnsafe(path);
  if (link != links_.begin() && isBelowPath(place, *std::prev(link))) throwUnsafe(path);
}

/// Begins where the path leaves the one that was checked last.
void ExtractionCheck::checkParent(std::u16string const& path, std::u16string_view parent) {
  bool const goesOn = checkedParent_.empty() || isBelowPath(parent, checkedParent_);
  std::size_t end = goesOn ? checkedParent_.size() : 0;
  checkedParent_.clear();  // nothing is taken for checked if the disk throws
  while (end < parent.size()) {
    end = std::min(parent.find(u'/', end + 1), parent.size());
    throwIfLink(path, parent.substr(0, end));
  }
  checkedParent_ = parent;
}

void ExtractionCheck::throwIfLink(std::u16string const& path, std::u16string_view place) const {
  if (disk_.isSymlink(disk_.appendPath(root_, std::u16string(place)))) throwUnsafe(path);
}

}  // namespace opc::ztservices
