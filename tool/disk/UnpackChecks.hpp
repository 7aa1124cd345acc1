// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli/Errors.hpp"
#include "cli/Progress.hpp"
#include "disk/Paths.hpp"
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
  std::vector<Report> problems;         ///< the entries that cannot be extracted
};

/// The report of an entry that is left out.
Report cannotExtract(char const* code, std::u16string const& path, std::string const& why);

/// Checks everything that can be checked before the first file is written. Takes out of the leaves the entries that
/// cannot be on a disk (for their name, for a link's target, or because they are below a file or link), and files whose
/// contents are missing. Throws Failure for all paths that leave the directory, and for other faults.
/// `destination` is the directory to extract to; `mode` says whether contents are decrypted.
ExtractionPlan checkExtraction(opc::ztservices::FileSystemManager const& manager, Leaves& leaves,
                               GivenDirectory const& destination, opc::Confinement const& confinement,
                               opc::ztservices::TransformMode mode);

}  // namespace ztpkg
