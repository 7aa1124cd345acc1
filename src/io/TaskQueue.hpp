// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>

namespace opc {

/// Runs tasks on threads of its own while its owner continues. The owner uses the queue from one thread at a
/// time. Tasks run in any order, but the queue delivers them on the owner's thread in the order of add(). So a delivery
/// needs no locks, and the results are the same for any number of threads. The sizes of undelivered tasks add up to at
/// most kBudget bytes; add() waits for room.
class TaskQueue {
 public:
  class Task {
   public:
    virtual ~Task();
    /// The work; touches only the task. If it throws, it is repeated on the owner's thread before the delivery, so that
    /// the owner receives the exception.
    virtual void run() = 0;
    /// Hands over the result. If it throws, the next call that delivers repeats it.
    virtual void deliver() = 0;
  };

  /// Begins without threads.
  explicit TaskQueue(std::size_t budget = kBudget);
  /// Drops undelivered tasks.
  ~TaskQueue();
  TaskQueue(TaskQueue const&) = delete;
  TaskQueue& operator=(TaskQueue const&) = delete;

  /// Delivers everything and continues with that many threads, or as many as the system allows. Without threads, add()
  /// runs and delivers the task itself.
  void setThreads(std::size_t count);
  /// Also delivers finished tasks. Throws what a delivery throws, and then does not take the new task.
  void add(std::unique_ptr<Task> task, std::size_t size);
  void deliverAll();
  /// Whether everything is delivered.
  bool isEmpty() const;
  /// Waits for the first undelivered task and delivers it. Returns false if all tasks are delivered.
  bool deliverFirst();

  static constexpr std::size_t kBudget = 64u << 20;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace opc
