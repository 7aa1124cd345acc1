// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli/Progress.hpp"
#include "opc/ConfinedFileSystemOps.hpp"
#include "opc/ztservices/FileSystem.hpp"

namespace ztpkg {

/// An entry that is extracted, with its path, which the entry would make anew each time.
struct Leaf {
  std::u16string path;
  opc::ztservices::FileSystemEntry entry;
};
using Leaves = std::vector<Leaf>;

/// How much there is to extract, and how much room it takes in the package.
struct ExtractionSize {
  Amount content;
  std::uint64_t stored = 0;
};

/// Everything that can be known before the first file is written; throws Failure. `root` is where the entries are to
/// go, `mode` whether their contents are decrypted on the way.
ExtractionSize checkExtraction(opc::ztservices::FileSystemManager const& manager, Leaves const& leaves,
                               std::u16string const& root, opc::Confinement const& confinement,
                               opc::ztservices::TransformMode mode);

}  // namespace ztpkg
