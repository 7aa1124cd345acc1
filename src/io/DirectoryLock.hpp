// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

#include "io/FileHandle.hpp"

namespace opc {

/// The advisory lock (flock) of an open folder (borrowed), held while names in it are looked at and then changed.
/// Network file systems and folders that may not be read have no such lock. Nothing is held there, so that a save still
/// works.
class DirectoryLock {
 public:
  explicit DirectoryLock(FileHandle const& folder) : folder_(folder) {}
  ~DirectoryLock() { release(); }
  DirectoryLock(DirectoryLock const&) = delete;
  DirectoryLock& operator=(DirectoryLock const&) = delete;

  /// Waits for other holders at most `patience`; EWOULDBLOCK after that.
  void acquire(std::chrono::milliseconds patience, boost::system::error_code& error);
  /// At once, also where a child process has inherited the descriptor.
  void release() noexcept;
  bool isHeld() const { return isHeld_; }

 private:
  FileHandle const& folder_;
  bool isHeld_ = false;
};

}  // namespace opc
