// SPDX-License-Identifier: Apache-2.0
#include "DestinationTree.hpp"

#include "Errors.hpp"
#include "Process.hpp"

namespace ztpkg {
namespace {

[[noreturn]] void throwInTheWay(char const* code, std::u16string const& path, std::string const& what) {
  throw Failure(Report{Exit::Disk, code, shown(path) + " " + what, path});
}

}  // namespace

DestinationTree::DestinationTree(opc::FileSystemOps& disk, std::u16string root, Overwrite overwrite)
    : ForwardingOps(disk), root_(std::move(root)), overwrite_(overwrite) {}

bool DestinationTree::isThere(std::u16string const& path) {
  ErrorCode error;
  bool const there = inner().exists(path, error);
  if (error) throw Failure(diskReport("cannot-read", "cannot look at", path, error));
  return there;
}

void DestinationTree::checkFolder(std::u16string const& path) {
  std::u16string const onDisk = appendPath(root_, path);
  if (!isThere(onDisk)) return;
  if (inner().isSymlink(onDisk)) throwInTheWay("link-in-the-way", onDisk, "is a link, where a folder is to be");
  if (inner().isFile(onDisk)) throwInTheWay("file-in-the-way", onDisk, "is a file, where a folder is to be");
}

void DestinationTree::checkParents(std::u16string const& path) {
  std::size_t const slash = path.rfind(u'/');
  if (slash == 0 || slash == std::u16string::npos) return;
  std::u16string const parent = path.substr(0, slash);
  if (checked_.contains(parent)) return;
  checkParents(parent);
  checkFolder(parent);
  checked_.insert(parent);
}

void DestinationTree::checkPlace(std::u16string const& path, bool isFolder) {
  checkParents(path);
  if (isFolder) return checkFolder(path);
  std::u16string const onDisk = appendPath(root_, path);
  if (!isThere(onDisk)) return;
  if (!inner().isFile(onDisk) && !inner().isSymlink(onDisk))
    throwInTheWay("folder-in-the-way", onDisk, "is a folder, where a file or link is to be");
  if (overwrite_ == Overwrite::Refuse)
    throwInTheWay("already-exists", onDisk, "already exists (use --force to replace it)");
}

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
  if (overwrite_ == Overwrite::Refuse) return inner().createSymlink(target, linkPath, error);
  std::u16string const temporary = temporaryNameFor(linkPath);
  inner().createSymlink(target, temporary, error);
  if (error) return;
  moveInto(temporary, linkPath, overwrite_, error);
  if (error) removeQuietly(temporary);
}

std::unique_ptr<opc::FileOutputStream> DestinationTree::createOutputStream(std::u16string const& path,
                                                                           std::ios::openmode mode, ErrorCode& error) {
  throwIfInterrupted();
  auto file = SafeFile::create(inner(), path, mode, overwrite_, error);
  if (!file) throw Failure(diskReport("cannot-write", "cannot make file", path, error));
  return file;
}

}  // namespace ztpkg
