// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

#include "io/FileHandle.hpp"

namespace opc {

/// The advisory lock (flock) of an open file (borrowed). Network file systems have no such lock, and a file that is not
/// open has none. Nothing is held there, so that a save still works.
class FileLock {
 public:
  explicit FileLock(FileHandle const& file) : file_(file) {}
  ~FileLock() { release(); }
  FileLock(FileLock const&) = delete;
  FileLock& operator=(FileLock const&) = delete;

  /// Waits for other holders at most `patience`; EWOULDBLOCK after that.
  void acquire(std::chrono::milliseconds patience, boost::system::error_code& error);
  /// At once, also where a child process has inherited the descriptor.
  void release() noexcept;
  bool isHeld() const { return isHeld_; }

 private:
  FileHandle const& file_;
  bool isHeld_ = false;
};

}  // namespace opc
