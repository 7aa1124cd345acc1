// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>

namespace opc::model::zip {

/// Deflates on threads of its own while its owner, one thread at a time, goes on. Tasks run in any order and on
/// any thread, but each is delivered in the owner's thread, and in the order in which they were added: what is
/// delivered needs no locks, and comes out the same for any number of threads. Tasks that are not delivered yet
/// hold at most kBudget bytes, as far as their sizes tell; whoever adds more waits.
class DeflateQueue {
 public:
  class Task {
   public:
    virtual ~Task();
    /// The work; touches nothing but the task. When it throws it is made again before the delivery, so that the
    /// owner gets what it throws.
    virtual void run() = 0;
    /// Hands over the result. When it throws it is made again by the next call that delivers.
    virtual void deliver() = 0;
  };

  /// Begins without threads.
  explicit DeflateQueue(std::size_t budget = kBudget);
  /// Drops what is not delivered.
  ~DeflateQueue();
  DeflateQueue(DeflateQueue const&) = delete;
  DeflateQueue& operator=(DeflateQueue const&) = delete;

  /// Delivers everything and goes on with that many threads, or as many as the system gives. Without any, tasks run
  /// and are delivered as they are added.
  void setThreads(std::size_t count);
  /// Also delivers what is done; throws what that throws, and then does not have the task.
  void add(std::unique_ptr<Task> task, std::size_t size);
  void deliverAll();

  static constexpr std::size_t kBudget = 64u << 20;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace opc::model::zip
