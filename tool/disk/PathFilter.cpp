// SPDX-License-Identifier: Apache-2.0
#include "disk/PathFilter.hpp"

#include <algorithm>

#include "cli/Errors.hpp"
#include "disk/FileSystems.hpp"
#include "disk/Paths.hpp"
#include "opc/Strings.hpp"

namespace ztpkg {

PathFilter::PathFilter(std::vector<std::string> const& arguments, std::vector<std::string> const& excluded) {
  for (std::string const& argument : arguments)
    arguments_.push_back({argument, entryPath(argument), Glob(fromArgument(argument)),
                          argument.find_first_of("*?[") != std::string::npos});
  for (std::string const& pattern : excluded) excluded_.emplace_back(fromArgument(pattern));
}

bool PathFilter::has(std::u16string const& path) {
  if (std::ranges::any_of(excluded_, [&](Glob const& glob) { return glob.matches(path); })) return false;
  bool any = arguments_.empty();
  for (Argument& argument : arguments_) {  // each of them, to record which match
    bool const matches = argument.path == u"/" || path == argument.path || opc::isBelowPath(path, argument.path) ||
                         (argument.isPattern && argument.glob.matches(path));
    argument.hasMatched = argument.hasMatched || matches;
    any = any || matches;
  }
  return any;
}

void PathFilter::throwIfUnmatched() const {
  for (Argument const& argument : arguments_)
    if (!argument.hasMatched)
      throw Failure(Report{Exit::Package, "no-such-entry", "nothing matches " + shown(fromArgument(argument.text)),
                           fromArgument(argument.text)});
}

}  // namespace ztpkg
