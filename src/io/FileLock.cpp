// SPDX-License-Identifier: Apache-2.0
#include "io/FileLock.hpp"

#include <algorithm>
#include <thread>

namespace opc {
namespace {

constexpr std::chrono::milliseconds kShortestPause{1}, kLongestPause{20};

/// The answers of network file systems, and for a file that is not open.
bool hasNoLocks(int error) {
  return error == EBADF || error == EINVAL || error == ENOLCK || error == ENOSYS || error == EOPNOTSUPP;
}

}  // namespace

void FileLock::acquire(std::chrono::milliseconds patience, boost::system::error_code& error) {
  auto const end = std::chrono::steady_clock::now() + patience;
  for (auto pause = kShortestPause;; pause = std::min(pause * 2, kLongestPause)) {
    file_.tryLock(error);
    isHeld_ = !error;
    if (error && hasNoLocks(error.value())) error.clear();
    if (error != posixError(EWOULDBLOCK) || std::chrono::steady_clock::now() >= end) return;
    std::this_thread::sleep_for(pause);
  }
}

void FileLock::release() noexcept {
  if (isHeld_) file_.unlock();
  isHeld_ = false;
}

}  // namespace opc
