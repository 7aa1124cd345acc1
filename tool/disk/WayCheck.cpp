// SPDX-License-Identifier: Apache-2.0
#include "disk/WayCheck.hpp"

#include "cli/Errors.hpp"
#include "disk/NewParents.hpp"

namespace ztpkg {
namespace {

[[noreturn]] void throwInTheWay(char const* code, std::u16string const& path, std::string const& what) {
  throw Failure(Report{Exit::Disk, code, shown(path) + " " + what, path});
}

}  // namespace

void WayCheck::check(std::u16string const& path, bool isFolder) {
  if (!checkParents(path)) return;
  if (isFolder) {
    checkFolder(path);
    return;
  }
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

/// False where there is nothing yet.
bool WayCheck::checkFolder(std::u16string const& path) {
  std::u16string const onDisk = disk_->appendPath(root_, path);
  if (!isThere(onDisk)) return false;
  if (disk_->isSymlink(onDisk)) throwInTheWay("link-in-the-way", onDisk, "is a link, where a folder is to be");
  if (disk_->isFile(onDisk)) throwInTheWay("file-in-the-way", onDisk, "is a file, where a folder is to be");
  return true;
}

/// False where one of them is missing, so that nothing can be in the way further down.
bool WayCheck::checkParents(std::u16string const& path) {
  if (!missing_.empty() && path.starts_with(missing_)) return false;
  missing_.clear();
  visitNewParents(path, previous_, [this](std::u16string_view parent) {
    if (checkFolder(std::u16string(parent))) return true;
    missing_ = std::u16string(parent) + u"/";
    return false;
  });
  previous_ = path;
  return missing_.empty();
}

}  // namespace ztpkg
