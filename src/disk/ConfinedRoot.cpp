// SPDX-License-Identifier: Apache-2.0
#include "disk/ConfinedRoot.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <linux/openat2.h>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "disk/NativePath.hpp"
#include "opc/SafePaths.hpp"
#include "opc/Strings.hpp"

namespace opc {
namespace {

// The system gives up (EAGAIN) when folders move while it walks. Endless moves end in an error.
constexpr int kMostTries = 128;

// The system accepts few others beside O_PATH.
int completed(int flags) { return flags | O_CLOEXEC | ((flags & O_PATH) ? 0 : O_NOCTTY); }

int openInOneStep(int folder, char const* path, int flags, mode_t mode) {
  open_how how{};
  how.flags = static_cast<__u64>(flags);
  how.mode = (flags & O_CREAT) ? mode : 0;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
  long result = -1;
  for (int tries = 0; tries < kMostTries; ++tries) {
    result = ::syscall(SYS_openat2, folder, path, &how, sizeof how);
    if (result >= 0 || (errno != EAGAIN && errno != EINTR)) break;
  }
  return static_cast<int>(result);
}

bool isLink(int folder, char const* name) {
  struct stat status;
  return ::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode);
}

FileHandle openSegment(int folder, char const* name, int flags, mode_t mode, boost::system::error_code& error) {
  FileHandle opened = FileHandle::openAt(folder, name, flags | O_NOFOLLOW, mode, error);
  if (error == posixError(ENOTDIR) && isLink(folder, name)) error = posixError(ELOOP);
  return opened;
}

using boost::system::error_code;

constexpr int kPathOnly = O_PATH | O_DIRECTORY;

FileHandle openRoot(std::u16string const& path) {
  error_code error;
  LocalFileSystemOps().createFolders(path, error);
  FileHandle root;
  std::string native;
  if (!error && toNativePath(path, native)) root = FileHandle::open(native.c_str(), kPathOnly, error);
  if (error)
    throw Exception("Could not open directory: " + toUDEString(escapeForDisplay(path)) + ": " + error.message(), error);
  return root;
}

std::string withoutTrailingSlashes(std::string text) {
  while (text.ends_with('/')) text.pop_back();
  return text;
}

/// Without empty and "." segments.
std::vector<std::string_view> segmentsOf(std::string_view path) {
  std::vector<std::string_view> segments;
  for (std::size_t start = 0, end = 0; end != path.npos; start = end + 1) {
    end = path.find('/', start);
    std::string_view const segment = path.substr(start, end == path.npos ? end : end - start);
    if (!segment.empty() && segment != ".") segments.push_back(segment);
  }
  return segments;
}

std::string join(std::vector<std::string_view> const& segments) {
  std::string path;
  for (std::string_view const segment : segments) (path += path.empty() ? "" : "/") += segment;
  return path.empty() ? "." : path;
}

std::pair<std::string, std::string> splitLast(std::string const& relative) {
  std::size_t const slash = relative.rfind('/');
  if (slash == relative.npos) return {".", relative};
  return {relative.substr(0, slash), relative.substr(slash + 1)};
}

struct OpenFolder {
  FileHandle handle;
  bool isNew = false;
};

OpenFolder openMakingFolder(int parent, std::string const& name, error_code& error) {
  FileHandle folder = openBeneath(parent, name, kPathOnly, 0, error);
  if (error != posixError(ENOENT)) return {std::move(folder)};
  bool const isNew = ::mkdirat(parent, name.c_str(), kNewFolderMode) == 0;
  if (!isNew && errno != EEXIST) {
    error = lastPosixError();
    return {};
  }
  return {openBeneath(parent, name, kPathOnly, 0, error), isNew};
}

/// Makes the missing folders of the path. The last one alone is mostly missing.
OpenFolder makeMissingFolders(int root, std::string const& path, error_code& error) {
  auto const [above, name] = splitLast(path);
  OpenFolder folder{openBeneath(root, above, kPathOnly, 0, error)};
  if (folder.handle.isOpen()) return openMakingFolder(folder.handle.descriptor(), name, error);
  if (error != posixError(ENOENT)) return folder;
  for (std::string_view const segment : segmentsOf(path)) {
    int const parent = folder.handle.isOpen() ? folder.handle.descriptor() : root;
    folder = openMakingFolder(parent, std::string(segment), error);
    if (error) break;
  }
  return folder;
}

/// A path that is too long for the system goes in two parts.
FileHandle openLongBeneath(int folder, std::string const& path, int flags, mode_t mode, error_code& error) {
  std::size_t const slash = path.rfind('/', PATH_MAX - 2);
  if (slash == path.npos) {
    error = posixError(ENAMETOOLONG);
    return {};
  }
  FileHandle const front = openBeneath(folder, path.substr(0, slash), kPathOnly, 0, error);
  return error ? FileHandle() : openBeneath(front.descriptor(), path.substr(slash + 1), flags, mode, error);
}

}  // namespace

FileHandle openBeneath(int folder, std::string const& path, int flags, mode_t mode, boost::system::error_code& error) {
  if (path.size() >= PATH_MAX) return openLongBeneath(folder, path, flags, mode, error);
  FileHandle opened(openInOneStep(folder, path.c_str(), completed(flags), mode));
  error = opened.isOpen() ? boost::system::error_code() : lastPosixError();
  bool const isMissing = error == posixError(ENOSYS) || error == posixError(EPERM);  // the latter from a sandbox
  return isMissing ? openBeneathBySegments(folder, path, flags, mode, error) : std::move(opened);
}

FileHandle openBeneathBySegments(int folder, std::string const& path, int flags, mode_t mode,
                                 boost::system::error_code& error) {
  FileHandle current;
  for (std::size_t start = 0, end = 0; end != path.npos; start = end + 1) {
    end = path.find('/', start);
    bool const isLast = end == path.npos;
    std::string const name = path.substr(start, isLast ? end : end - start);
    int const from = current.isOpen() ? current.descriptor() : folder;
    int const how = isLast ? flags : O_PATH | O_DIRECTORY;
    FileHandle next = openSegment(from, name.c_str(), how, mode, error);
    if (error) return {};
    current = std::move(next);
  }
  return current;
}

Place HeldFolders::takePlace(std::string const& path, std::string const& name) {
  std::lock_guard const lock(mutex_);
  auto const held = std::ranges::find(folders_, path, &Held::path);
  if (held == folders_.end()) return {};
  return {held->folder, name, held->isNew && held->names.insert(name).second};
}

void HeldFolders::hold(std::string path, Folder folder, bool isNew) {
  std::lock_guard const lock(mutex_);
  folders_.push_back({std::move(path), std::move(folder), isNew, {}});
  if (folders_.size() > kMost) folders_.pop_front();
}

void HeldFolders::letGo(std::string const& path) {
  std::lock_guard const lock(mutex_);
  std::erase_if(folders_, [&](Held const& held) { return held.path == path; });
}

ConfinedFileSystemOps::Root::Root(std::u16string const& path)
    : text_(withoutTrailingSlashes(toUTF8String(path))),
      folder_(openRoot(path)),
      modeOfNewFiles_(opc::modeOfNewFiles()) {}

std::string ConfinedFileSystemOps::Root::relative(std::u16string const& path, error_code& error) const {
  std::string native;
  error = toNativePath(path, native) ? error_code() : posixError(EINVAL);
  if (error) return {};
  bool const isBeneath = native.starts_with(text_) && (native.size() == text_.size() || native[text_.size()] == '/');
  auto const segments = segmentsOf(isBeneath ? std::string_view(native).substr(text_.size()) : "..");
  for (std::string_view const segment : segments)
    if (segment == "..") error = posixError(EPERM);
  return join(segments);
}

FileHandle ConfinedFileSystemOps::Root::open(std::u16string const& path, int flags, error_code& error) const {
  std::string const below = relative(path, error);
  return error ? FileHandle() : openBeneath(folder_.descriptor(), below, flags, 0, error);
}

FileHandle ConfinedFileSystemOps::Root::openToRead(std::u16string const& path, error_code& error) const {
  FileHandle file = open(path, O_RDONLY | O_NONBLOCK, error);  // a fifo would wait for its writer
  if (error == posixError(ENXIO)) error = posixError(EINVAL);  // a socket
  return file;
}

FolderOpener ConfinedFileSystemOps::Root::opener() const {
  return [this](std::u16string const& path, error_code& error) { return open(path, O_RDONLY | O_DIRECTORY, error); };
}

Place ConfinedFileSystemOps::Root::placeOf(std::u16string const& path, error_code& error) const {
  auto [folder, name] = splitLast(relative(path, error));
  if (error) return {};
  FileHandle opened = openBeneath(folder_.descriptor(), folder, kPathOnly, 0, error);
  return {std::make_shared<FileHandle const>(std::move(opened)), std::move(name)};
}

Place ConfinedFileSystemOps::Root::heldPlaceOf(std::u16string const& path, error_code& error) const {
  auto [folder, name] = splitLast(relative(path, error));
  if (error) return {};
  Place place = held_.takePlace(folder, name);
  if (place.folder) return place;
  place = placeOf(path, error);
  if (!error) held_.hold(std::move(folder), place.folder);
  return place;
}

void ConfinedFileSystemOps::Root::letGo(std::u16string const& path) const {
  error_code error;
  held_.letGo(relative(path, error));
}

void ConfinedFileSystemOps::Root::letGoParentOf(std::u16string const& path) const {
  error_code error;
  held_.letGo(splitLast(relative(path, error)).first);
}

void ConfinedFileSystemOps::Root::makeFolders(std::u16string const& path, error_code& error) const {
  std::string below = relative(path, error);
  if (error || below == ".") return;
  OpenFolder made = makeMissingFolders(folder_.descriptor(), below, error);
  if (!error) held_.hold(std::move(below), std::make_shared<FileHandle const>(std::move(made.handle)), made.isNew);
}

bool ConfinedFileSystemOps::Root::staysBeneath(std::u16string const& linkPath, std::u16string const& target) const {
  error_code error;
  relative(linkPath, error);
  std::u16string const root = toString(text_);
  bool const isAbsolute = target.starts_with(u'/');
  bool const beginsWithRoot = target == root || isBelowPath(target, root);
  if (error || (isAbsolute && !beginsWithRoot)) return false;
  return staysBeneathRoot(linkPath.substr(root.size()), isAbsolute ? u"/" + target.substr(root.size()) : target,
                          [this](std::u16string const& path) { return isFolder(toUTF8String(path).substr(1)); });
}

bool ConfinedFileSystemOps::Root::isFolder(std::string const& relative) const {
  error_code error;
  return openBeneath(folder_.descriptor(), relative, kPathOnly, 0, error).isOpen();
}

}  // namespace opc
