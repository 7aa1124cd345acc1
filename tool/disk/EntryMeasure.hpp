// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "opc/ztservices/FileSystem.hpp"

namespace ztpkg {

/// How many entries a file system has beside the root, and how long their paths are. A manifest of a few thousand
/// bytes can hold a hundred thousand folders, each in the other, whose paths together take gigabytes.
class EntryMeasure {
 public:
  /// A file, link or empty folder, with the folders above it. Leaves come in the order in which a manager visits them.
  void add(std::u16string const& path);

  std::uint64_t count() const { return count_; }
  std::uint64_t leafCharacters() const { return leafCharacters_; }      ///< in the paths of the leaves
  std::uint64_t folderCharacters() const { return folderCharacters_; }  ///< in those of the folders above them

 private:
  std::uint64_t count_ = 0;
  std::uint64_t leafCharacters_ = 0;
  std::uint64_t folderCharacters_ = 0;
  std::u16string previous_{};
};

/// In the time and memory that the leaves alone take. The file system is as it was loaded.
EntryMeasure measureEntries(opc::ztservices::FileSystemManager const& manager);

/// Failure where the paths of all entries would be out of proportion to what the package holds; it is the user's
/// text.
void throwIfTooDeep(EntryMeasure const& measure, std::string const& package);

}  // namespace ztpkg
