// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

namespace opc::model::zip {

/// Takes the advisory lock (flock) of an open file or directory without waiting. 0 or an errno value,
/// EWOULDBLOCK where somebody else has it. It goes with the last descriptor of the open file.
int tryLock(int descriptor);

/// The advisory lock of a directory, for the moments in which names in it are looked at and then changed.
/// Where the file system, or a directory that may not be read, has no such locks, there is none to hold:
/// a save there must work all the same.
class DirectoryLock {
 public:
  explicit DirectoryLock(int directory) : directory_(directory) {}
  ~DirectoryLock() { release(); }
  DirectoryLock(DirectoryLock const&) = delete;
  DirectoryLock& operator=(DirectoryLock const&) = delete;

  /// Waits for others at most so long. 0 or an errno value, EWOULDBLOCK after waiting in vain.
  int acquire(std::chrono::milliseconds patience);
  /// At once, also where a child process has inherited the descriptor.
  void release() noexcept;
  bool isHeld() const { return isHeld_; }

 private:
  int directory_;
  bool isHeld_ = false;
};

}  // namespace opc::model::zip
