// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>

#include "opc/Progress.hpp"
#include "opc/Streams.hpp"

namespace opc {

/// Counts the work of one operation for its monitor. Any number of threads may count and check.
class Watch {
 public:
  explicit Watch(Monitor monitor);

  /// What there is to do in all. Call it before other threads use the object. Bytes of an unknown number are as many as
  /// are done.
  void expect(std::uint64_t files, std::optional<std::uint64_t> bytes);
  void addFile() { ++files_; }
  void addBytes(std::uint64_t count) { bytes_ += count; }
  /// Reports when a report is due. Throws Cancelled once the monitor wants the operation to end.
  void check();
  /// Reports that everything is done. Throws Cancelled too.
  void finish();
  /// Whether check() or finish() ended the operation, by Cancelled or by what a report threw.
  bool isCancelled() const { return isCancelled_; }
  /// From now on nothing is reported and nothing thrown. No other thread checks meanwhile.
  void end() { isOver_ = true; }

 private:
  using Clock = std::chrono::steady_clock;

  void report(bool isLast);
  Progress progress(bool isLast) const;

  Monitor monitor_;
  std::uint64_t allFiles_ = 0;
  std::optional<std::uint64_t> allBytes_ = 0;
  std::atomic<std::uint64_t> files_ = 0, bytes_ = 0;
  std::atomic<bool> isCancelled_ = false, isOver_ = false;
  std::mutex reporting_;
  Clock::time_point due_{};  // of the thread that reports
};

/// Reads from a borrowed stream and checks the watch at each read. Counts each byte of the stream once, also if it is
/// read again after reset(); with Counts::Nothing it counts no bytes.
class WatchedInput final : public InputStream {
 public:
  enum class Counts { Nothing, Bytes };

  WatchedInput(InputStream& inner, Watch& watch, Counts counts = Counts::Bytes)
      : inner_(inner), watch_(watch), counts_(counts) {}

  void reset() override;
  std::size_t read(void* buffer, std::size_t count) override;
  bool isEnd() override { return inner_.isEnd(); }
  void clear() override { inner_.clear(); }

 private:
  InputStream& inner_;
  Watch& watch_;
  Counts counts_;
  std::uint64_t position_ = 0, counted_ = 0;
};

}  // namespace opc
