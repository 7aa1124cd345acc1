// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "disk/Glob.hpp"

namespace ztpkg {

/// The paths of two trees that the user wants compared: those named by paths and patterns, all without any, and none
/// that is excluded. A named folder brings everything below it. A path may be that of an entry of either tree.
class PathFilter {
 public:
  PathFilter(std::vector<std::string> const& arguments, std::vector<std::string> const& excluded);

  /// Records which arguments match.
  bool has(std::u16string const& path);
  /// Throws Failure for an argument that has matched no path.
  void throwIfUnmatched() const;

  std::vector<Glob> const& excluded() const { return excluded_; }

 private:
  struct Argument {
    std::string text;
    std::u16string path;
    Glob glob;
    bool isPattern;
    bool hasMatched = false;
  };

  std::vector<Argument> arguments_;
  std::vector<Glob> excluded_;
};

}  // namespace ztpkg
