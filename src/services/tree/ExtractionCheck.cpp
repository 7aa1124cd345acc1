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

/// Adds a place to places of which none lies below another. False where it is one of them.
bool addPlace(std::set<std::u16string, PathLess>& places, std::u16string const& place) {
  auto const next = places.lower_bound(place);
  if (next != places.end() && *next == place) return false;
  if (next != places.begin() && isBelowPath(place, *std::prev(next))) return true;
  auto last = next;
  while (last != places.end() && isBelowPath(*last, place)) ++last;
  places.erase(next, last);
  places.insert(place);
  return true;
}

/// Only the place in front of a path can be above it, since no place lies below another.
bool isBelowAny(std::set<std::u16string, PathLess> const& places, std::u16string const& path) {
  auto const next = places.lower_bound(path);
  return next != places.begin() && isBelowPath(path, *std::prev(next));
}

}  // namespace

void ExtractionCheck::note(FileSystemEntry const& entry, FileSystemTree const& tree) {
  std::u16string const path = entry.getPathName();
  if (findPathFault(path) == PathFault::LeadsUpwards) throwUnsafe(path);
  if (entry.isLink() && !addPlace(links_, paths::collapse(path))) throwUnsafe(path);
  if (entry.isFile() && tree.hasChildren(path)) addPlace(files_, paths::collapse(path));
}

void ExtractionCheck::check(FileSystemEntry const& entry) {
  std::u16string const path = entry.getPathName();
  std::u16string const place = paths::collapse(path);
  if (place.empty()) return;
  if (isBelowAny(links_, place) || (!entry.isLink() && links_.contains(place))) throwUnsafe(path);
  std::u16string_view const parent = std::u16string_view(place).substr(0, place.rfind(u'/'));
  if (parent != checkedParent_) checkParent(path, parent);
}

bool ExtractionCheck::isBelowFile(FileSystemEntry const& entry) const {
  return !files_.empty() && isBelowAny(files_, paths::collapse(entry.getPathName()));
}

/// Skips the folders that the path shares with the one checked last.
void ExtractionCheck::checkParent(std::u16string const& path, std::u16string_view parent) {
  bool const goesOn = checkedParent_.empty() || isBelowPath(parent, checkedParent_);
  std::size_t end = goesOn ? checkedParent_.size() : 0;
  checkedParent_.clear();  // nothing counts as checked if the disk throws
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
