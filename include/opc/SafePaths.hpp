// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "opc/Export.hpp"

/// The rule for what a path or link of a package may name on a disk. Extraction, Verification and ConfinedFileSystemOps
/// follow it.
namespace opc {

enum class PathFault {
  None,
  Unclear,      ///< an empty or "." segment: other paths name the same place
  LeadsUpwards  ///< a ".." segment: the path may leave the folder that it starts in
};

/// Judges a path by its text alone. One slash at its beginning does not count; "/" has no fault.
ZT_API PathFault findPathFault(std::u16string_view path);

/// Whether a symbolic link would lead to its root or beneath it. `linkPath` starts at the root, and so does a target
/// that begins with a slash. Behind a ".." the text tells where a target leads only if no link is followed before it:
/// what a target goes down to must be a folder where it goes up again. `isFolder` is asked for such paths, which begin
/// with a slash; it does not follow links.
ZT_API bool staysBeneathRoot(std::u16string_view linkPath, std::u16string_view target,
                             std::function<bool(std::u16string const& path)> const& isFolder);

}  // namespace opc
