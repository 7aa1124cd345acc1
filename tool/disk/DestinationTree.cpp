// SPDX-License-Identifier: Apache-2.0
#include "disk/DestinationTree.hpp"

#include <algorithm>
#include <cstddef>
#include <ios>
#include <string>
#include <utility>

#include "cli/Amounts.hpp"
#include "cli/Errors.hpp"
#include "cli/Process.hpp"
#include "disk/CheckedStreams.hpp"
#include "disk/Sandbox.hpp"
#include "opc/Exception.hpp"
#include "opc/Strings.hpp"

namespace ztpkg {

DestinationTree::DestinationTree(std::unique_ptr<opc::ConfinedFileSystemOps> disk, GivenDirectory root,
                                 Progress& progress)
    : opc::ForwardingFileSystemOps(*disk), disk_(std::move(disk)), root_(std::move(root)), progress_(&progress) {}

bool DestinationTree::remove(std::u16string const& path) {
  throwIfInterrupted();
  ErrorCode error;
  disk_->remove(path, error);
  bool const isNotEmpty =
      error == boost::system::errc::directory_not_empty || error == boost::system::errc::file_exists;
  if (error && !isNotEmpty) throw Failure(diskReport("cannot-write", "cannot remove", root_.asGiven(path), error));
  return !error;
}

void DestinationTree::createFolder(std::u16string const& path, ErrorCode& error) {
  throwIfInterrupted();
  inner().createFolder(path, error);
  if (error) throw Failure(diskReport("cannot-write", "cannot make folder", root_.asGiven(path), error));
}

void DestinationTree::createFolders(std::u16string const& path, ErrorCode& error) {
  throwIfInterrupted();
  inner().createFolders(path, error);
  if (error) throw Failure(diskReport("cannot-write", "cannot make folder", root_.asGiven(path), error));
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
  if (!file) throw Failure(diskReport("cannot-write", "cannot make file", root_.asGiven(path), error));
  progress_->addFile();
  return std::make_unique<CheckedOutput>(std::move(file), *progress_,
                                         [this, path] { inexactTimes_.push_back(root_.asGiven(path)); });
}

opc::FileSystemOps& Destination::getForPath(std::u16string const&) { return tree(); }

DestinationTree& Destination::tree() {
  if (tree_) return *tree_;
  try {
    auto disk = std::make_unique<opc::ConfinedFileSystemOps>(root_.root, confinement_);
    confineWrites({opc::toUTF8String(root_.root)});  // until it was made, a folder above it was to be written
    boost::system::error_code ignored;               // what cannot be removed is in nobody's way
    disk->removeLeftovers(root_.root, ignored);
    for (std::u16string const& folder : folders_) disk->removeLeftovers(folder, ignored);
    tree_ = std::make_unique<DestinationTree>(std::move(disk), root_, *progress_);
  } catch (opc::Exception const& error) {
    throw Failure(diskReport("cannot-write", "cannot make folder", root_.given, error.getErrorCode()));
  }
  return *tree_;
}

std::vector<std::string> Destination::warnings() const {
  constexpr std::size_t kMost = 10;
  std::vector<std::string> lines;
  if (!tree_) return lines;
  std::vector<std::u16string> const& files = tree_->inexactTimes();
  std::size_t const told = std::min(files.size(), kMost);
  for (std::size_t i = 0; i < told; ++i) lines.push_back("the disk cannot hold the time of " + shown(files[i]));
  if (std::size_t const rest = files.size() - told)
    lines.push_back("the disk cannot hold the times of " + counted(rest, "more file"));
  return lines;
}

}  // namespace ztpkg
