// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace ztpkg {

/// "5 B", "1.2 kB", "980 MB": powers of 1000, with two or three digits.
std::string sizeText(std::uint64_t bytes);

/// "0.4 s", "95 s".
std::string secondsText(std::chrono::duration<double> time);

/// Runs from when it is made.
class Stopwatch {
 public:
  std::chrono::duration<double> elapsed() const { return Clock::now() - begin_; }

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point begin_ = Clock::now();
};

/// "0:07", "1:02:33".
std::string clockText(std::chrono::duration<double> time);

/// The numbers of entries that a command has stored or extracted.
struct Entries {
  std::size_t files = 0;
  std::size_t folders = 0;
  std::size_t links = 0;
  std::uint64_t bytes = 0;  ///< of the files
};

/// "3 files, 2 folders and 1 link (1.2 MB)".
std::string entriesText(Entries const& entries, std::string const& folder);

/// "1 file", "2 files".
std::string counted(std::size_t count, std::string const& noun);

}  // namespace ztpkg
