// SPDX-License-Identifier: Apache-2.0
#include "io/Watch.hpp"

#include <algorithm>
#include <utility>

namespace opc {
namespace {

constexpr std::chrono::milliseconds kBetweenReports{20};

[[noreturn]] void throwCancelled() { throw Cancelled("The operation was cancelled"); }

}  // namespace

Watch::Watch(Monitor monitor) : monitor_(std::move(monitor)) {}

void Watch::expect(std::uint64_t files, std::optional<std::uint64_t> bytes) {
  allFiles_ = files;
  allBytes_ = bytes;
}

void Watch::check() {
  if (isOver_) return;
  if (monitor_.stop.stop_requested()) isCancelled_ = true;
  if (!isCancelled_) report(false);
  if (isCancelled_) throwCancelled();
}

void Watch::finish() {
  if (!isCancelled_) report(true);
  if (monitor_.stop.stop_requested()) isCancelled_ = true;
  if (isCancelled_) throwCancelled();
}

/// Another thread that is reporting need not be waited for, except for the last report.
void Watch::report(bool isLast) {
  if (!monitor_.report) return;
  std::unique_lock lock(reporting_, std::defer_lock);
  if (isLast)
    lock.lock();
  else if (!lock.try_lock() || Clock::now() < due_)
    return;
  due_ = Clock::now() + kBetweenReports;
  try {
    if (!monitor_.report(progress(isLast))) isCancelled_ = true;
  } catch (...) {
    isCancelled_ = true;  // also if the exception is taken for the fault of one file
    throw;
  }
}

/// Files may change while they are read, and containers have more than contents.
Progress Watch::progress(bool isLast) const {
  std::uint64_t const done = bytes_, all = allBytes_.value_or(done);
  if (isLast) return {allFiles_, all, allFiles_, all};
  return {std::min<std::uint64_t>(files_, allFiles_), std::min(done, all), allFiles_, all};
}

void WatchedInput::reset() {
  inner_.reset();
  position_ = 0;
}

std::size_t WatchedInput::read(void* buffer, std::size_t count) {
  watch_.check();
  std::size_t const got = inner_.read(buffer, count);
  position_ += got;
  if (counts_ == Counts::Bytes && position_ > counted_) {
    watch_.addBytes(position_ - counted_);
    counted_ = position_;
  }
  return got;
}

}  // namespace opc
