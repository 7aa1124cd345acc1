// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/system/error_code.hpp>
#include <cstdint>
#include <string>

/// Paths of the command line. Disk paths are UTF-8 in every locale.
namespace ztpkg {

/// Throws Failure (usage) for an argument that is empty or not UTF-8.
std::u16string fromArgument(std::string const& argument);

/// Makes the path absolute and normal as a text, without the disk and without following links. Only the root ends in a
/// slash.
std::u16string absolutePath(std::u16string const& path);

/// The same with every link followed, as far as the path exists. Throws Failure, naming the path, if the disk refuses.
std::u16string resolvedPath(std::u16string const& path);

/// The resolved path of a directory. Throws Failure, naming the path, if it is missing or something else.
std::u16string existingDirectory(std::u16string const& path);

/// Whether the path is a directory, links followed; `error` says why it is not.
bool isDirectory(std::u16string const& path, boost::system::error_code& error);

/// Whether anything has the path, including a dangling link.
bool isThere(std::u16string const& path);

/// The path without its last component; "." for a mere name.
std::u16string parentOf(std::u16string const& path);

/// In bytes; 0 if it is unknown.
std::uint64_t sizeOfFile(std::u16string const& path);

}  // namespace ztpkg
