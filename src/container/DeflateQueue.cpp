// SPDX-License-Identifier: Apache-2.0
#include "container/DeflateQueue.hpp"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace opc::model::zip {
namespace {

constexpr std::size_t kTaskSize = 1024;  // what a task holds besides its content, so that empty ones are bounded too

enum class Progress { Waiting, Running, Done, Failed };

struct Queued {
  std::unique_ptr<DeflateQueue::Task> task;
  std::size_t size;
  Progress progress = Progress::Waiting;
};

}  // namespace

DeflateQueue::Task::~Task() = default;

/// Entries stand in the order of delivery; only the owner adds and removes them, and only waiting ones are
/// taken up by threads. A deque keeps them where they are meanwhile.
struct DeflateQueue::Impl {
  std::size_t budget;
  std::size_t held = 0;  // bytes of all entries; the owner's alone
  std::mutex mutex{};
  std::condition_variable hasWork{};
  std::condition_variable hasResult{};
  std::deque<Queued> entries{};
  std::size_t taken = 0;  // of the entries, from the front
  bool isEnding = false;
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
    threads.reserve(count);
    while (threads.size() < count) threads.emplace_back([this] { work(); });
  } catch (std::system_error const&) {
    return;  // fewer do as well
  }

  void work() {
    std::unique_lock lock(mutex);
    for (;;) {
      hasWork.wait(lock, [this] { return isEnding || taken < entries.size(); });
      if (isEnding) return;
      Queued& entry = entries[taken++];
      entry.progress = Progress::Running;
      lock.unlock();
      bool const done = runs(*entry.task);
      lock.lock();
      entry.progress = done ? Progress::Done : Progress::Failed;
      hasResult.notify_one();
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
    return !entries.empty() && entries.front().progress == Progress::Done;
  }

  Queued& waitForFront() {
    std::unique_lock lock(mutex);
    Queued& front = entries.front();
    hasResult.wait(lock, [&] { return front.progress == Progress::Done || front.progress == Progress::Failed; });
    return front;
  }

  void deliverFront() {
    Queued& front = waitForFront();
    if (front.progress == Progress::Failed) {
      front.task->run();
      front.progress = Progress::Done;  // no thread looks at it any more
    }
    front.task->deliver();
    held -= front.size;
    std::lock_guard const lock(mutex);
    --taken;
    entries.pop_front();
  }

  void push(std::unique_ptr<Task> task, std::size_t size) {
    {
      std::lock_guard const lock(mutex);
      entries.push_back({std::move(task), size});
    }
    held += size;
    hasWork.notify_one();
  }
};

DeflateQueue::DeflateQueue(std::size_t budget) : impl_(new Impl{budget}) {}

DeflateQueue::~DeflateQueue() = default;

void DeflateQueue::setThreads(std::size_t count) {
  deliverAll();
  impl_->stop();
  impl_->start(count);
}

void DeflateQueue::add(std::unique_ptr<Task> task, std::size_t size) {
  size += kTaskSize;
  while (impl_->isFrontDone()) impl_->deliverFront();
  while (impl_->held > 0 && impl_->held + size > impl_->budget) impl_->deliverFront();
  if (!impl_->threads.empty()) return impl_->push(std::move(task), size);
  task->run();
  task->deliver();
}

void DeflateQueue::deliverAll() {
  while (impl_->held > 0) impl_->deliverFront();
}

}  // namespace opc::model::zip
