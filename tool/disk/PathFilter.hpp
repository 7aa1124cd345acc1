// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "disk/Glob.hpp"
#include "disk/NamesFile.hpp"

namespace ztpkg {

/// The paths of two trees that the user wants compared: those named by paths and patterns, or all, and none that is
/// excluded. A named folder brings everything below it. A path may be that of an entry of either tree.
class PathFilter {
 public:
  PathFilter(std::vector<std::string> const& arguments, std::vector<std::string> const& excluded,
             NamesFile const& names);

  /// Records which arguments match.
  bool has(std::u16string const& path);
  /// Throws Failure for an argument that has matched no path.
  void throwIfUnmatched() const;

  std::vector<Glob> const& excluded() const { return excluded_; }

 private:
  struct Argument {
    std::string text;
    bool hasMatched = false;
  };
  struct Pattern {
    Glob glob;
    std::size_t argument;
  };

  bool markNamed(std::u16string_view path);

  bool takesAll_;
  std::vector<Argument> arguments_;
  std::map<std::u16string, std::size_t, std::less<>> paths_;  // the argument of each
  std::vector<Pattern> patterns_;
  std::vector<Glob> excluded_;
};

}  // namespace ztpkg
