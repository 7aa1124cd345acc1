// SPDX-License-Identifier: Apache-2.0
#include "io/FileIo.hpp"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>

namespace opc::model::zip {
namespace {

constexpr std::size_t kCopyBuffer = 1u << 20;
constexpr std::size_t kCopyByKernel = 1u << 30;  // at once

/// Where the two files cannot be joined by the kernel and must be copied by hand.
bool isNotSupported(int error) {
  return error == EXDEV || error == EINVAL || error == ENOSYS || error == EOPNOTSUPP || error == EPERM ||
         error == EBADF;
}

int copyByHand(int from, std::uint64_t offset, std::uint64_t count, int to) {
  auto const buffer =
      std::make_unique<unsigned char[]>(static_cast<std::size_t>(std::min<std::uint64_t>(count, kCopyBuffer)));
  while (count > 0) {
    auto const step = static_cast<std::size_t>(std::min<std::uint64_t>(count, kCopyBuffer));
    int error = readFully(from, offset, buffer.get(), step);
    if (error == kEndOfFile) error = EIO;
    if (!error) error = writeFully(to, buffer.get(), step);
    if (error) return error;
    offset += step;
    count -= step;
  }
  return 0;
}

}  // namespace

int Descriptor::close() {
  if (fd_ < 0) return 0;
  // The descriptor is gone even when close() fails; EINTR tells nothing about the data.
  int const result = ::close(std::exchange(fd_, -1));
  return result != 0 && errno != EINTR ? errno : 0;
}

int readFully(int fd, std::uint64_t offset, void* buffer, std::size_t count) {
  auto* to = static_cast<unsigned char*>(buffer);
  while (count > 0) {
    ssize_t const got = pread(fd, to, count, static_cast<off_t>(offset));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return errno;
    if (got == 0) return kEndOfFile;
    to += got;
    offset += static_cast<std::size_t>(got);
    count -= static_cast<std::size_t>(got);
  }
  return 0;
}

int writeFully(int fd, void const* data, std::size_t count) {
  auto const* from = static_cast<unsigned char const*>(data);
  while (count > 0) {
    ssize_t const put = ::write(fd, from, count);
    if (put < 0 && errno == EINTR) continue;
    if (put < 0) return errno;
    if (put == 0) return EIO;  // whoever takes nothing would be asked for ever
    from += put;
    count -= static_cast<std::size_t>(put);
  }
  return 0;
}

int writeFullyAt(int fd, std::uint64_t offset, void const* data, std::size_t count) {
  auto const* from = static_cast<unsigned char const*>(data);
  while (count > 0) {
    ssize_t const put = pwrite(fd, from, count, static_cast<off_t>(offset));
    if (put < 0 && errno == EINTR) continue;
    if (put < 0) return errno;
    if (put == 0) return EIO;  // whoever takes nothing would be asked for ever
    from += put;
    offset += static_cast<std::size_t>(put);
    count -= static_cast<std::size_t>(put);
  }
  return 0;
}

int syncFully(int fd) {
  return repeatInterrupted([fd] { return fsync(fd); }) == 0 ? 0 : errno;
}

int copyRange(int from, std::uint64_t offset, std::uint64_t count, int to) {
  while (count > 0) {
    auto position = static_cast<off64_t>(offset);
    auto const step = static_cast<std::size_t>(std::min<std::uint64_t>(count, kCopyByKernel));
    ssize_t const copied = copy_file_range(from, &position, to, nullptr, step, 0);
    if (copied < 0 && errno == EINTR) continue;
    if (copied < 0 && !isNotSupported(errno)) return errno;
    // Some file systems answer 0 although there is more: reading shows whether the file ends here.
    if (copied <= 0) return copyByHand(from, offset, count, to);
    offset += static_cast<std::size_t>(copied);
    count -= static_cast<std::size_t>(copied);
  }
  return 0;
}

}  // namespace opc::model::zip
