// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/system/error_code.hpp>
#include <cstdint>
#include <string>

/// Paths of the command line. Disk paths are UTF-8 in every locale.
namespace ztpkg {

/// Throws Failure (usage) for an argument that is empty or not UTF-8.
std::u16string fromArgument(std::string const& argument);

/// The path made absolute and tidied as a text, without looking at the disk or following links; no slash at
/// its end but for the root.
std::u16string absolutePath(std::u16string const& path);

/// The same with every link on the way followed, as far as the path exists. Throws Failure, naming the path,
/// where the disk does not let that happen.
std::u16string resolvedPath(std::u16string const& path);

/// The resolved path of a directory. Throws Failure, naming the path, where it is missing or something else.
std::u16string existingDirectory(std::u16string const& path);

/// Whether a directory is there, links followed; `error` tells why it is not.
bool isDirectory(std::u16string const& path, boost::system::error_code& error);

/// Whether anything is there, a dangling link included.
bool isThere(std::u16string const& path);

/// The path without its last component; "." for a mere name.
std::u16string parentOf(std::u16string const& path);

/// In bytes; 0 where it cannot be told.
std::uint64_t sizeOfFile(std::u16string const& path);

}  // namespace ztpkg
