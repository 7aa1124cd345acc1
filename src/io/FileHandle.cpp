// SPDX-License-Identifier: Apache-2.0
#include "io/FileHandle.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

namespace opc {
namespace {

using boost::system::error_code;

constexpr std::size_t kCopyBuffer = 1u << 20;
constexpr std::size_t kCopyByKernel = 1u << 30;  // at once

template <typename Call>
bool succeeds(error_code& error, Call call) {
  error = repeatInterrupted(call) == 0 ? error_code() : lastPosixError();
  return !error;
}

/// Writes everything by calls of `write(data, count)`.
template <typename Write>
void writeByParts(void const* data, std::size_t count, error_code& error, Write write) {
  auto const* from = static_cast<char const*>(data);
  error.clear();
  while (count > 0 && !error) {
    ssize_t const taken = repeatInterrupted([&] { return write(from, count); });
    if (taken <= 0) {
      error = taken < 0 ? lastPosixError() : posixError(EIO);  // a device that takes nothing would never end
    } else {
      from += taken;
      count -= static_cast<std::size_t>(taken);
    }
  }
}

/// Where the kernel cannot copy from one file to the other and the bytes must be read and written.
bool cannotCopyByKernel(int error) {
  return error == EXDEV || error == EINVAL || error == ENOSYS || error == EOPNOTSUPP || error == EPERM ||
         error == EBADF;
}

void copyByHand(int from, std::uint64_t offset, std::uint64_t count, FileHandle& to, error_code& error) {
  auto const largest = static_cast<std::size_t>(std::min<std::uint64_t>(count, kCopyBuffer));
  auto const buffer = std::make_unique_for_overwrite<char[]>(largest);
  while (count > 0 && !error) {
    auto const step = static_cast<std::size_t>(std::min<std::uint64_t>(count, largest));
    std::size_t const got = readAt(from, offset, buffer.get(), step, error);
    if (!error && got < step) error = posixError(EIO);
    if (!error) to.writeAll(buffer.get(), step, error);
    offset += step;
    count -= step;
  }
}

mode_t currentUmask() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;)
    if (word == "Umask:") {
      unsigned mask = 0;
      status >> std::oct >> mask;
      return static_cast<mode_t>(mask);
    }
  mode_t const mask = umask(077);  // meanwhile another thread's file is too private, not too open
  umask(mask);
  return mask;
}

}  // namespace

FileIdentity FileIdentity::of(struct stat const& status) {
  return {status.st_dev,         status.st_ino,          static_cast<std::uint64_t>(status.st_size),
          status.st_mtim.tv_sec, status.st_mtim.tv_nsec, status.st_ctim.tv_sec,
          status.st_ctim.tv_nsec};
}

FileHandle::~FileHandle() {
  if (isOpen()) ::close(descriptor_);
}

FileHandle FileHandle::open(char const* path, int flags, error_code& error) {
  return openAt(AT_FDCWD, path, flags, kOrdinaryMode, error);
}

FileHandle FileHandle::openAt(int folder, char const* path, int flags, mode_t mode, error_code& error) {
  FileHandle file(repeatInterrupted([&] { return ::openat(folder, path, flags | O_CLOEXEC | O_NOCTTY, mode); }));
  error = file.isOpen() ? error_code() : lastPosixError();
  return file;
}

std::size_t FileHandle::read(void* buffer, std::size_t count, error_code& error) {
  ssize_t const got = repeatInterrupted([&] { return ::read(descriptor_, buffer, count); });
  error = got < 0 ? lastPosixError() : error_code();
  return got < 0 ? 0 : static_cast<std::size_t>(got);
}

std::size_t FileHandle::readAt(std::uint64_t offset, void* buffer, std::size_t count, error_code& error) const {
  return opc::readAt(descriptor_, offset, buffer, count, error);
}

void FileHandle::writeAll(void const* data, std::size_t count, error_code& error) {
  writeByParts(data, count, error,
               [this](char const* from, std::size_t most) { return ::write(descriptor_, from, most); });
}

void FileHandle::writeAllAt(std::uint64_t offset, void const* data, std::size_t count, error_code& error) const {
  auto const* const begin = static_cast<char const*>(data);
  writeByParts(data, count, error, [&](char const* from, std::size_t most) {
    return ::pwrite(descriptor_, from, most, static_cast<off_t>(offset) + (from - begin));
  });
}

void FileHandle::copyFrom(int source, std::uint64_t offset, std::uint64_t count, error_code& error) {
  error.clear();
  while (count > 0) {
    auto position = static_cast<off64_t>(offset);
    auto const step = static_cast<std::size_t>(std::min<std::uint64_t>(count, kCopyByKernel));
    ssize_t const copied =
        repeatInterrupted([&] { return copy_file_range(source, &position, descriptor_, nullptr, step, 0); });
    if (copied < 0 && !cannotCopyByKernel(errno)) {
      error = lastPosixError();
      return;
    }
    // Some file systems return 0 before the end: only reading shows where the file ends.
    if (copied <= 0) return copyByHand(source, offset, count, *this, error);
    offset += static_cast<std::size_t>(copied);
    count -= static_cast<std::size_t>(copied);
  }
}

void FileHandle::startSync(std::uint64_t offset, std::uint64_t count) const {
  sync_file_range(descriptor_, static_cast<off64_t>(offset), static_cast<off64_t>(count), SYNC_FILE_RANGE_WRITE);
}

void FileHandle::sync(error_code& error) const {
  succeeds(error, [this] { return fsync(descriptor_); });
}

bool FileHandle::getStatus(struct stat& status, error_code& error) const {
  return succeeds(error, [&] { return fstat(descriptor_, &status); });
}

void FileHandle::setSize(std::uint64_t size, error_code& error) const {
  succeeds(error, [&] { return ftruncate(descriptor_, static_cast<off_t>(size)); });
}

void FileHandle::setMode(mode_t mode, error_code& error) const {
  succeeds(error, [&] { return fchmod(descriptor_, mode); });
}

void FileHandle::setModificationTime(timespec const& time, error_code& error) const {
  timespec const times[2] = {{0, UTIME_OMIT}, time};
  succeeds(error, [&] { return futimens(descriptor_, times); });
}

void FileHandle::setOwner(uid_t owner, gid_t group, error_code& error) const {
  succeeds(error, [&] { return fchown(descriptor_, owner, group); });
}

void FileHandle::tryLock(error_code& error) const {
  succeeds(error, [this] { return flock(descriptor_, LOCK_EX | LOCK_NB); });
}

void FileHandle::unlock() const noexcept { flock(descriptor_, LOCK_UN); }

FileHandle FileHandle::share(error_code& error) const {
  FileHandle shared(::fcntl(descriptor_, F_DUPFD_CLOEXEC, 0));
  error = shared.isOpen() ? error_code() : lastPosixError();
  return shared;
}

void FileHandle::setPosition(std::uint64_t position, error_code& error) const {
  succeeds(error, [&] { return ::lseek(descriptor_, static_cast<off_t>(position), SEEK_SET) < 0 ? -1 : 0; });
}

// An interrupted close has closed the file: repeating it could close another file.
void FileHandle::close(error_code& error) {
  bool const failed = isOpen() && ::close(release()) != 0 && errno != EINTR;
  error = failed ? lastPosixError() : error_code();
}

std::size_t readAt(int descriptor, std::uint64_t offset, void* buffer, std::size_t count, error_code& error) {
  auto* const to = static_cast<char*>(buffer);
  std::size_t done = 0;
  error.clear();
  while (done < count) {
    ssize_t const got = repeatInterrupted(
        [&] { return pread(descriptor, to + done, count - done, static_cast<off_t>(offset + done)); });
    if (got < 0) error = lastPosixError();
    if (got <= 0) break;
    done += static_cast<std::size_t>(got);
  }
  return done;
}

mode_t modeOfNewFiles() { return FileHandle::kOrdinaryMode & ~currentUmask(); }

DirectoryStream::DirectoryStream(FileHandle folder, boost::system::error_code& error)
    : stream_(::fdopendir(folder.descriptor())) {
  error = stream_ ? boost::system::error_code() : lastPosixError();
  if (stream_) folder.release();
}

dirent const* DirectoryStream::next(boost::system::error_code& error) {
  using namespace std::string_view_literals;
  dirent const* entry = nullptr;
  do {
    errno = 0;
    entry = ::readdir(stream_.get());
  } while (entry && (entry->d_name == "."sv || entry->d_name == ".."sv));
  error = entry ? boost::system::error_code() : lastPosixError();  // no error at the end of the folder
  return entry;
}

}  // namespace opc
