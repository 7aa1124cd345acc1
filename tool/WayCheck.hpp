// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <unordered_set>

#include "opc/FileSystemOps.hpp"

namespace ztpkg {

/// Finds, before anything is written, what on the disk is in the way of a package's entries.
class WayCheck {
 public:
  WayCheck(opc::FileSystemOps& disk, std::u16string root, bool replaceExisting)
      : disk_(&disk), root_(std::move(root)), replaceExisting_(replaceExisting) {}

  /// Throws Failure when something is in the way of the entry at that path of the package.
  void check(std::u16string const& path, bool isFolder);

 private:
  bool isThere(std::u16string const& path);
  void checkFolder(std::u16string const& path);
  void checkParents(std::u16string const& path);

  opc::FileSystemOps* disk_;
  std::u16string root_;
  bool replaceExisting_;
  std::unordered_set<std::u16string> checked_;  // folders of the package with nothing in their way
};

}  // namespace ztpkg
