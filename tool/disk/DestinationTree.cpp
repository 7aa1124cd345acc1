// SPDX-License-Identifier: Apache-2.0
#include "disk/DestinationTree.hpp"

#include <ios>
#include <utility>

#include "cli/Errors.hpp"
#include "cli/Process.hpp"
#include "disk/CheckedStreams.hpp"
#include "opc/Exception.hpp"

namespace ztpkg {

DestinationTree::DestinationTree(std::unique_ptr<opc::ConfinedFileSystemOps> disk, Progress& progress)
    : ForwardingOps(*disk), disk_(std::move(disk)), progress_(&progress) {}

void DestinationTree::createFolder(std::u16string const& path, ErrorCode& error) {
  throwIfInterrupted();
  inner().createFolder(path, error);
  if (error) throw Failure(diskReport("cannot-write", "cannot make folder", path, error));
}

void DestinationTree::createFolders(std::u16string const& path, ErrorCode& error) {
  throwIfInterrupted();
  inner().createFolders(path, error);
  if (error) throw Failure(diskReport("cannot-write", "cannot make folder", path, error));
}

void DestinationTree::createSymlink(std::u16string const& target, std::u16string const& linkPath, ErrorCode& error) {
  throwIfInterrupted();
  inner().createSymlink(target, linkPath, error);
}

std::unique_ptr<opc::FileOutputStream> DestinationTree::createOutputStream(std::u16string const& path,
                                                                           std::ios::openmode mode, ErrorCode& error) {
  throwIfInterrupted();
  return checked(inner().createOutputStream(path, mode, error), path, error);
}

std::unique_ptr<opc::FileOutputStream> DestinationTree::createForRestoring(std::u16string const& path,
                                                                           opc::Perms::Perms_tag permissions,
                                                                           boost::posix_time::ptime const& time,
                                                                           ErrorCode& error) {
  throwIfInterrupted();
  return checked(inner().createForRestoring(path, permissions, time, error), path, error);
}

std::unique_ptr<opc::FileOutputStream> DestinationTree::checked(std::unique_ptr<opc::FileOutputStream> file,
                                                                std::u16string const& path, ErrorCode const& error) {
  if (!file) throw Failure(diskReport("cannot-write", "cannot make file", path, error));
  progress_->addFile();
  return std::make_unique<CheckedOutput>(std::move(file), *progress_);
}

opc::FileSystemOps& Destination::getForPath(std::u16string const&) {
  if (tree_) return *tree_;
  try {
    auto disk = std::make_unique<opc::ConfinedFileSystemOps>(root_, confinement_);
    tree_ = std::make_unique<DestinationTree>(std::move(disk), *progress_);
  } catch (opc::Exception const& error) {
    throw Failure(diskReport("cannot-write", "cannot make folder", root_, error.getErrorCode()));
  }
  return *tree_;
}

}  // namespace ztpkg
