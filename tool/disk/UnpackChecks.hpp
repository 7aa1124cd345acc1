// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli/Progress.hpp"
#include "opc/ConfinedFileSystemOps.hpp"
#include "opc/ztservices/FileSystem.hpp"

namespace ztpkg {

/// An entry to extract and its path, which the entry would compose anew at each call.
struct Leaf {
  std::u16string path;
  opc::ztservices::FileSystemEntry entry;
};
using Leaves = std::vector<Leaf>;

/// What the checks of an extraction find.
struct ExtractionPlan {
  Amount content;
  std::uint64_t stored = 0;             ///< the size of the contents in the package
  std::vector<std::u16string> folders;  ///< existing ones on the disk on the way to entries, without the root
};

/// Checks everything that can be checked before the first file is written. Throws Failure. `root` is the destination;
/// `mode` says whether contents are decrypted.
ExtractionPlan checkExtraction(opc::ztservices::FileSystemManager const& manager, Leaves const& leaves,
                               std::u16string const& root, opc::Confinement const& confinement,
                               opc::ztservices::TransformMode mode);

}  // namespace ztpkg
