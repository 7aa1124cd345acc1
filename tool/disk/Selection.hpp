// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "disk/Glob.hpp"
#include "disk/NamesFile.hpp"
#include "opc/Strings.hpp"
#include "opc/ztservices/FileSystem.hpp"

namespace ztpkg {

/// The entries of a package that the user names by paths and patterns. An argument that is the path of an entry is that
/// entry, whatever characters it has; any other argument with "*", "?" or "[" is a pattern. A selected folder brings
/// everything below it.
class Selection {
 public:
  /// Everything where the user names nothing. Throws Failure for an argument that is neither an entry's path nor a
  /// pattern.
  Selection(opc::ztservices::FileSystemManager const& manager, std::vector<std::string> const& arguments,
            NamesFile const& names);

  /// Whether the entry at the path, or a folder above it, is selected. Records which patterns match.
  bool has(std::u16string const& path);

  /// Throws Failure for a pattern that matched none of the paths so far.
  void throwIfUnmatched() const;

 private:
  struct Pattern {
    Glob glob;
    std::string argument;
    bool hasMatched;
  };
  void addPath(std::u16string path);
  bool isAtOrBelowPath(std::u16string_view path) const;
  bool matchesPattern(std::u16string const& path);

  bool takesAll_;
  std::set<std::u16string, opc::PathLess> paths_;  // none below another
  std::vector<Pattern> patterns_;
};

/// Whether an argument that no entry has as its path is a pattern.
bool isPattern(std::string const& argument);

/// Reports a pattern that matches no entry.
[[noreturn]] void throwUnmatched(std::string const& pattern);

}  // namespace ztpkg
