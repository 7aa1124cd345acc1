// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "opc/ztservices/FileSystem.hpp"

namespace ztpkg {

/// How many entries a file system has beside the root, and how long their paths are. A manifest of a few thousand
/// bytes can hold a hundred thousand folders, each in the other, whose paths together take gigabytes.
struct EntryMeasure {
  std::uint64_t count = 0;
  std::uint64_t leafCharacters = 0;    ///< in the paths of files, links and empty folders
  std::uint64_t folderCharacters = 0;  ///< in those of the folders above them
};

/// In the time and memory that the leaves alone take. The file system is as it was loaded.
EntryMeasure measureEntries(opc::ztservices::FileSystemManager const& manager);

/// Failure where the paths of all entries would be out of proportion to what the package holds; it is the user's
/// text.
void throwIfTooDeep(EntryMeasure const& measure, std::string const& package);

}  // namespace ztpkg
