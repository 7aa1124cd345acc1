// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <memory>

namespace opc::model::zip {

/// Does one thing after another on a thread of its own while its owner, one thread at a time, goes on. The thread
/// starts with the first; where there is none, because none is wanted or to be had, things are done at once.
class Background {
 public:
  using Work = std::function<void()>;

  /// At most `most` things, at least one, are begun and not done. An owner who finds as many waits until no more than
  /// half of them are left: to wake a thread can take as long as to copy half a megabyte.
  explicit Background(bool hasThread, std::size_t most = 1);
  /// Waits. What goes wrong is lost.
  ~Background();
  Background(Background const&) = delete;
  Background& operator=(Background const&) = delete;

  /// Waits first while there are too many, and begins nothing when something before has thrown, which it throws, once.
  /// What was begun behind that is not done either.
  void begin(Work work);
  /// Until everything that was begun is done; throws in the same way.
  void wait();
  /// Has what was begun not be done, but for what is under way.
  void drop() noexcept;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace opc::model::zip
