// SPDX-License-Identifier: Apache-2.0
#include "foundation/zip/Background.hpp"

#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace opc::model::zip {

struct Background::Impl {
  bool hasThread;
  std::mutex mutex{};
  std::condition_variable changed{};  // the owner and the thread never wait at the same time
  Work work{};                        // while it is not done
  std::exception_ptr failure{};
  bool isEnding = false;
  std::thread thread{};

  void run() {
    std::unique_lock lock(mutex);
    for (;;) {
      changed.wait(lock, [this] { return isEnding || work; });
      if (!work) return;
      lock.unlock();
      std::exception_ptr const thrown = outcome(work);
      lock.lock();
      failure = thrown;
      work = nullptr;
      changed.notify_one();
    }
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
    thread.join();  // which does what was begun
  }
};

Background::Background(bool hasThread) : impl_(new Impl{hasThread}) {}

Background::~Background() { impl_->end(); }

void Background::begin(Work work) {
  wait();
  if (!impl_->hasStarted()) return work();
  {
    std::lock_guard const lock(impl_->mutex);
    impl_->work = std::move(work);
  }
  impl_->changed.notify_one();
}

void Background::wait() {
  std::unique_lock lock(impl_->mutex);
  impl_->changed.wait(lock, [this] { return !impl_->work; });
  if (auto const failure = std::exchange(impl_->failure, nullptr)) std::rethrow_exception(failure);
}

}  // namespace opc::model::zip
