// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

namespace ztpkg {

/// A shell pattern: `*` and `?` match within one path component, `[a-z]` and `[!a-z]` one character, a backslash makes
/// the next character literal; `**` matches any characters, and `**/` any number of folders, none included. A pattern
/// without a "/" is matched with the name of every component, one with a "/" with the whole path below the root. A
/// value.
class Glob {
 public:
  explicit Glob(std::u16string const& pattern);

  /// Whether the pattern matches the path (absolute within the tree) itself or a folder above it.
  bool matches(std::u16string const& path) const { return matchedNames(path) > 0; }

  /// The number of names up to the first match: 2 for "b" and "/a/b/c". 0 for no match.
  std::size_t matchedNames(std::u16string const& path) const;

 private:
  std::wstring pattern_;  // wide: one element is one character, so that "?" and ranges mean what they show
  bool wholePath_;
};

}  // namespace ztpkg
