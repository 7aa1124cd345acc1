// SPDX-License-Identifier: Apache-2.0
#include "disk/PathFilter.hpp"

#include <algorithm>

#include "cli/Errors.hpp"
#include "disk/FileSystems.hpp"
#include "disk/Paths.hpp"
#include "disk/Selection.hpp"

namespace ztpkg {

PathFilter::PathFilter(std::vector<std::string> const& arguments, std::vector<std::string> const& excluded,
                       NamesFile const& names)
    : takesAll_(names.meansAll(arguments)) {
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    std::string const& argument = arguments[i];
    if (!paths_.try_emplace(entryPath(argument), arguments_.size()).second) continue;
    if (i < names.patternCount && isPattern(argument))
      patterns_.push_back({Glob(fromArgument(argument)), arguments_.size()});
    arguments_.push_back({argument});
  }
  for (std::string const& pattern : excluded) excluded_.emplace_back(fromArgument(pattern));
}

bool PathFilter::has(std::u16string const& path) {
  if (std::ranges::any_of(excluded_, [&](Glob const& glob) { return glob.matches(path); })) return false;
  bool any = markNamed(u"/") || takesAll_;  // each of them is looked at, to record which match
  for (std::size_t slash = path.find(u'/', 1); slash != path.npos; slash = path.find(u'/', slash + 1))
    any = markNamed(std::u16string_view(path).substr(0, slash)) || any;
  any = markNamed(path) || any;
  for (Pattern const& pattern : patterns_) {
    bool const matches = pattern.glob.matches(path);
    arguments_[pattern.argument].hasMatched = arguments_[pattern.argument].hasMatched || matches;
    any = any || matches;
  }
  return any;
}

bool PathFilter::markNamed(std::u16string_view path) {
  auto const named = paths_.find(path);
  if (named != paths_.end()) arguments_[named->second].hasMatched = true;
  return named != paths_.end();
}

void PathFilter::throwIfUnmatched() const {
  for (Argument const& argument : arguments_)
    if (!argument.hasMatched)
      throw Failure(Report{Exit::Package, "no-such-entry", "nothing matches " + shown(fromArgument(argument.text)),
                           fromArgument(argument.text)});
}

}  // namespace ztpkg
