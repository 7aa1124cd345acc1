// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <memory>

namespace opc::model::zip {

/// Runs work items one after the other on a background thread. One thread at a time uses the object. The thread starts
/// with the first item. Without a thread (not wanted, or not available) items run at once.
class Background {
 public:
  using Work = std::function<void()>;

  /// At most `most` items (at least one) are unfinished. When there are that many, begin() waits until half are left:
  /// waking a thread can take as long as copying half a megabyte.
  explicit Background(bool hasThread, std::size_t most = 1);
  /// Waits for all items. Their failures are lost.
  ~Background();
  Background(Background const&) = delete;
  Background& operator=(Background const&) = delete;

  /// Waits while there are too many. Rethrows an earlier failure once instead of starting; the items behind the failed
  /// one are dropped.
  void begin(Work work);
  /// Waits for all items. Rethrows a failure in the same way.
  void wait();
  /// Cancels queued items; the running one finishes.
  void drop() noexcept;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace opc::model::zip
