// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <set>
#include <string>
#include <string_view>

#include "opc/FileSystemOps.hpp"
#include "opc/Strings.hpp"

namespace opc::ztservices {

/// Refuses (UnsafeEntryPath), before anything is made, every entry that would be written elsewhere than below
/// the destination root: through a ".." segment, through a link that is extracted too, or through a link that
/// the disk has below the root. The root itself may be reached through links.
class ExtractionCheck {
 public:
  ExtractionCheck(FileSystemOps& disk, std::u16string const& root) : disk_(disk), root_(root) {}

  /// Every entry to be extracted is noted before the first is checked.
  void note(std::u16string const& path, bool isLink);
  void check(std::u16string const& path, bool isLink);

 private:
  void throwIfThroughNotedLink(std::u16string const& path, std::u16string const& place, bool isLink) const;
  void checkParent(std::u16string const& path, std::u16string_view parent);
  void throwIfLink(std::u16string const& path, std::u16string_view place) const;

  FileSystemOps& disk_;
  std::u16string const& root_;
  std::set<std::u16string, PathLess> links_;  // collapsed
  std::u16string checkedParent_;              // collapsed; the root at first
};

}  // namespace opc::ztservices
