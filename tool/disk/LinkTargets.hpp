// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ztpkg {

/// An absolute link target as a path below `root`, which becomes "/", when it lies below `root` or below one of
/// its other names; nothing when it points elsewhere, or climbs out on its way.
std::optional<std::u16string> targetWithinRoot(std::u16string const& target, std::u16string const& root,
                                               std::vector<std::u16string> const& otherRoots);

/// Whether a link of a package leads to something of the package's own tree, when an absolute target starts at its
/// root. A target that goes down and up again is followed only through what `isFolder` calls a folder: a link on
/// the way could lead anywhere.
bool leadsIntoTree(std::u16string const& linkPath, std::u16string const& target,
                   std::function<bool(std::u16string const& path)> const& isFolder);

}  // namespace ztpkg
