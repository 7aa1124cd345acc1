// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Paths of the command line. Disk paths are UTF-8 in every locale.
namespace ztpkg {

/// Throws Failure (usage) for an argument that is empty or not UTF-8.
std::u16string fromArgument(std::string const& argument);

/// Makes the path absolute and normal as a text, without the disk and without following links. Only the root ends in a
/// slash.
std::u16string absolutePath(std::u16string const& path);

/// The same with every link followed, as far as the path exists. Throws Failure, naming the path, if the disk refuses.
std::u16string resolvedPath(std::u16string const& path);

/// The absolute path of the file or link itself: only the folder above it is resolved. "l/../f" is beside the target of
/// the link "l", as for the disk.
std::u16string placeOnDisk(std::u16string const& path);

/// The name that a directory has when links are not followed, unless that leads elsewhere.
std::vector<std::u16string> unresolvedNames(std::u16string const& directory);

/// A directory as the user names it, and its resolved path: messages show what lies below as given.
struct GivenDirectory {
  std::u16string given;  ///< empty for the working directory without a name
  std::u16string root;

  /// The path as given, of one that is the root or lies below it; any other one as it is.
  std::u16string asGiven(std::u16string const& path) const;
};

/// A message with the path as given instead of the other one, at the first place.
std::string showing(std::u16string const& given, std::string message, std::u16string const& instead);
/// The same for the absolute path that the library makes of a relative one.
std::string showingAsGiven(std::string message, std::u16string const& given);

/// The resolved path of a directory. Throws Failure, naming the path, if it is missing or something else.
std::u16string existingDirectory(std::u16string const& path);

/// Whether the path is a directory, links followed; `error` says why it is not.
bool isDirectory(std::u16string const& path, boost::system::error_code& error);

/// Whether anything has the path, including a dangling link.
bool isThere(std::u16string const& path);

/// The path, or the nearest folder above it that is on the disk. The path begins with a slash.
std::u16string nearestThere(std::u16string path);

/// Whether the path is a fifo, a socket or a device, links not followed.
bool isOther(std::u16string const& path);

/// The path without its last component; "." for a mere name.
std::u16string parentOf(std::u16string const& path);

/// The directory at which the file system with the path, or with the lowest folder above it that exists, is mounted.
std::u16string mountPointOf(std::u16string const& path);

/// In bytes; 0 if it is unknown.
std::uint64_t sizeOfFile(std::u16string const& path);

/// Visits the folders above a path from the highest down, without those above the previous path, while `visit` returns
/// true. With sorted paths few folders are visited twice. None is kept: a hostile package can have more of them than
/// memory holds.
template <typename Visit>
void visitNewParents(std::u16string_view path, std::u16string_view previous, Visit const& visit) {
  auto const differ = std::mismatch(path.begin(), path.end(), previous.begin(), previous.end()).first;
  auto const shared = static_cast<std::size_t>(differ - path.begin());
  std::size_t const known = shared == 0 ? path.npos : path.rfind(u'/', shared - 1);
  for (std::size_t slash = path.find(u'/', known == path.npos ? 1 : known + 1); slash != path.npos;
       slash = path.find(u'/', slash + 1))
    if (slash != 0 && !visit(path.substr(0, slash))) return;
}

}  // namespace ztpkg
