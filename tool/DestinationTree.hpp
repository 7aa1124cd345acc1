// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <unordered_set>

#include "ForwardingOps.hpp"
#include "SafeFile.hpp"

namespace ztpkg {

/// The directory that a package is extracted to: files and links appear whole or not at all, replace nothing
/// unless that is wanted, and are never written through a link that is there already. Errors are thrown as
/// Failure and name the path.
class DestinationTree final : public ForwardingOps {
 public:
  /// `root` is resolved: no component of it is a link.
  DestinationTree(opc::FileSystemOps& disk, std::u16string root, Overwrite overwrite);

  std::u16string const& root() const { return root_; }

  /// Throws Failure when something on the disk is in the way of the entry at that path of the package.
  void checkPlace(std::u16string const& path, bool isFolder);

  void createFolder(std::u16string const& path, ErrorCode& error) override;
  void createFolders(std::u16string const& path, ErrorCode& error) override;
  void createSymlink(std::u16string const& target, std::u16string const& linkPath, ErrorCode& error) override;
  std::unique_ptr<opc::FileOutputStream> createOutputStream(std::u16string const& path, std::ios::openmode mode,
                                                            ErrorCode& error) override;

 private:
  bool isThere(std::u16string const& path);
  void checkFolder(std::u16string const& path);
  void checkParents(std::u16string const& path);

  std::u16string root_;
  Overwrite overwrite_;
  std::unordered_set<std::u16string> checked_;  // folders of the package with nothing in their way
};

}  // namespace ztpkg
