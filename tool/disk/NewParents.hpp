// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace ztpkg {

/// Visits the folders above a path, from the highest down, but for those that are above the previous path too, as
/// long as `visit` answers true. Paths that come in order so have few folders visited twice, and none is kept: a
/// hostile package can have more of them than memory holds.
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
