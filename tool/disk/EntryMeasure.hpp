// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "opc/ztservices/FileSystem.hpp"

namespace ztpkg {

/// Counts the entries of a file system without the root, and the characters of their paths. A manifest of a few
/// thousand bytes can hold a hundred thousand nested folders whose paths together take gigabytes.
class EntryMeasure {
 public:
  /// Adds a file, link or empty folder, and the new folders above it. Leaves come in the order of visitLeafs().
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

/// Takes the time and memory of the leaves alone.
EntryMeasure measureEntries(opc::ztservices::FileSystemManager const& manager);

/// Failure if the paths of all entries are out of proportion to the leaves; `package` is the user's text.
void throwIfTooDeep(EntryMeasure const& measure, std::string const& package);

}  // namespace ztpkg
