// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

namespace ztpkg {

/// Names that stand in a file, beside those on the command line.
struct NamesFile {
  std::string namesFile;         ///< "-" for standard input; empty for none
  bool namesEndWithNul = false;  ///< otherwise with a line feed
  /// How many of the names may be patterns: those of the command line, which come first. A line is a name to the
  /// letter.
  std::size_t patternCount = std::numeric_limits<std::size_t>::max();

  /// Whether the user names nothing, and so means everything. A file without names names nothing too, and means it.
  bool meansAll(std::vector<std::string> const& names) const { return names.empty() && namesFile.empty(); }
};

/// The names in the file, to the letter; empty ones are none. Throws Failure.
std::vector<std::string> namesIn(NamesFile const& file);

/// The names of paths below a folder. One that begins with "./", as of `find .`, is the same without it.
std::vector<std::string> pathsIn(NamesFile const& file);

}  // namespace ztpkg
