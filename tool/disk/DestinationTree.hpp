// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ios>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cli/Progress.hpp"
#include "disk/Paths.hpp"
#include "opc/ConfinedFileSystemOps.hpp"
#include "opc/ForwardingFileSystemOps.hpp"

namespace ztpkg {

/// The directory that a package is extracted to: nothing is written elsewhere, and files and links appear whole
/// or not at all. Errors are thrown as Failure and name the path, and so are signals, as Interrupted.
class DestinationTree final : public opc::ForwardingFileSystemOps {
 public:
  DestinationTree(std::unique_ptr<opc::ConfinedFileSystemOps> disk, GivenDirectory root, Progress& progress);

  /// The files whose times the disk cannot hold.
  Paths const& inexactTimes() const { return inexactTimes_; }

  bool isThreadSafe() const override { return true; }

  /// Removes a file or link, or a folder if it is empty. Returns whether it is gone.
  bool remove(std::u16string const& path);

  void createFolder(std::u16string const& path, ErrorCode& error) override;
  void createFolders(std::u16string const& path, ErrorCode& error) override;
  void createSymlink(std::u16string const& target, std::u16string const& linkPath, ErrorCode& error) override;
  std::unique_ptr<opc::FileOutputStream> createOutputStream(std::u16string const& path, std::ios::openmode mode,
                                                            ErrorCode& error) override;
  std::unique_ptr<opc::FileOutputStream> createForRestoring(std::u16string const& path,
                                                            opc::Perms::Perms_tag permissions,
                                                            boost::posix_time::ptime const& time,
                                                            ErrorCode& error) override;

 private:
  std::unique_ptr<opc::FileOutputStream> checked(std::unique_ptr<opc::FileOutputStream> file,
                                                 std::u16string const& path, ErrorCode const& error);

  std::unique_ptr<opc::ConfinedFileSystemOps> disk_;
  GivenDirectory root_;
  Progress* progress_;
  Paths inexactTimes_;  // noted when files take their names, one after the other
};

/// Makes and opens the directory when extraction begins: until then nothing is written.
class Destination final : public opc::FileSystemOpsSelector {
 public:
  Destination(GivenDirectory root, opc::Confinement const& confinement, Progress& progress)
      : root_(std::move(root)), confinement_(confinement), progress_(&progress) {}

  /// The folders from which leftovers of killed extractions are removed at the beginning; those that are missing are
  /// skipped, and the root is one of them in any case.
  void setFolders(std::vector<std::u16string> folders) { folders_ = std::move(folders); }
  opc::FileSystemOps& getForPath(std::u16string const& path) override;
  /// Begins, as getForPath().
  DestinationTree& tree();
  /// A line for each file whose time the disk cannot hold; of many files for the first ones and their number.
  std::vector<std::string> warnings() const;

 private:
  GivenDirectory root_;
  opc::Confinement confinement_;
  Progress* progress_;
  std::vector<std::u16string> folders_;
  std::unique_ptr<DestinationTree> tree_;
};

}  // namespace ztpkg
