// SPDX-License-Identifier: Apache-2.0
#include "io/FileLock.hpp"

#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <thread>

#include "io/FileIo.hpp"

namespace opc::model::zip {
namespace {

constexpr std::chrono::milliseconds kShortestPause{1}, kLongestPause{20};

/// Network file systems lock by other means, and not every directory; O_PATH gives nothing to lock.
bool hasNoLocks(int error) {
  return error == EBADF || error == EINVAL || error == ENOLCK || error == ENOSYS || error == EOPNOTSUPP;
}

}  // namespace

int tryLock(int descriptor) {
  return repeatInterrupted([descriptor] { return flock(descriptor, LOCK_EX | LOCK_NB); }) == 0 ? 0 : errno;
}

int DirectoryLock::acquire(std::chrono::milliseconds patience) {
  auto const end = std::chrono::steady_clock::now() + patience;
  auto pause = kShortestPause;
  for (;;) {
    int const error = tryLock(directory_);
    isHeld_ = error == 0;
    if (isHeld_ || hasNoLocks(error)) return 0;
    if (error != EWOULDBLOCK || std::chrono::steady_clock::now() >= end) return error;
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, kLongestPause);
  }
}

void DirectoryLock::release() noexcept {
  if (isHeld_) flock(directory_, LOCK_UN);
  isHeld_ = false;
}

}  // namespace opc::model::zip
