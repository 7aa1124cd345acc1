// SPDX-License-Identifier: Apache-2.0
#include "io/Background.hpp"

#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace opc::model::zip {

struct Background::Impl {
  bool hasThread;
  std::size_t most;
  std::mutex mutex{};
  std::condition_variable changed{};  // the owner and the thread never wait at the same time
  std::deque<Work> works{};           // unfinished ones
  std::size_t awaited = 0;            // a waiting owner waits until no more of them are left
  std::exception_ptr failure{};
  bool isEnding = false;
  std::thread thread{};

  void run() {
    std::unique_lock lock(mutex);
    for (;;) {
      changed.wait(lock, [this] { return isEnding || !works.empty(); });
      if (works.empty()) return;
      Work& work = works.front();
      lock.unlock();
      std::exception_ptr const thrown = outcome(work);
      lock.lock();
      finish(thrown);
    }
  }

  /// Removes the finished first item. Nothing runs after a failure.
  void finish(std::exception_ptr const& thrown) {
    works.pop_front();
    if (thrown) {
      failure = thrown;
      works.clear();
    }
    if (works.size() <= awaited) changed.notify_one();
  }

  void waitUntilLeft(std::unique_lock<std::mutex>& lock, std::size_t count) {
    awaited = count;
    changed.wait(lock, [this] { return works.size() <= awaited; });
    if (auto const thrown = std::exchange(failure, nullptr)) std::rethrow_exception(thrown);
  }

  static std::exception_ptr outcome(Work const& work) noexcept try {
    work();
    return nullptr;
  } catch (...) {
    return std::current_exception();
  }

  bool hasStarted() {
    if (thread.joinable()) return true;
    if (!hasThread) return false;
    try {
      thread = std::thread([this] { run(); });
    } catch (std::system_error const&) {
      hasThread = false;
    }
    return hasThread;
  }

  void end() {
    if (!thread.joinable()) return;
    {
      std::lock_guard const lock(mutex);
      isEnding = true;
    }
    changed.notify_one();
    thread.join();  // it finishes its items first
  }
};

Background::Background(bool hasThread, std::size_t most) : impl_(new Impl{hasThread, most}) {}

Background::~Background() { impl_->end(); }

void Background::begin(Work work) {
  if (!impl_->hasStarted()) return work();
  {
    std::unique_lock lock(impl_->mutex);
    impl_->waitUntilLeft(lock, impl_->works.size() < impl_->most ? impl_->most : impl_->most / 2);
    impl_->works.push_back(std::move(work));
  }
  impl_->changed.notify_one();
}

void Background::wait() {
  std::unique_lock lock(impl_->mutex);
  impl_->waitUntilLeft(lock, 0);
}

void Background::drop() noexcept {
  std::lock_guard const lock(impl_->mutex);
  while (impl_->works.size() > 1) impl_->works.pop_back();
}

}  // namespace opc::model::zip
