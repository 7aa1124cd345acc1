// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <utility>

#include "text/PosixError.hpp"

namespace opc {

/// Owns one open file of the system. The calls repeat what a signal interrupted.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int number) : number_(number) {}
  FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~FileDescriptor();

  /// Opens with close-on-exec; not open, with `error` set, where the system refuses.
  static FileDescriptor open(char const* path, int flags, boost::system::error_code& error);

  bool isOpen() const { return number_ >= 0; }
  int number() const { return number_; }
  int release() { return std::exchange(number_, -1); }

  /// Up to `count` bytes; 0 at the end and on an error.
  std::size_t read(void* buffer, std::size_t count, boost::system::error_code& error);
  /// All bytes, or an error.
  void writeAll(char const* data, std::size_t count, boost::system::error_code& error);
  /// The file is closed afterwards whatever the outcome.
  void close(boost::system::error_code& error);

 private:
  int number_ = -1;
};

}  // namespace opc
