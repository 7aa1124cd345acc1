// SPDX-License-Identifier: Apache-2.0
#include "WayCheck.hpp"

#include "Errors.hpp"

namespace ztpkg {
namespace {

[[noreturn]] void throwInTheWay(char const* code, std::u16string const& path, std::string const& what) {
  throw Failure(Report{Exit::Disk, code, shown(path) + " " + what, path});
}

}  // namespace

void WayCheck::check(std::u16string const& path, bool isFolder) {
  checkParents(path);
  if (isFolder) return checkFolder(path);
  std::u16string const onDisk = disk_->appendPath(root_, path);
  if (!isThere(onDisk)) return;
  if (!disk_->isFile(onDisk) && !disk_->isSymlink(onDisk))
    throwInTheWay("folder-in-the-way", onDisk, "is a folder, where a file or link is to be");
  if (!replaceExisting_) throwInTheWay("already-exists", onDisk, "already exists (use --force to replace it)");
}

bool WayCheck::isThere(std::u16string const& path) {
  boost::system::error_code error;
  bool const there = disk_->exists(path, error);
  if (error) throw Failure(diskReport("cannot-read", "cannot look at", path, error));
  return there;
}

void WayCheck::checkFolder(std::u16string const& path) {
  std::u16string const onDisk = disk_->appendPath(root_, path);
  if (!isThere(onDisk)) return;
  if (disk_->isSymlink(onDisk)) throwInTheWay("link-in-the-way", onDisk, "is a link, where a folder is to be");
  if (disk_->isFile(onDisk)) throwInTheWay("file-in-the-way", onDisk, "is a file, where a folder is to be");
}

void WayCheck::checkParents(std::u16string const& path) {
  std::size_t const slash = path.rfind(u'/');
  if (slash == 0 || slash == std::u16string::npos) return;
  std::u16string const parent = path.substr(0, slash);
  if (checked_.contains(parent)) return;
  checkParents(parent);
  checkFolder(parent);
  checked_.insert(parent);
}

}  // namespace ztpkg
