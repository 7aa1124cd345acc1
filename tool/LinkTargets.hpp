// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace ztpkg {

/// An absolute link target as a path below `root`, which becomes "/", when it lies below `root` or below one of
/// its other names; nothing when it points elsewhere, or climbs out on its way.
std::optional<std::u16string> targetWithinRoot(std::u16string const& target, std::u16string const& root,
                                               std::vector<std::u16string> const& otherRoots);

}  // namespace ztpkg
