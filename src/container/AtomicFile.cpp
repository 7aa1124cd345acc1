// SPDX-License-Identifier: Apache-2.0
#include "container/AtomicFile.hpp"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "container/ZipErrors.hpp"
#include "io/FileIo.hpp"
#include "io/FileLock.hpp"
#include "io/TemporaryNames.hpp"
#include "io/Umask.hpp"

namespace opc::model::zip {
namespace {
namespace fs = std::filesystem;

constexpr int kAttempts = 100;
constexpr int kMostLinks = 40;  // as many as the kernel follows
constexpr mode_t kModeBits = 07777;
constexpr std::uint64_t kStretch = 8u << 20;

/// The path as the system resolves it; for one that does not exist, its directory resolved and its name.
fs::path resolved(fs::path const& path, std::error_code& error) {
  fs::path whole = fs::canonical(path, error);
  if (error != std::errc::no_such_file_or_directory) return whole;
  fs::path const directory = fs::canonical(path.has_parent_path() ? path.parent_path() : fs::path("."), error);
  return directory / path.filename();
}

/// 0 once the file has the new name. `hasBoth` where it has its former one as well.
int renameWithoutReplacing(int directory, char const* from, char const* to, bool& hasBoth) {
  if (renameat2(directory, from, directory, to, RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  hasBoth = linkat(directory, from, directory, to, 0) == 0;
  return hasBoth ? 0 : errno;
}

}  // namespace

struct AtomicFile::Impl {
  std::string target;  // as given, for messages
  Rules rules;
  std::string name{};  // of the resolved target, in `directory`
  std::string temporary{};
  Descriptor directory{};
  Descriptor file{};
  std::uint64_t written = 0;
  std::uint64_t onItsWay = 0;  // of what was written, to the disk
  int leftOver = 0;            // why the temporary name could not be removed from the file that is in place

  ~Impl() { discard(); }

  [[noreturn]] void fail(int error) {
    discard();
    throw couldNotSave(target, error);
  }

  void check(int error) {
    if (error) fail(error);
  }

  /// Best effort: whoever calls has an error to report already, or nothing to keep.
  void discard() noexcept {
    file.close();
    if (!temporary.empty()) unlinkat(directory.get(), temporary.c_str(), 0);
    temporary.clear();
  }

  /// The disk works while more is written, instead of keeping the sync at the end waiting: a save of 1 GB takes half
  /// the time. No more than a hint: it is the sync that tells of errors.
  void wrote(std::uint64_t count) {
    written += count;
    if (written - onItsWay < kStretch) return;
    sync_file_range(file.get(), static_cast<off64_t>(onItsWay), static_cast<off64_t>(written - onItsWay),
                    SYNC_FILE_RANGE_WRITE);
    onItsWay = written;
  }

  /// For the moments in which names are looked at and then changed.
  void lock(DirectoryLock& names) {
    int const error = names.acquire(rules.patience);
    if (error != EWOULDBLOCK) return check(error);
    discard();
    throw packageIsBusy(target);
  }

  void openDirectory() {
    if (target.empty()) fail(ENOENT);
    if (target.find('\0') != std::string::npos) fail(EINVAL);
    std::error_code error;
    fs::path const path = followTarget(target, error);
    if (error) fail(error.value());
    name = path.filename().string();
    if (name.empty()) fail(EISDIR);
    fs::path const parent = path.parent_path();
    auto const openAs = [&](int flags) {
      return Descriptor(repeatInterrupted([&] { return open(parent.c_str(), flags | O_DIRECTORY | O_CLOEXEC); }));
    };
    directory = openAs(O_RDONLY);
    // One that may be written and searched but not read will do, though it can neither be locked nor synced.
    if (!directory && errno == EACCES) directory = openAs(O_PATH);
    if (!directory) fail(errno);
  }

  /// Only a regular file is replaced: a rename would put one in the place of a device just as well.
  void checkTarget() {
    struct stat status {};
    if (fstatat(directory.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
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

  /// The target is checked now as well, so that a save in vain is found out before its work is done.
  void begin() {
    DirectoryLock names(directory.get());
    lock(names);
    checkTarget();
    if (names.isHeld()) removeOrphans(directory.get(), name);
    makeTemporary();
    if (names.isHeld()) check(tryLock(file.get()));
  }

  void makeTemporary() {
    constexpr int kFlags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      temporary = temporaryNameFor(name);
      file = Descriptor(repeatInterrupted([&] { return openat(directory.get(), temporary.c_str(), kFlags, 0600); }));
      if (file) return;
      temporary.clear();  // it is not ours
      if (errno != EEXIST) fail(errno);
    }
    fail(EEXIST);
  }

  /// The owner first, since a change of it takes away some mode bits.
  void takeOverAttributes() {
    struct stat status {};
    mode_t mode = 0666;
    if (fstatat(directory.get(), name.c_str(), &status, 0) == 0) {
      mode = status.st_mode & kModeBits;
      mode &= ~takeOverOwner(status);
    } else {
      if (errno != ENOENT) fail(errno);
      mode &= ~currentUmask();
    }
    if (repeatInterrupted([&] { return fchmod(file.get(), mode); }) != 0) fail(errno);
  }

  /// As far as this process may. Returns the mode bits that would now be somebody else's: those of the
  /// group, and what lets a program run as its owner or group.
  mode_t takeOverOwner(struct stat const& old) {
    constexpr uid_t kSame = static_cast<uid_t>(-1);
    auto const give = [this](uid_t owner, gid_t group) {
      return repeatInterrupted([&] { return fchown(file.get(), owner, group); }) == 0;
    };
    if (give(old.st_uid, old.st_gid)) return 0;
    if (errno != EPERM || (!give(kSame, old.st_gid) && errno != EPERM)) fail(errno);
    struct stat taken {};
    if (fstat(file.get(), &taken) != 0) fail(errno);
    mode_t const ofOwner = taken.st_uid == old.st_uid ? 0 : S_ISUID;
    mode_t const ofGroup = taken.st_gid == old.st_gid ? 0 : S_ISGID | S_IRWXG;
    return ofOwner | ofGroup;
  }

  FileIdentity identity() {
    struct stat status {};
    if (fstat(file.get(), &status) != 0) fail(errno);
    return FileIdentity::of(status);
  }

  void moveIntoPlace() {
    int const from = directory.get();
    bool hasBoth = false;
    if (rules.target == Target::MustNotExist)
      check(renameWithoutReplacing(from, temporary.c_str(), name.c_str(), hasBoth));
    else if (renameat(from, temporary.c_str(), from, name.c_str()) != 0)
      fail(errno);
    if (hasBoth && unlinkat(from, temporary.c_str(), 0) != 0) leftOver = errno;
    temporary.clear();
  }

  static fs::path followTarget(fs::path const& target, std::error_code& error);
};

/// Links that lead nowhere yet are followed to where the file is to appear.
fs::path AtomicFile::Impl::followTarget(fs::path const& target, std::error_code& error) {
  fs::path path = resolved(target, error);
  for (int links = 0; !error && fs::is_symlink(fs::symlink_status(path, error)); ++links) {
    if (links == kMostLinks) error = std::make_error_code(std::errc::too_many_symbolic_link_levels);
    fs::path const link = error ? fs::path() : fs::read_symlink(path, error);
    if (!error) path = resolved(path.parent_path() / link, error);
  }
  if (error == std::errc::no_such_file_or_directory) error.clear();  // it is to be made
  return path;
}

AtomicFile::AtomicFile(std::string const& target, Rules const& rules) : impl_(new Impl{target, rules}) {
  impl_->openDirectory();
  impl_->begin();
}

AtomicFile::~AtomicFile() = default;

void AtomicFile::write(void const* data, std::size_t count) {
  impl_->check(writeFully(impl_->file.get(), data, count));
  impl_->wrote(count);
}

void AtomicFile::copyFrom(int descriptor, std::uint64_t offset, std::uint64_t count) {
  while (count > 0) {
    std::uint64_t const step = std::min(count, kStretch);
    impl_->check(copyRange(descriptor, offset, step, impl_->file.get()));
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
  impl_->check(syncFully(impl_->file.get()));
  FileIdentity const identity = impl_->identity();
  DirectoryLock names(impl_->directory.get());
  impl_->lock(names);
  impl_->checkTarget();
  impl_->check(impl_->file.close());
  impl_->moveIntoPlace();
  return identity;
}

/// Some file systems cannot sync a directory, and nobody can one that is open by its path alone.
void AtomicFile::syncDirectory() {
  impl_->check(impl_->leftOver);
  int const error = syncFully(impl_->directory.get());
  if (error != EINVAL && error != EBADF) impl_->check(error);
}

}  // namespace opc::model::zip
