// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <string>
#include <vector>

#include "model/Model.hpp"
#include "model/Random.hpp"

namespace zt_model {

using Bytes = std::vector<unsigned char>;

/// Names of one level, few enough that random paths meet one another.
inline constexpr std::array<char const*, 8> kNames{"a", "b", "A", "d.txt", "x y", "\xC3\xA9", "_rels", "f."};

/// A path of one to three of these names, absolute and normal.
std::string randomPath(Random& random);
opc::Perms::Perms_tag randomPermissions(Random& random);
boost::posix_time::ptime randomTime(Random& random);

/// A package and what is in it.
struct Sample {
  Bytes bytes;
  Model model;
};

/// A package of another maker: parts, relationships, items that are no parts, a part in pieces, core properties under
/// another name, a manifest whose contents are elsewhere, and folders that have permissions and times.
Sample foreignPackage(Random& random);
/// A package with a manifest of version 1, whose link targets are parts.
Sample version1Package(Random& random);
/// The bytes with one to three changes.
Bytes damaged(Bytes bytes, Random& random);

}  // namespace zt_model
