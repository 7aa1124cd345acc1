// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>
#include <string>

namespace zt_model {

/// Choices that depend on the seed alone: the same on every system, unlike those of the standard distributions.
class Random {
 public:
  explicit Random(std::uint64_t seed) : numbers_(seed) {}

  std::size_t below(std::size_t count) { return static_cast<std::size_t>(numbers_() % count); }
  bool oneIn(std::size_t count) { return below(count) == 0; }
  template <typename Range>
  auto const& of(Range const& range) {
    return *std::next(std::begin(range), static_cast<std::ptrdiff_t>(below(std::size(range))));
  }
  /// Short for the most part; some of it cannot be compressed.
  std::string text() {
    std::string text;
    std::size_t const size = oneIn(8) ? below(20'000) : below(40);
    unsigned const spread = oneIn(2) ? 256 : 3;
    while (text.size() < size) text += static_cast<char>(below(spread));
    return text;
  }

 private:
  std::mt19937_64 numbers_;
};

}  // namespace zt_model
