// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "opc/ztservices/FileSystem.hpp"

namespace ztpkg {

/// An entry that is extracted, with its path, which it would make anew each time.
struct Leaf {
  std::u16string path;
  opc::ztservices::FileSystemEntry entry;
};
using Leaves = std::vector<Leaf>;

}  // namespace ztpkg
