// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "opc/FileSystemOps.hpp"

namespace ztpkg {

/// Finds, before anything is written, what on the disk is in the way of a package's entries.
class WayCheck {
 public:
  WayCheck(opc::FileSystemOps& disk, std::u16string root, bool replaceExisting)
      : disk_(&disk), root_(std::move(root)), replaceExisting_(replaceExisting) {}

  /// Throws Failure when something is in the way of the entry at that path of the package. Takes little time where
  /// paths come in order.
  void check(std::u16string const& path, bool isFolder);

 private:
  bool isThere(std::u16string const& path);
  bool checkFolder(std::u16string const& path);
  bool checkParents(std::u16string const& path);

  opc::FileSystemOps* disk_;
  std::u16string root_;
  bool replaceExisting_;
  std::u16string previous_;  // the path that was checked last
  std::u16string missing_;   // the highest folder above it that is not on the disk, with a slash; or empty
};

}  // namespace ztpkg
