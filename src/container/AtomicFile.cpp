// SPDX-License-Identifier: Apache-2.0
#include "container/AtomicFile.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <system_error>
#include <utility>

#include "container/ArchiveWriter.hpp"
#include "container/Faults.hpp"
#include "container/FileProtection.hpp"
#include "io/FileHandle.hpp"
#include "io/FileLock.hpp"
#include "io/TemporaryName.hpp"
#include "opc/Exception.hpp"

namespace opc::model::zip {
namespace {

namespace fs = std::filesystem;
using boost::system::error_code;

constexpr int kMostLinks = 40;  // the limit of the kernel
constexpr int kMostAttempts = 100;
constexpr std::uint64_t kStretch = 8u << 20;

/// The path as the system resolves it; where nothing exists, the resolved directory and the name.
fs::path resolved(fs::path const& path, std::error_code& error) {
  fs::path whole = fs::canonical(path, error);
  if (error != std::errc::no_such_file_or_directory) return whole;
  fs::path const directory = fs::canonical(path.has_parent_path() ? path.parent_path() : fs::path("."), error);
  return directory / path.filename();
}

}  // namespace

bool isSameContent(FileIdentity const& a, FileIdentity b) {
  b.changeSeconds = a.changeSeconds;
  b.changeNanoseconds = a.changeNanoseconds;
  return a == b;
}

struct AtomicFile::Impl {
  std::string target;  // as given, for messages
  Rules rules;
  std::string name{};  // of the resolved target, in `directory`
  FileHandle directory{};
  TemporaryName temporary{};
  FileHandle file{};
  std::uint64_t written = 0;
  std::uint64_t syncing = 0;  // how many written bytes the disk has been told to store

  [[noreturn]] void fail(int error) {
    discard();
    throw couldNotSave(target, error);
  }

  void check(error_code const& error) {
    if (error) fail(error.value());
  }

  /// Ignores errors, since the caller already has one to report.
  void discard() noexcept {
    error_code ignored;
    file.close(ignored);
    temporary.remove(ignored);
  }

  /// Has the disk store written bytes early; otherwise the final sync would wait for all of them.
  void wrote(std::uint64_t count) {
    written += count;
    if (written - syncing < kStretch) return;
    file.startSync(syncing, written - syncing);
    syncing = written;
  }

  void openDirectory() {
    if (target.empty()) fail(ENOENT);
    if (target.find('\0') != std::string::npos) fail(EINVAL);
    std::error_code unresolved;
    fs::path const path = followTarget(target, unresolved);
    if (unresolved) fail(unresolved.value());
    name = path.filename().string();
    if (name.empty()) fail(EISDIR);
    fs::path const parent = path.parent_path();
    error_code error;
    directory = FileHandle::open(parent.c_str(), O_RDONLY | O_DIRECTORY, error);
    // A directory that may be written and searched but not read suffices, but can be neither locked nor synced.
    if (error == posixError(EACCES)) directory = FileHandle::open(parent.c_str(), O_PATH | O_DIRECTORY, error);
    check(error);
  }

  /// Replaces only a regular file, since a rename would also replace a device. False where there is no file.
  bool checkTarget(struct stat& status) {
    if (fstatat(directory.descriptor(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
      if (errno != ENOENT) fail(errno);
      if (rules.expected) failAsChanged();
      return false;
    }
    if (rules.target == Target::MustNotExist) fail(EEXIST);
    if (S_ISDIR(status.st_mode)) fail(EISDIR);
    if (!S_ISREG(status.st_mode)) fail(EINVAL);
    bool const mayWrite = faccessat(directory.descriptor(), name.c_str(), W_OK, AT_EACCESS) == 0;
    if (!mayWrite && !rules.replacesProtected) fail(errno);
    if (rules.expected && !isSameContent(FileIdentity::of(status), *rules.expected)) failAsChanged();
    return true;
  }

  [[noreturn]] void failAsChanged() {
    discard();
    throw packageHasChanged(target);
  }

  /// Opens the file to replace. The handle is not open if no such file exists or the process may not read it.
  FileHandle openTarget() {
    error_code error;
    FileHandle old =
        FileHandle::openAt(directory.descriptor(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK, 0, error);
    if (error != posixError(ENOENT) && error != posixError(EACCES) && error != posixError(ELOOP)) check(error);
    return old;
  }

  /// Checks the target now too, so that a save that must fail does so before its work.
  void begin(FileHandle& contents) {
    struct stat status {};
    bool const isThere = checkTarget(status);
    removeOrphans(directory.descriptor(), name);
    if (!contents.isOpen() || !tryTakeOver(contents)) makeTemporary();
    if (!isThere) return;
    error_code error;
    protectionOf(status).applyOwnerTo(file, rules.replacesProtected, error);
    checkOwner(error);
  }

  /// Another save takes an unlocked temporary file for an orphan. So the file must be locked and still have its name.
  /// Where the file system has no locks, saves find no orphans.
  void makeTemporary() {
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
      error_code error, locked;
      temporary = TemporaryName::makeFile(
          directory.descriptor(), [this] { return temporaryNameFor(name); }, O_RDWR, file, error);
      check(error);
      file.tryLock(locked);
      if (locked != posixError(EWOULDBLOCK) && status().st_nlink > 0) return;
    }
  }

  /// The file is locked before it has a name, so that nobody can take it for an orphan.
  bool tryTakeOver(FileHandle& contents) {
    struct stat status {};
    error_code error;
    contents.tryLock(error);
    if (!error) contents.getStatus(status, error);
    if (!error) contents.setPosition(static_cast<std::uint64_t>(status.st_size), error);
    if (error || status.st_nlink > 0) return false;
    temporary = TemporaryName::makeLink(
        directory.descriptor(), [this] { return temporaryNameFor(name); }, contents, error);
    if (error) return false;
    file = std::move(contents);
    written = syncing = static_cast<std::uint64_t>(status.st_size);
    return true;
  }

  FileProtection protectionOf(struct stat const& old) {
    error_code error;
    FileProtection protection = FileProtection::of(openTarget(), old, error);
    check(error);
    return protection;
  }

  void protect() {
    struct stat old {};
    bool const isThere = checkTarget(old);
    error_code error;
    FileProtection const protection = isThere ? protectionOf(old) : FileProtection::ofNewFile(directory, error);
    check(error);
    protection.applyTo(file, rules.replacesProtected, error);
    checkOwner(error);
  }

  void checkOwner(error_code const& error) {
    if (error != posixError(EPERM)) return check(error);
    discard();
    throw couldNotKeepOwner(target);
  }

  /// Renames the file while it holds the lock of the file that it replaces. False where another save was quicker, so
  /// that the lock is that of a former file.
  bool tryMove() {
    FileHandle const old = openTarget();
    struct stat locked {};
    struct stat now {};
    FileHandle held;  // keeps the temporary file locked until it has its own name
    error_code error;
    if (old.isOpen() && !old.getStatus(locked, error)) check(error);
    FileLock lock(old);
    lock.acquire(rules.patience, error);
    if (error == posixError(EWOULDBLOCK)) failAsBusy();
    check(error);
    bool const isThere = checkTarget(now);
    if (isThere && old.isOpen() && (now.st_dev != locked.st_dev || now.st_ino != locked.st_ino)) return false;
    held = file.share(error);
    if (!error) file.close(error);
    check(error);
    temporary.moveTo(name.c_str(), rules.target == Target::MayExist, error);
    check(error);
    held.unlock();  // others may have the file open still
    return true;
  }

  [[noreturn]] void failAsBusy() {
    discard();
    throw packageIsBusy(target);
  }

  struct stat status() {
    struct stat status {};
    error_code error;
    file.getStatus(status, error);
    check(error);
    return status;
  }

  static fs::path followTarget(fs::path const& target, std::error_code& error);
};

/// Follows a dangling link to the place where the file will appear.
fs::path AtomicFile::Impl::followTarget(fs::path const& target, std::error_code& error) {
  fs::path path = resolved(target, error);
  for (int links = 0; !error && fs::is_symlink(fs::symlink_status(path, error)); ++links) {
    if (links == kMostLinks) error = std::make_error_code(std::errc::too_many_symbolic_link_levels);
    fs::path const link = error ? fs::path() : fs::read_symlink(path, error);
    if (!error) path = resolved(path.parent_path() / link, error);
  }
  if (error == std::errc::no_such_file_or_directory) error.clear();  // the file is new
  return path;
}

AtomicFile::AtomicFile(std::string const& target, Rules const& rules) : impl_(new Impl{target, rules}) {
  FileHandle nothing;
  impl_->openDirectory();
  impl_->begin(nothing);
}

AtomicFile::AtomicFile(std::string const& target, Rules const& rules, FileHandle& contents)
    : impl_(new Impl{target, rules}) {
  impl_->openDirectory();
  impl_->begin(contents);
}

AtomicFile::~AtomicFile() = default;

void AtomicFile::write(void const* data, std::size_t count) {
  error_code error;
  impl_->file.writeAll(data, count, error);
  impl_->check(error);
  impl_->wrote(count);
}

std::uint64_t AtomicFile::size() const { return impl_->written; }

void AtomicFile::overwrite(std::uint64_t offset, void const* data, std::size_t count) {
  error_code error;
  impl_->file.writeAllAt(offset, data, count, error);
  impl_->check(error);
}

void AtomicFile::copyFrom(int descriptor, std::uint64_t offset, std::uint64_t count) {
  while (count > 0) {
    std::uint64_t const step = std::min(count, kStretch);
    error_code error;
    impl_->file.copyFrom(descriptor, offset, step, error);
    impl_->check(error);
    impl_->wrote(step);
    offset += step;
    count -= step;
  }
}

void AtomicFile::commit() {
  replace();
  syncDirectory();
}

FileIdentity AtomicFile::replace() {
  impl_->protect();
  error_code error;
  impl_->file.sync(error);
  impl_->check(error);
  if (impl_->rules.checkpoint) impl_->rules.checkpoint();
  FileIdentity const identity = FileIdentity::of(impl_->status());
  while (!impl_->tryMove()) continue;
  return identity;
}

/// Some file systems cannot sync a directory, and a directory opened with O_PATH cannot be synced anywhere.
void AtomicFile::syncDirectory() {
  error_code error;
  impl_->temporary.remove(error);
  if (!error) impl_->directory.sync(error);
  if (error && error != posixError(EINVAL) && error != posixError(EBADF))
    throw packageNotSynced(impl_->target, error.value());
}

}  // namespace opc::model::zip
