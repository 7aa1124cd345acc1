// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>

namespace ztpkg {

/// An amount of work.
struct Amount {
  std::uint64_t files = 0;
  std::uint64_t bytes = 0;
};

/// Counts the work done, and shows it as a bar in the last line of the terminal if it takes over a second. Shows
/// nothing if standard error is no terminal. The destructor removes the line, so that messages take its place. Any
/// number of threads may add.
class Progress {
 public:
  explicit Progress(bool isWanted);
  ~Progress();
  Progress(Progress const&) = delete;
  Progress& operator=(Progress const&) = delete;

  /// Whether a bar may be shown, so that finding out the total is of use.
  bool isShown() const { return isShown_; }
  void expect(Amount const& total) { total_ = total; }

  /// Removes the line.
  void finish();

  void addFile();
  void addBytes(std::uint64_t count);

  Amount done() const { return {files_, bytes_}; }
  std::chrono::duration<double> elapsed() const { return Clock::now() - begin_; }

 private:
  using Clock = std::chrono::steady_clock;

  void showWhenDue();

  bool isShown_;
  Clock::time_point begin_ = Clock::now();
  Clock::time_point due_;
  bool hasLine_ = false;
  Amount total_;
  std::atomic<std::uint64_t> files_ = 0, bytes_ = 0;  // done
  std::mutex line_;                                   // held by the thread that shows it
};

/// The line for a terminal of that many columns: "42% [####      ] 1.2 MB of 3.0 MB, 7 files, 1.1 MB/s, 0:02 left",
/// shortened for narrow terminals.
std::string progressLine(Amount const& done, Amount const& total, std::chrono::duration<double> elapsed,
                         std::size_t columns);

}  // namespace ztpkg
