// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <utility>

/// System calls on descriptors that are repeated until they are done. They return 0 or an errno value.
namespace opc::model::zip {

/// Owns a descriptor.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  ~Descriptor() { close(); }
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }

  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  int release() { return std::exchange(fd_, -1); }
  int close();

 private:
  int fd_;
};

/// The result of a system call, which is made again as long as a signal interrupts it.
template <typename Call>
auto repeatInterrupted(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

/// What `readFully` returns when the file ends before the buffer is full.
inline constexpr int kEndOfFile = -1;

int readFully(int fd, std::uint64_t offset, void* buffer, std::size_t count);
int writeFully(int fd, void const* data, std::size_t count);
int writeFullyAt(int fd, std::uint64_t offset, void const* data, std::size_t count);
int syncFully(int fd);
/// Appends a range of a file at the output's position, by the kernel where it can. A source that is too
/// short is EIO.
int copyRange(int from, std::uint64_t offset, std::uint64_t count, int to);

}  // namespace opc::model::zip
