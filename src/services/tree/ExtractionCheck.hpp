// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <set>
#include <string>
#include <string_view>

#include "opc/FileSystemOps.hpp"
#include "opc/Strings.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "services/tree/FileSystemTree.hpp"

namespace opc::ztservices {

/// Refuses (UnsafeEntryPath), before anything is made, every entry that would be written outside the destination root:
/// through a ".." segment, through a link that is extracted too, or through a link that the disk has below the root.
/// The root itself may be reached through links.
class ExtractionCheck {
 public:
  ExtractionCheck(FileSystemOps& disk, std::u16string const& root) : disk_(disk), root_(root) {}

  /// Every entry to be extracted is noted before the first is checked. `tree` says what lies below a file.
  void note(FileSystemEntry const& entry, FileSystemTree const& tree);
  void check(FileSystemEntry const& entry);
  /// Below an entry that is extracted as a file.
  bool isBelowFile(FileSystemEntry const& entry) const;

 private:
  void checkParent(std::u16string const& path, std::u16string_view parent);
  void throwIfLink(std::u16string const& path, std::u16string_view place) const;

  FileSystemOps& disk_;
  std::u16string const& root_;
  std::set<std::u16string, PathLess> links_;  // collapsed, none below another
  std::set<std::u16string, PathLess> files_;  // collapsed, none below another: those with entries below them
  std::u16string checkedParent_;              // collapsed; the root at first
};

}  // namespace opc::ztservices
