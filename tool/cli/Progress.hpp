// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "opc/Progress.hpp"
#include "opc/model/Package.hpp"

namespace ztpkg {

/// An amount of work.
struct Amount {
  std::uint64_t files = 0;
  std::uint64_t bytes = 0;
};

/// Counts the work done, and shows how far the library's operations are as a bar in the last line of the terminal if
/// the work takes over a second. Shows nothing if standard error is no terminal. The destructor removes the line, so
/// that messages take its place. Any number of threads may add.
class Progress {
 public:
  explicit Progress(bool isWanted);
  ~Progress();
  Progress(Progress const&) = delete;
  Progress& operator=(Progress const&) = delete;

  /// For an operation of the library, which then moves the bar and ends with Cancelled after a signal; empty where no
  /// bar is shown. It may outlive the object, and does nothing then.
  opc::Monitor monitor();
  /// From now on the operations on the package move the bar.
  void watch(opc::model::Package& package);

  /// What there is to do where no operation of the library says so: contents that are compared or examined.
  void expect(Amount const& total);

  /// Removes the line.
  void finish();

  void addFile();
  void addBytes(std::uint64_t count);

  Amount done() const { return {files_, bytes_}; }
  std::chrono::duration<double> elapsed() const { return Clock::now() - begin_; }

 private:
  using Clock = std::chrono::steady_clock;
  class Bar;

  void showOwnWork();

  Clock::time_point begin_ = Clock::now();
  Amount total_;
  std::atomic<std::uint64_t> files_ = 0, bytes_ = 0;  // done
  std::atomic<bool> isWatched_ = false;               // by a monitor
  std::shared_ptr<Bar> bar_;                          // null where none is shown
};

/// The line for a terminal of that many columns: "42% [####      ] 1.2 MB of 3.0 MB, 7 files, 1.1 MB/s, 0:02 left",
/// shortened for narrow terminals.
std::string progressLine(Amount const& done, Amount const& total, std::chrono::duration<double> elapsed,
                         std::size_t columns);

}  // namespace ztpkg
