// SPDX-License-Identifier: Apache-2.0
#include "io/TaskQueue.hpp"

#include <algorithm>
#include <array>
#include <bitset>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace opc {
namespace {

constexpr std::size_t kTaskSize = 1024;  // what a task holds besides its content, so that empty ones are bounded too
// To wake a thread takes as long as to deflate a small file. So threads are woken for this many bytes of work, and take
// as many small tasks in a row.
constexpr std::size_t kShare = 64u << 10;
constexpr std::size_t kDeliverAt = 8;  // the owner delivers while this part of the budget is held

enum class TaskState { Waiting, Running, Done, Failed };

struct Queued {
  std::unique_ptr<TaskQueue::Task> task;
  std::size_t size;
  TaskState state = TaskState::Waiting;
};

/// What a thread does in a row.
struct Share {
  std::array<Queued*, kShare / kTaskSize> entries;
  std::bitset<kShare / kTaskSize> isDone;
  std::size_t count = 0;
};

}  // namespace

TaskQueue::Task::~Task() = default;

/// Entries stand in the order of delivery; only the owner adds and removes them, and only waiting ones are
/// taken up by threads. A deque keeps them where they are meanwhile.
struct TaskQueue::Impl {
  std::size_t budget;
  std::size_t held = 0;  // bytes of all entries; the owner's alone
  std::mutex mutex{};
  std::condition_variable hasWork{};
  std::condition_variable hasResult{};
  std::deque<Queued> entries{};
  std::size_t taken = 0;    // of the entries, from the front
  std::size_t waiting = 0;  // bytes of those that are not taken
  std::size_t idle = 0;     // threads that wait for work
  bool isAwaited = false;   // whether the owner waits for a result
  bool isEnding = false;
  std::size_t sharers = 1;  // threads, or those that were wanted
  std::vector<std::thread> threads{};

  ~Impl() { stop(); }

  void stop() {
    {
      std::lock_guard const lock(mutex);
      isEnding = true;
    }
    hasWork.notify_all();
    for (auto& thread : threads) thread.join();
    threads.clear();
    isEnding = false;
  }

  void start(std::size_t count) try {
    sharers = std::max<std::size_t>(count, 1);
    threads.reserve(count);
    while (threads.size() < count) threads.emplace_back([this] { work(); });
  } catch (std::system_error const&) {
    return;  // fewer do as well
  }

  void work() {
    Share share;
    std::unique_lock lock(mutex);
    for (;;) {
      ++idle;
      hasWork.wait(lock, [this] { return isEnding || taken < entries.size(); });
      --idle;
      if (isEnding) return;
      takeShare(share);
      lock.unlock();
      for (std::size_t i = 0; i < share.count; ++i) share.isDone[i] = runs(*share.entries[i]->task);
      lock.lock();
      for (std::size_t i = 0; i < share.count; ++i)
        share.entries[i]->state = share.isDone[i] ? TaskState::Done : TaskState::Failed;
      if (isAwaited) hasResult.notify_one();
    }
  }

  /// As many tasks as are due to one of the threads, in order.
  void takeShare(Share& share) {
    std::size_t const most = (entries.size() - taken - 1) / sharers + 1;
    share.count = 0;
    for (std::size_t bytes = 0; share.count < most && bytes < kShare;) {
      Queued& entry = entries[taken++];
      entry.state = TaskState::Running;
      bytes += entry.size;
      waiting -= entry.size;
      share.entries[share.count++] = &entry;
    }
  }

  static bool runs(Task& task) noexcept try {
    task.run();
    return true;
  } catch (...) {
    return false;  // it is run again where somebody can be told
  }

  bool isFrontDone() {
    std::lock_guard const lock(mutex);
    return !entries.empty() && entries.front().state == TaskState::Done;
  }

  Queued& waitForFront() {
    std::unique_lock lock(mutex);
    Queued& front = entries.front();
    auto const isDone = [&] { return front.state == TaskState::Done || front.state == TaskState::Failed; };
    if (isDone()) return front;
    if (waiting > 0) hasWork.notify_all();
    isAwaited = true;
    hasResult.wait(lock, isDone);
    isAwaited = false;
    return front;
  }

  void deliverFront() {
    Queued& front = waitForFront();
    if (front.state == TaskState::Failed) {
      front.task->run();
      front.state = TaskState::Done;  // no thread looks at it any more
    }
    front.task->deliver();
    held -= front.size;
    std::lock_guard const lock(mutex);
    --taken;
    entries.pop_front();
  }

  void push(std::unique_ptr<Task> task, std::size_t size) {
    bool wakes = false;
    {
      std::lock_guard const lock(mutex);
      entries.push_back({std::move(task), size});
      waiting += size;
      wakes = waiting >= kShare && idle > 0;
    }
    held += size;
    if (wakes) hasWork.notify_one();
  }
};

TaskQueue::TaskQueue(std::size_t budget) : impl_(new Impl{budget}) {}

TaskQueue::~TaskQueue() = default;

void TaskQueue::setThreads(std::size_t count) {
  deliverAll();
  impl_->stop();
  impl_->start(count);
}

void TaskQueue::add(std::unique_ptr<Task> task, std::size_t size) {
  size += kTaskSize;
  while (impl_->held > impl_->budget / kDeliverAt && impl_->isFrontDone()) impl_->deliverFront();
  while (impl_->held > 0 && impl_->held + size > impl_->budget) impl_->deliverFront();
  if (!impl_->threads.empty()) return impl_->push(std::move(task), size);
  task->run();
  task->deliver();
}

bool TaskQueue::deliverFirst() {
  if (isEmpty()) return false;
  impl_->deliverFront();
  return true;
}

void TaskQueue::deliverAll() {
  while (!isEmpty()) impl_->deliverFront();
}

bool TaskQueue::isEmpty() const { return impl_->held == 0; }

}  // namespace opc
