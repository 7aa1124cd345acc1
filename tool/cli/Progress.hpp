// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace ztpkg {

/// How much work there is, or has been done.
struct Amount {
  std::uint64_t files = 0;
  std::uint64_t bytes = 0;
};

/// Counts what is done, and shows it as a bar in the last line of the terminal when the work takes over a second.
/// Shows nothing where standard error is no terminal. The line is gone when the object is, so that messages
/// come in its place. What is done is counted in any case.
class Progress {
 public:
  explicit Progress(bool isWanted);
  ~Progress();
  Progress(Progress const&) = delete;
  Progress& operator=(Progress const&) = delete;

  /// Whether the total is worth finding out.
  bool isShown() const { return isShown_; }
  void expect(Amount const& total) { total_ = total; }

  /// Takes the line away.
  void finish();

  void addFile();
  void addBytes(std::uint64_t count);

  Amount const& done() const { return done_; }
  std::chrono::duration<double> elapsed() const { return Clock::now() - begin_; }

 private:
  using Clock = std::chrono::steady_clock;

  void showWhenDue();

  bool isShown_;
  Clock::time_point begin_ = Clock::now();
  Clock::time_point due_;
  bool hasLine_ = false;
  Amount total_;
  Amount done_;
};

/// The line for a terminal of that many columns: "42% [####      ] 1.2 MB of 3.0 MB, 7 files, 1.1 MB/s, 0:02 left",
/// with less of it where there is less room.
std::string progressLine(Amount const& done, Amount const& total, std::chrono::duration<double> elapsed,
                         std::size_t columns);

}  // namespace ztpkg
