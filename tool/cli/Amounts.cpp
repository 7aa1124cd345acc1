// SPDX-License-Identifier: Apache-2.0
#include "cli/Amounts.hpp"

#include <array>
#include <cmath>
#include <cstdio>

namespace ztpkg {
namespace {

std::string formatted(char const* format, double value) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), format, value);
  return text.data();
}

std::string twoDigits(long long number) { return (number < 10 ? "0" : "") + std::to_string(number); }

}  // namespace

std::string sizeText(std::uint64_t bytes) {
  constexpr std::array<char const*, 7> kUnits{"B", "kB", "MB", "GB", "TB", "PB", "EB"};
  if (bytes < 1000) return std::to_string(bytes) + " B";
  double value = static_cast<double>(bytes);
  std::size_t unit = 0;
  while (value >= 999.5 && unit + 1 < kUnits.size()) {  // 1000 is shown in the next unit
    value /= 1000;
    ++unit;
  }
  return formatted(value < 99.95 ? "%.1f " : "%.0f ", value) + kUnits[unit];
}

std::string secondsText(std::chrono::duration<double> time) {
  return formatted(time.count() < 9.95 ? "%.1f s" : "%.0f s", time.count());
}

std::string clockText(std::chrono::duration<double> time) {
  auto const seconds = std::llround(time.count());
  std::string const tail = ":" + twoDigits(seconds % 60);
  if (seconds < 3600) return std::to_string(seconds / 60) + tail;
  return std::to_string(seconds / 3600) + ":" + twoDigits(seconds / 60 % 60) + tail;
}

std::string entriesText(Entries const& entries, std::string const& folder) {
  return counted(entries.files, "file") + ", " + counted(entries.folders, folder) + " and " +
         counted(entries.links, "link") + " (" + sizeText(entries.bytes) + ")";
}

std::string counted(std::size_t count, std::string const& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

}  // namespace ztpkg
