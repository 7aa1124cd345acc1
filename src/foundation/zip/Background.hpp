// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>

namespace opc::model::zip {

/// Does one thing at a time on a thread of its own while its owner, one thread at a time, goes on. The thread starts
/// with the first; where there is none, because none is wanted or to be had, things are done at once.
class Background {
 public:
  using Work = std::function<void()>;

  explicit Background(bool hasThread);
  /// Waits. What goes wrong is lost.
  ~Background();
  Background(Background const&) = delete;
  Background& operator=(Background const&) = delete;

  /// Waits first, and begins nothing when that throws.
  void begin(Work work);
  /// Until what was begun is done; throws, once, what that threw.
  void wait();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace opc::model::zip
