// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <ios>
#include <istream>
#include <memory>
#include <optional>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include "disk/AtomicOutputStream.hpp"
#include "disk/DirectoryWalk.hpp"
#include "disk/FileMetadata.hpp"
#include "disk/NativePath.hpp"
#include "io/FileStreams.hpp"
#include "opc/FileSystemOps.hpp"
#include "opc/Strings.hpp"

namespace opc {
namespace {

constexpr mode_t kPermissionBits = 07777;

/// `flags` as of fstatat.
template <typename Path>
bool statusOf(Path const& path, int flags, struct stat& status, boost::system::error_code& error) {
  return callOnPath(path, error,
                    [&](int folder, char const* native) { return ::fstatat(folder, native, &status, flags); });
}

// The type bits of the path itself, links not followed; 0 where nothing is found.
mode_t typeOf(std::u16string const& path) {
  struct stat status;
  boost::system::error_code error;
  return statusOf(path, AT_SYMLINK_NOFOLLOW, status, error) ? status.st_mode & S_IFMT : 0;
}

template <typename Path>
bool makeFolder(Path const& path, boost::system::error_code& error) {
  return callOnPath(path, error,
                    [](int folder, char const* native) { return ::mkdirat(folder, native, kNewFolderMode); });
}

// As makeFolder, but accepts an existing directory.
bool ensureFolder(std::string const& path, boost::system::error_code& error) {
  if (makeFolder(path, error) || error == posixError(ENOENT)) return !error;
  struct stat status;
  boost::system::error_code ignored;
  if (statusOf(path, 0, status, ignored) && S_ISDIR(status.st_mode))
    error.clear();
  else if (error == posixError(EEXIST))
    error = posixError(ENOTDIR);
  return !error;
}

// Goes from the end of the path upwards until a folder can be made, then down again.
void ensureFolders(std::string const& path, boost::system::error_code& error) {
  std::vector<std::string> missing;
  std::string current = path;
  while (!ensureFolder(current, error)) {
    if (error != posixError(ENOENT)) return;
    std::size_t const last = current.find_last_not_of('/');
    std::size_t const slash = last == std::string::npos ? last : current.rfind('/', last);
    if (slash == std::string::npos || slash == 0) return;
    missing.push_back(current);
    current.resize(slash);
  }
  std::all_of(missing.rbegin(), missing.rend(), [&](std::string const& folder) { return ensureFolder(folder, error); });
}

FileHandle openFile(std::u16string const& path, int flags, boost::system::error_code& error) {
  NativePath const native(path, error);
  return error ? FileHandle()
               : FileHandle::openAt(native.folder(), native.path(), flags, FileHandle::kOrdinaryMode, error);
}

/// Follows a link at the root itself. A folder below could have become a link meanwhile.
FolderOpener openerBelow(std::u16string const& root) {
  return [&root](std::u16string const& path, boost::system::error_code& error) {
    return openFile(path, O_RDONLY | O_DIRECTORY | (path == root ? 0 : O_NOFOLLOW), error);
  };
}

bool leadsToSocket(std::u16string const& path) {
  struct stat status;
  boost::system::error_code error;
  return statusOf(path, 0, status, error) && S_ISSOCK(status.st_mode);
}

// For the disk a slash at the end means a directory and nothing else.
std::u16string withoutTrailingSlashes(std::u16string path) {
  while (path.size() > 1 && path.ends_with(u'/')) path.pop_back();
  return path;
}

// A derived class may override any operation and expects it to be called.
bool isDerived(LocalFileSystemOps const& ops) { return typeid(ops) != typeid(LocalFileSystemOps); }

Place placeOf(std::u16string const& path, boost::system::error_code& error) {
  std::string native;
  error = toNativePath(path, native) ? boost::system::error_code() : posixError(EINVAL);
  std::size_t const slash = native.rfind('/');
  std::string const name = slash == native.npos ? native : native.substr(slash + 1);
  if (!error && name.empty()) error = posixError(native.empty() ? ENOENT : EISDIR);
  if (error) return {};
  std::string const folder = slash == native.npos ? "." : slash == 0 ? "/" : native.substr(0, slash);
  NativePath const above(folder, error);
  if (error) return {};
  FileHandle opened = FileHandle::openAt(above.folder(), above.path(), O_PATH | O_DIRECTORY, 0, error);
  return {std::make_shared<FileHandle const>(std::move(opened)), name};
}

// The mode of an existing regular file. Nothing else may be replaced.
std::optional<mode_t> modeOfFileAt(Place const& place, boost::system::error_code& error) {
  struct stat status;
  if (::fstatat(place.descriptor(), place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno != ENOENT) error = lastPosixError();
    return std::nullopt;
  }
  if (S_ISLNK(status.st_mode)) error = posixError(ELOOP);
  if (S_ISDIR(status.st_mode)) error = posixError(EISDIR);
  if (!error && !S_ISREG(status.st_mode)) error = posixError(EEXIST);
  return status.st_mode & kPermissionBits;
}

}  // namespace

bool LocalFileSystemOps::exists(std::u16string const& path, boost::system::error_code& error) {
  struct stat status;
  bool const found = statusOf(path, AT_SYMLINK_NOFOLLOW, status, error);
  if (error == posixError(ENOENT) || error == posixError(ENOTDIR)) error.clear();
  return found;
}

bool LocalFileSystemOps::isFile(std::u16string const& path) { return typeOf(path) == S_IFREG; }

bool LocalFileSystemOps::isSymlink(std::u16string const& path) { return typeOf(path) == S_IFLNK; }

bool LocalFileSystemOps::isAbsolutePath(std::u16string const& path) { return path.starts_with(u'/'); }

void LocalFileSystemOps::getFiles(std::u16string const& root, std::vector<std::u16string>& files, bool recursive,
                                  boost::system::error_code& error) {
  files = walkDirectory(root, WalkFor::FilesAndLinks, recursive, error, openerBelow(root));
}

void LocalFileSystemOps::getFolders(std::u16string const& root, std::vector<std::u16string>& folders, bool recursive,
                                    boost::system::error_code& error) {
  folders = walkDirectory(root, WalkFor::Folders, recursive, error, openerBelow(root));
}

void LocalFileSystemOps::createFolder(std::u16string const& path, boost::system::error_code& error) {
  makeFolder(path, error);
}

void LocalFileSystemOps::createFolders(std::u16string const& path, boost::system::error_code& error) {
  std::string native;
  if (toNativePath(path, native))
    ensureFolders(native, error);
  else
    error = posixError(EINVAL);
}

void LocalFileSystemOps::createSymlink(std::u16string const& target, std::u16string const& linkPath,
                                       boost::system::error_code& error) {
  std::string content;
  if (toNativePath(target, content))
    callOnPath(linkPath, error,
               [&](int folder, char const* native) { return ::symlinkat(content.c_str(), folder, native); });
  else
    error = posixError(EINVAL);
}

std::u16string LocalFileSystemOps::getLinkTarget(std::u16string const& path) {
  boost::system::error_code error;
  NativePath const native(path, error);
  if (error) throwCouldNotReadLink(path, error);
  return readLink(native.folder(), native.path(), path);
}

std::unique_ptr<std::istream> LocalFileSystemOps::createInputStream(std::u16string const& path, std::ios::openmode mode,
                                                                    boost::system::error_code& error) {
  if (!isReadingMode(mode, error)) return nullptr;
  FileHandle file = openFile(path, O_RDONLY | O_NONBLOCK, error);  // a fifo would wait for its writer
  if (error == posixError(ENXIO) && leadsToSocket(path)) error = posixError(EINVAL);
  struct stat status;
  return error ? nullptr : makeInputStream(std::move(file), path, status, error);
}

std::unique_ptr<FileOutputStream> LocalFileSystemOps::createOutputStream(std::u16string const& path,
                                                                         std::ios::openmode mode,
                                                                         boost::system::error_code& error) {
  if (!isWritingMode(mode, error)) return nullptr;
  // A fifo would wait for its reader, and its writes wait again.
  FileHandle file = openFile(path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK, error);
  if (!error && ::fcntl(file.descriptor(), F_SETFL, 0) < 0) error = lastPosixError();
  if (error) return nullptr;
  return std::make_unique<LocalFileOutputStream>(std::move(file));
}

OpenedFile LocalFileSystemOps::openForAdding(std::u16string const& path) {
  if (isDerived(*this)) return FileSystemOps::openForAdding(path);
  OpenedFile failed;
  FileHandle file = openFile(path, O_RDONLY | O_NONBLOCK | O_NOFOLLOW, failed.openError);
  return failed.openError ? std::move(failed) : makeOpenedFile(std::move(file), path);
}

std::unique_ptr<FileOutputStream> LocalFileSystemOps::createForRestoring(std::u16string const& path,
                                                                         Perms::Perms_tag permissions,
                                                                         boost::posix_time::ptime const& time,
                                                                         boost::system::error_code& error) {
  if (isDerived(*this)) return FileSystemOps::createForRestoring(path, permissions, time, error);
  Place place = placeOf(path, error);
  auto const former = error ? std::nullopt : modeOfFileAt(place, error);
  if (error) return nullptr;
  mode_t const mode = former || permissions != Perms::NotKnown ? former.value_or(0) : modeOfNewFiles();
  return AtomicOutputStream::create(std::move(place), {mode, permissions, kPermissionBits, time}, true, error);
}

bool LocalFileSystemOps::isThreadSafe() const { return !isDerived(*this); }

std::optional<std::uint64_t> LocalFileSystemOps::getFileSize(std::u16string const& path) {
  struct stat status;
  boost::system::error_code error;
  bool const isFile = statusOf(path, 0, status, error) && S_ISREG(status.st_mode);
  return isFile ? std::optional(static_cast<std::uint64_t>(status.st_size)) : std::nullopt;
}

Perms::Perms_tag LocalFileSystemOps::getPermissions(std::u16string const& path, boost::system::error_code& error) {
  struct stat status;
  if (!statusOf(path, 0, status, error)) return Perms::NotKnown;
  return permissionsOf(status);
}

void LocalFileSystemOps::setPermissions(std::u16string const& path, Perms::Perms_tag permissions,
                                        boost::system::error_code& error) {
  if (!arePermissionBits(permissions)) {
    error = posixError(EINVAL);
    return;
  }
  callOnPath(path, error, [&](int folder, char const* native) { return ::fchmodat(folder, native, permissions, 0); });
}

boost::posix_time::ptime LocalFileSystemOps::getLastModifiedTime(std::u16string const& path,
                                                                 boost::system::error_code& error) {
  struct stat status;
  if (!statusOf(path, 0, status, error)) return {};
  return modificationTimeOf(status, error);
}

void LocalFileSystemOps::setLastModifiedTime(std::u16string const& path, boost::posix_time::ptime const& time,
                                             boost::system::error_code& error) {
  NativePath const native(path, error);
  if (!error) error = setModificationTime(native.folder(), native.path(), time, 0);
}

std::u16string LocalFileSystemOps::appendPath(std::u16string const& base, std::u16string const& relative) {
  std::size_t const first = relative.find_first_not_of(u'/');
  if (first == std::u16string::npos) return base;
  std::u16string joined = base;
  while (joined.ends_with(u'/')) joined.pop_back();
  if (!base.empty()) joined += u'/';
  return joined.append(relative, first);
}

std::u16string LocalFileSystemOps::getParentPath(std::u16string const& path) {
  return withoutTrailingSlashes(detail::getParentPath(withoutTrailingSlashes(path)));
}

std::u16string LocalFileSystemOps::getExtension(std::u16string const& path) {
  std::u16string const name = detail::getFilename(withoutTrailingSlashes(path));
  std::size_t const dot = name.rfind(u'.');
  return dot == std::u16string::npos || dot == 0 ? std::u16string() : name.substr(dot + 1);
}

}  // namespace opc
