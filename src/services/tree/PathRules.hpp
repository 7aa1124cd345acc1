// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

/// The rules that turn what a caller writes into a path of the package's file system. Nothing but the
/// separators is changed: ".", "..", repeated and trailing slashes stay as they are.
namespace opc::ztservices::paths {

/// Drops the first of two leading backslashes and makes a slash of every other one.
std::u16string convertSeparators(std::u16string_view text);

/// Converts the separators and puts a missing leading "/" in front.
std::u16string normalizePath(std::u16string_view path);

/// `path` without the leading `root` and one "/" after it; component boundaries are not looked at. Throws
/// CouldNotMakeRelativeToSourceRoot when it does not begin with it.
std::u16string makeRelativePath(std::u16string_view root, std::u16string_view path);

/// The text without trailing slashes; of slashes alone one stays.
std::u16string_view withoutTrailingSlashes(std::u16string_view path);

/// The path with one slash where it begins with several.
std::u16string_view withoutRepeatedLeadingSlashes(std::u16string_view path);

/// Where the path leads on a disk, from the root on: without empty segments and "." ones, with a slash before
/// each segment that is left. Empty for the root.
std::u16string collapse(std::u16string_view path);

}  // namespace opc::ztservices::paths
