// SPDX-License-Identifier: Apache-2.0
#include "opc/ConfinedFileSystemOps.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "disk/AtomicOutputStream.hpp"
#include "disk/ConfinedRoot.hpp"
#include "disk/FileMetadata.hpp"
#include "disk/NativePath.hpp"

namespace opc {
namespace {

using boost::system::error_code;

constexpr mode_t kOrdinaryBits = 0777;

/// Passes the place to a system call that returns 0, or -1 with errno. Returns whether it succeeded.
template <typename Call>
bool callAt(Place const& place, error_code& error, Call call) {
  if (!error && call(place.descriptor(), place.name.c_str()) != 0) error = lastPosixError();
  return !error;
}

bool statusOf(Place const& place, struct stat& status, error_code& error) {
  return callAt(place, error,
                [&](int folder, char const* name) { return ::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW); });
}

// Checked before anything is written. A later conflict shows when the file takes its name.
error_code checkNothingInTheWay(Place const& place, bool replace) {
  if (place.isFree) return {};
  struct stat status;
  if (::fstatat(place.descriptor(), place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
    return errno == ENOENT ? error_code() : lastPosixError();
  if (S_ISDIR(status.st_mode)) return posixError(EISDIR);
  return replace ? error_code() : posixError(EEXIST);
}

ZeroRuns zeroRunsOf(Confinement const& confinement) {
  return confinement.makeHoles ? ZeroRuns::MakeHoles : ZeroRuns::Write;
}

error_code makeLink(std::string const& content, Place const& place, bool replace) {
  if (!replace)
    return ::symlinkat(content.c_str(), place.descriptor(), place.name.c_str()) == 0 ? error_code() : lastPosixError();
  std::string const name = temporaryNameForExtraction();
  if (::symlinkat(content.c_str(), place.descriptor(), name.c_str()) != 0) return lastPosixError();
  error_code error;
  TemporaryName(place.descriptor(), name).moveTo(place.name.c_str(), true, error);
  return error;
}

}  // namespace

ConfinedFileSystemOps::ConfinedFileSystemOps(std::u16string const& root, Confinement const& confinement)
    : root_(std::make_unique<Root>(root)), confinement_(confinement) {}

ConfinedFileSystemOps::~ConfinedFileSystemOps() = default;

bool ConfinedFileSystemOps::exists(std::u16string const& path, error_code& error) {
  root_->letGo(path);
  struct stat status;
  bool const found = statusOf(root_->placeOf(path, error), status, error);
  if (error == posixError(ENOENT) || error == posixError(ENOTDIR)) error.clear();
  return found;
}

bool ConfinedFileSystemOps::isFile(std::u16string const& path) {
  struct stat status;
  error_code error;
  return statusOf(root_->placeOf(path, error), status, error) && S_ISREG(status.st_mode);
}

bool ConfinedFileSystemOps::isSymlink(std::u16string const& path) {
  struct stat status;
  error_code error;
  return statusOf(root_->placeOf(path, error), status, error) && S_ISLNK(status.st_mode);
}

bool ConfinedFileSystemOps::isAbsolutePath(std::u16string const& path) { return text_.isAbsolutePath(path); }

void ConfinedFileSystemOps::getFiles(std::u16string const& root, std::vector<std::u16string>& files, bool recursive,
                                     error_code& error) {
  files = walkDirectory(root, WalkFor::FilesAndLinks, recursive, error, root_->opener());
}

void ConfinedFileSystemOps::getFolders(std::u16string const& root, std::vector<std::u16string>& folders, bool recursive,
                                       error_code& error) {
  folders = walkDirectory(root, WalkFor::Folders, recursive, error, root_->opener());
}

void ConfinedFileSystemOps::createFolder(std::u16string const& path, error_code& error) {
  root_->letGo(path);
  callAt(root_->placeOf(path, error), error,
         [](int folder, char const* name) { return ::mkdirat(folder, name, kNewFolderMode); });
}

void ConfinedFileSystemOps::createFolders(std::u16string const& path, error_code& error) {
  root_->letGo(path);
  root_->makeFolders(path, error);
}

void ConfinedFileSystemOps::createSymlink(std::u16string const& target, std::u16string const& linkPath,
                                          error_code& error) {
  std::string content;
  if (!toNativePath(target, content)) {
    error = posixError(EINVAL);
    return;
  }
  Place const place = root_->placeOf(linkPath, error);
  if (!error && !confinement_.allowOutsideLinks && !root_->staysBeneath(linkPath, target)) error = posixError(EPERM);
  if (!error) error = makeLink(content, place, confinement_.replaceExisting);
}

std::u16string ConfinedFileSystemOps::getLinkTarget(std::u16string const& path) {
  error_code error;
  Place const place = root_->placeOf(path, error);
  if (error) throwCouldNotReadLink(path, error);
  return readLink(place.descriptor(), place.name.c_str(), path);
}

std::unique_ptr<std::istream> ConfinedFileSystemOps::createInputStream(std::u16string const& path,
                                                                       std::ios::openmode mode, error_code& error) {
  if (!isReadingMode(mode, error)) return nullptr;
  FileHandle file = root_->openToRead(path, error);
  struct stat status;
  return error ? nullptr : makeInputStream(std::move(file), path, status, error);
}

std::unique_ptr<FileOutputStream> ConfinedFileSystemOps::createOutputStream(std::u16string const& path,
                                                                            std::ios::openmode mode,
                                                                            error_code& error) {
  if (!isWritingMode(mode, error)) return nullptr;
  Place place = root_->placeOf(path, error);
  if (!error) error = checkNothingInTheWay(place, confinement_.replaceExisting);
  if (error) return nullptr;
  FileAttributes attributes{root_->modeOfNewFiles()};
  attributes.zeroRuns = zeroRunsOf(confinement_);
  return AtomicOutputStream::create(std::move(place), attributes, confinement_.replaceExisting, error);
}

OpenedFile ConfinedFileSystemOps::openForAdding(std::u16string const& path) {
  OpenedFile failed;
  FileHandle file = root_->openToRead(path, failed.openError);
  return failed.openError ? std::move(failed) : makeOpenedFile(std::move(file), path);
}

std::unique_ptr<FileOutputStream> ConfinedFileSystemOps::createForRestoring(std::u16string const& path,
                                                                            Perms::Perms_tag permissions,
                                                                            boost::posix_time::ptime const& time,
                                                                            error_code& error) {
  FileAttributes const attributes{
      root_->modeOfNewFiles(),       permissions, kOrdinaryBits, time, zeroRunsOf(confinement_),
      confinement_.allowInexactTimes};
  bool const replace = confinement_.replaceExisting;
  auto const create = [&](Place place) -> std::unique_ptr<FileOutputStream> {
    if (!error) error = checkNothingInTheWay(place, replace);
    return error ? nullptr : AtomicOutputStream::create(std::move(place), attributes, replace, error);
  };
  auto file = create(root_->heldPlaceOf(path, error));
  if (error != posixError(ENOENT)) return file;
  root_->letGoParentOf(path);  // the held folder was removed; another one may have its name
  return create(root_->heldPlaceOf(path, error));
}

Perms::Perms_tag ConfinedFileSystemOps::getPermissions(std::u16string const& path, error_code& error) {
  struct stat status;
  if (!statusOf(root_->placeOf(path, error), status, error)) return Perms::NotKnown;
  return permissionsOf(status);
}

void ConfinedFileSystemOps::setPermissions(std::u16string const& path, Perms::Perms_tag permissions,
                                           error_code& error) {
  if (!arePermissionBits(permissions)) {
    error = posixError(EINVAL);
    return;
  }
  FileHandle const file = root_->open(path, O_PATH, error);
  if (error) return;
  std::string const open = "/proc/self/fd/" + std::to_string(file.descriptor());  // the one way to what may not be read
  if (::chmod(open.c_str(), permissions & kOrdinaryBits) != 0) error = lastPosixError();
}

boost::posix_time::ptime ConfinedFileSystemOps::getLastModifiedTime(std::u16string const& path, error_code& error) {
  struct stat status;
  if (!statusOf(root_->placeOf(path, error), status, error)) return {};
  return modificationTimeOf(status, error);
}

void ConfinedFileSystemOps::setLastModifiedTime(std::u16string const& path, boost::posix_time::ptime const& time,
                                                error_code& error) {
  Place const place = root_->placeOf(path, error);
  if (!error) error = setModificationTime(place.descriptor(), place.name.c_str(), time, AT_SYMLINK_NOFOLLOW);
}

void ConfinedFileSystemOps::remove(std::u16string const& path, error_code& error) {
  root_->letGo(path);
  struct stat status;
  Place const place = root_->placeOf(path, error);
  if (!error && place.name == ".") error = posixError(EPERM);
  if (!statusOf(place, status, error)) return;
  int const flags = S_ISDIR(status.st_mode) ? AT_REMOVEDIR : 0;
  callAt(place, error, [&](int folder, char const* name) { return ::unlinkat(folder, name, flags); });
}

void ConfinedFileSystemOps::removeLeftovers(std::u16string const& folder, error_code& error) {
  FileHandle const opened = root_->open(folder, O_RDONLY | O_DIRECTORY, error);
  if (!error) opc::removeLeftovers(opened.descriptor());
  if (error == posixError(ENOENT)) error.clear();
}

std::u16string ConfinedFileSystemOps::appendPath(std::u16string const& base, std::u16string const& relative) {
  return text_.appendPath(base, relative);
}

std::u16string ConfinedFileSystemOps::getParentPath(std::u16string const& path) { return text_.getParentPath(path); }

std::u16string ConfinedFileSystemOps::getExtension(std::u16string const& path) { return text_.getExtension(path); }

}  // namespace opc
