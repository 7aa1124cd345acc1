// SPDX-License-Identifier: Apache-2.0
#include "container/AtomicFile.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <system_error>

#include "container/ArchiveWriter.hpp"
#include "container/Faults.hpp"
#include "io/DirectoryLock.hpp"
#include "io/FileHandle.hpp"
#include "io/TemporaryName.hpp"
#include "opc/Exception.hpp"

namespace opc::model::zip {
namespace {

namespace fs = std::filesystem;
using boost::system::error_code;

constexpr int kMostLinks = 40;  // the limit of the kernel
constexpr mode_t kModeBits = 07777;
constexpr std::uint64_t kStretch = 8u << 20;

/// The path as the system resolves it; where nothing exists, the resolved directory and the name.
fs::path resolved(fs::path const& path, std::error_code& error) {
  fs::path whole = fs::canonical(path, error);
  if (error != std::errc::no_such_file_or_directory) return whole;
  fs::path const directory = fs::canonical(path.has_parent_path() ? path.parent_path() : fs::path("."), error);
  return directory / path.filename();
}

}  // namespace

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

  void lock(DirectoryLock& names) {
    error_code error;
    names.acquire(rules.patience, error);
    if (error != posixError(EWOULDBLOCK)) return check(error);
    discard();
    throw packageIsBusy(target);
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

  /// Replaces only a regular file, since a rename would also replace a device.
  void checkTarget() {
    struct stat status {};
    if (fstatat(directory.descriptor(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
      if (errno != ENOENT) fail(errno);
      if (rules.expected) failAsChanged();
      return;
    }
    if (rules.target == Target::MustNotExist) fail(EEXIST);
    if (S_ISDIR(status.st_mode)) fail(EISDIR);
    if (!S_ISREG(status.st_mode)) fail(EINVAL);
    if (rules.expected && FileIdentity::of(status) != *rules.expected) failAsChanged();
  }

  [[noreturn]] void failAsChanged() {
    discard();
    throw packageHasChanged(target);
  }

  /// Checks the target now too, so that a save that must fail does so before its work.
  void begin() {
    DirectoryLock names(directory);
    lock(names);
    checkTarget();
    int const folder = directory.descriptor();
    if (names.isHeld()) removeOrphans(folder, name);
    error_code error;
    temporary = TemporaryName::makeFile(
        folder, [this] { return temporaryNameFor(name); }, O_RDWR, file, error);
    if (!error && names.isHeld()) file.tryLock(error);
    check(error);
  }

  /// Sets the owner first, since the system then clears some mode bits.
  void takeOverAttributes() {
    struct stat status {};
    mode_t mode = 0;
    if (fstatat(directory.descriptor(), name.c_str(), &status, 0) == 0) {
      mode = status.st_mode & kModeBits;
      mode &= ~takeOverOwner(status);
    } else {
      if (errno != ENOENT) fail(errno);
      mode = modeOfNewFiles();
    }
    error_code error;
    file.setMode(mode, error);
    check(error);
  }

  /// Takes over owner and group as far as this process may. Returns the mode bits that would now concern another owner
  /// or group: those of the group, set-user-ID and set-group-ID.
  mode_t takeOverOwner(struct stat const& old) {
    constexpr uid_t kSame = static_cast<uid_t>(-1);
    error_code error;
    file.setOwner(old.st_uid, old.st_gid, error);
    if (!error) return 0;
    if (error == posixError(EPERM)) file.setOwner(kSame, old.st_gid, error);
    if (error != posixError(EPERM)) check(error);
    struct stat const taken = status();
    mode_t const ofOwner = taken.st_uid == old.st_uid ? 0 : S_ISUID;
    mode_t const ofGroup = taken.st_gid == old.st_gid ? 0 : S_ISGID | S_IRWXG;
    return ofOwner | ofGroup;
  }

  /// The file's new name changed its change time. Another process may have replaced it again.
  void noteRename(FileIdentity& identity) const {
    struct stat status {};
    if (fstatat(directory.descriptor(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return;
    FileIdentity const placed = FileIdentity::of(status);
    if (placed.isOfSameFile(identity)) identity = placed;
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
  impl_->openDirectory();
  impl_->begin();
}

AtomicFile::~AtomicFile() = default;

void AtomicFile::write(void const* data, std::size_t count) {
  error_code error;
  impl_->file.writeAll(data, count, error);
  impl_->check(error);
  impl_->wrote(count);
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
  impl_->takeOverAttributes();
  error_code error;
  impl_->file.sync(error);
  impl_->check(error);
  FileIdentity identity = FileIdentity::of(impl_->status());
  DirectoryLock names(impl_->directory);
  impl_->lock(names);
  impl_->checkTarget();
  impl_->file.close(error);
  impl_->check(error);
  impl_->temporary.moveTo(impl_->name.c_str(), impl_->rules.target == Target::MayExist, error);
  impl_->check(error);
  impl_->noteRename(identity);
  return identity;
}

/// Some file systems cannot sync a directory, and a directory opened with O_PATH cannot be synced anywhere.
void AtomicFile::syncDirectory() {
  error_code error;
  impl_->temporary.remove(error);
  impl_->check(error);
  impl_->directory.sync(error);
  if (error != posixError(EINVAL) && error != posixError(EBADF)) impl_->check(error);
}

}  // namespace opc::model::zip
