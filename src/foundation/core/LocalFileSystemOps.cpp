// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "foundation/core/DirectoryWalk.hpp"
#include "foundation/core/FileStreams.hpp"
#include "foundation/core/NativePath.hpp"
#include "opc/FileSystemOps.hpp"
#include "opc/Strings.hpp"

namespace opc {
namespace {

constexpr mode_t kNewFolderMode = 0777;  // less the umask
constexpr std::size_t kSmallestBuffer = 4'096;
constexpr std::size_t kLargestBuffer = 65'536;
constexpr std::size_t kFirstLinkSize = 256;

// The type bits of what the path itself names; 0 where nothing is to be found.
mode_t typeOf(std::u16string const& path) {
  struct stat status;
  boost::system::error_code error;
  bool const found = callOnPath(path, error, [&](char const* native) { return ::lstat(native, &status); });
  return found ? status.st_mode & S_IFMT : 0;
}

bool isDirectory(char const* path) {
  struct stat status;
  return ::stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

// As mkdir, but content with a directory that is already there.
int ensureFolder(char const* path) {
  if (::mkdir(path, kNewFolderMode) == 0) return 0;
  int const reason = errno;
  if (reason == ENOENT) return -1;
  if (isDirectory(path)) return 0;
  errno = reason == EEXIST ? ENOTDIR : reason;
  return -1;
}

// From the end of the path upwards until a folder can be made, then down again.
int ensureFolders(std::string const& path) {
  std::vector<std::string> missing;
  std::string current = path;
  while (ensureFolder(current.c_str()) != 0) {
    if (errno != ENOENT) return -1;
    std::size_t const last = current.find_last_not_of('/');
    std::size_t const slash = last == std::string::npos ? last : current.rfind('/', last);
    if (slash == std::string::npos || slash == 0) return -1;
    missing.push_back(current);
    current.resize(slash);
  }
  bool const made = std::all_of(missing.rbegin(), missing.rend(),
                                [](std::string const& folder) { return ensureFolder(folder.c_str()) == 0; });
  return made ? 0 : -1;
}

// The buffer is no larger than the file needs: a tree can hold many files of a few bytes.
std::size_t bufferSizeFor(struct stat const& status) {
  if (!S_ISREG(status.st_mode)) return kLargestBuffer;
  auto const size = static_cast<std::size_t>(status.st_size);
  return std::clamp(size, kSmallestBuffer, kLargestBuffer);
}

FileDescriptor openFile(std::u16string const& path, int flags, boost::system::error_code& error) {
  FileDescriptor file;
  std::string native;
  if (toNativePath(path, native))
    file = FileDescriptor::open(native.c_str(), flags, error);
  else
    error = posixError(EINVAL);
  return file;
}

bool leadsToSocket(std::u16string const& path) {
  struct stat status;
  boost::system::error_code error;
  return callOnPath(path, error, [&](char const* native) { return ::stat(native, &status); }) &&
         S_ISSOCK(status.st_mode);
}

// Only what has content of its own: regular files and devices, which are read as if opened to wait.
boost::system::error_code checkReadable(int file, struct stat& status) {
  if (::fstat(file, &status) != 0) return lastPosixError();
  if (S_ISDIR(status.st_mode)) return posixError(EISDIR);
  if (!S_ISREG(status.st_mode) && !S_ISCHR(status.st_mode) && !S_ISBLK(status.st_mode)) return posixError(EINVAL);
  int const flags = ::fcntl(file, F_GETFL);
  if (flags < 0 || ::fcntl(file, F_SETFL, flags & ~O_NONBLOCK) < 0) return lastPosixError();
  return {};
}

int readLink(char const* path, std::string& target) {
  target.resize(kFirstLinkSize);
  while (true) {
    ssize_t const length = ::readlink(path, target.data(), target.size());
    if (length < 0) return -1;
    bool const whole = static_cast<std::size_t>(length) < target.size();
    target.resize(whole ? static_cast<std::size_t>(length) : target.size() * 2);
    if (whole) return 0;
  }
}

}  // namespace

bool LocalFileSystemOps::exists(std::u16string const& path, boost::system::error_code& error) {
  struct stat status;
  bool const found = callOnPath(path, error, [&](char const* native) { return ::lstat(native, &status); });
  if (error == posixError(ENOENT) || error == posixError(ENOTDIR)) error.clear();
  return found;
}

bool LocalFileSystemOps::isFile(std::u16string const& path) { return typeOf(path) == S_IFREG; }

bool LocalFileSystemOps::isSymlink(std::u16string const& path) { return typeOf(path) == S_IFLNK; }

void LocalFileSystemOps::getFiles(std::u16string const& root, std::vector<std::u16string>& files, bool recursive,
                                  boost::system::error_code& error) {
  files = walkDirectory(root, WalkFor::FilesAndLinks, recursive, error);
}

void LocalFileSystemOps::getFolders(std::u16string const& root, std::vector<std::u16string>& folders, bool recursive,
                                    boost::system::error_code& error) {
  folders = walkDirectory(root, WalkFor::Folders, recursive, error);
}

void LocalFileSystemOps::createFolder(std::u16string const& path, boost::system::error_code& error) {
  callOnPath(path, error, [](char const* native) { return ::mkdir(native, kNewFolderMode); });
}

void LocalFileSystemOps::createFolders(std::u16string const& path, boost::system::error_code& error) {
  callOnPath(path, error, [](char const* native) { return ensureFolders(native); });
}

void LocalFileSystemOps::createSymlink(std::u16string const& target, std::u16string const& linkPath,
                                       boost::system::error_code& error) {
  std::string content;
  if (toNativePath(target, content))
    callOnPath(linkPath, error, [&](char const* native) { return ::symlink(content.c_str(), native); });
  else
    error = posixError(EINVAL);
}

std::u16string LocalFileSystemOps::getLinkTarget(std::u16string const& path) {
  std::string target;
  boost::system::error_code error;
  if (!callOnPath(path, error, [&](char const* native) { return readLink(native, target); }))
    throw Exception("Could not read symbolic link: " + toUDEString(escapeForDisplay(path)) + ": " + error.message(),
                    error);
  std::u16string text;
  if (unicode::appendUTF16(text, target) != target.size())
    throw InvalidText("Target of symbolic link is not valid UTF-8: " + toUDEString(escapeForDisplay(path)) + ": " +
                          unicode::escapeBytes(target),
                      posixError(EILSEQ));
  return text;
}

std::unique_ptr<std::istream> LocalFileSystemOps::createInputStream(std::u16string const& path, std::ios::openmode mode,
                                                                    boost::system::error_code& error) {
  if (mode & (std::ios::out | std::ios::app | std::ios::trunc | std::ios::ate)) {
    error = posixError(EINVAL);
    return nullptr;
  }
  FileDescriptor file = openFile(path, O_RDONLY | O_NONBLOCK, error);  // a fifo would wait for its writer
  if (error == posixError(ENXIO) && leadsToSocket(path)) error = posixError(EINVAL);
  if (error) return nullptr;
  struct stat status;
  error = checkReadable(file.number(), status);
  if (error) return nullptr;
  return std::make_unique<FileInputStream>(std::move(file), path, bufferSizeFor(status));
}

std::unique_ptr<FileOutputStream> LocalFileSystemOps::createOutputStream(std::u16string const& path,
                                                                         std::ios::openmode mode,
                                                                         boost::system::error_code& error) {
  if (mode & (std::ios::in | std::ios::app | std::ios::ate)) {  // these would keep what the file holds
    error = posixError(EINVAL);
    return nullptr;
  }
  FileDescriptor file = openFile(path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW, error);
  if (error) return nullptr;
  return std::make_unique<LocalFileOutputStream>(std::move(file));
}

}  // namespace opc
