// SPDX-License-Identifier: Apache-2.0
#include "disk/Selection.hpp"

#include <cstddef>
#include <iterator>
#include <utility>

#include "cli/Errors.hpp"
#include "disk/FileSystems.hpp"
#include "disk/Paths.hpp"

namespace ztpkg {
namespace {

using opc::ztservices::FileSystemEntry;
using opc::ztservices::FileSystemManager;

bool isAtOrBelow(std::u16string_view path, std::u16string_view folder) {
  return path == folder || opc::isBelowPath(path, folder);
}

}  // namespace

bool isPattern(std::string const& argument) { return argument.find_first_of("*?[") != std::string::npos; }

Selection::Selection(FileSystemManager const& manager, std::vector<std::string> const& arguments,
                     NamesFile const& names)
    : takesAll_(names.meansAll(arguments)) {
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    std::string const& argument = arguments[i];
    if (i < names.patternCount && isPattern(argument) && !hasEntry(manager, argument))
      patterns_.push_back({Glob(fromArgument(argument)), argument, false});
    else
      addPath(findEntry(manager, argument).getPathName());
  }
}

bool Selection::has(std::u16string const& path) {
  bool const matches = matchesPattern(path);  // always evaluated: it records which patterns match
  return takesAll_ || isAtOrBelowPath(path) || matches;
}

void Selection::throwIfUnmatched() const {
  for (Pattern const& pattern : patterns_)
    if (!pattern.hasMatched) throwUnmatched(pattern.argument);
}

void Selection::addPath(std::u16string path) {
  takesAll_ = takesAll_ || path == FileSystemEntry::getRootName();
  if (isAtOrBelowPath(path)) return;
  auto const below = paths_.upper_bound(path);
  auto last = below;
  while (last != paths_.end() && isAtOrBelow(*last, path)) ++last;
  paths_.erase(below, last);
  paths_.insert(std::move(path));
}

/// No path in the set lies below another, so that only the last one that does not sort behind this one can be above it.
bool Selection::isAtOrBelowPath(std::u16string_view path) const {
  auto const after = paths_.upper_bound(path);
  return after != paths_.begin() && isAtOrBelow(path, *std::prev(after));
}

bool Selection::matchesPattern(std::u16string const& path) {
  bool any = false;
  for (Pattern& pattern : patterns_) {
    bool const matches = pattern.glob.matches(path);
    pattern.hasMatched = pattern.hasMatched || matches;
    any = any || matches;
  }
  return any;
}

void throwUnmatched(std::string const& pattern) {
  std::u16string const text = fromArgument(pattern);
  throw Failure(Report{Exit::Package, "no-such-entry", "no entry in the package matches " + shown(text), text});
}

}  // namespace ztpkg
