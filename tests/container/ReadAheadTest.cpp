// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <utility>

#include "container/RandomAccessBytes.hpp"
#include "container/ZipTestSupport.hpp"

namespace opc::model::zip {
namespace {
using namespace zt_test;

/// Counts the reads of a text.
struct CountedSource {
  explicit CountedSource(std::string content) : text(std::move(content)) {}
  ReadAhead::Source source() {
    return {this, text.size(), [this](std::uint64_t offset, void* to, std::size_t count) {
              ++reads;
              bytes += count;
              text.copy(static_cast<char*>(to), count, static_cast<std::size_t>(offset));
              if (offset + count > text.size()) throw std::out_of_range("beyond the end");
            }};
  }
  std::string text;
  int reads = 0;
  std::size_t bytes = 0;  // asked for
};

std::string get(ReadAhead& window, CountedSource& from, std::uint64_t offset, std::size_t count) {
  auto const* const p = window.bytes(from.source(), offset, count);
  return {p, p + count};
}

TEST(ReadAhead, ReadsPiecesInARowInFewSteps) {
  CountedSource source(incompressible(3 << 20));
  ReadAhead window;
  for (std::size_t at = 0; at + 100 <= source.text.size(); at += 150)
    ASSERT_EQ(get(window, source, at, 100), source.text.substr(at, 100));
  EXPECT_LE(source.reads, 7);
}

TEST(ReadAhead, ReadsLittleAheadWhereNoLongRowFollows) {
  CountedSource source(incompressible(3 << 20));
  ReadAhead window;
  for (std::size_t at = 2 << 20; at > 100'000; at -= 100'000) {  // pairs, one behind the other
    ASSERT_EQ(get(window, source, at, 100), source.text.substr(at, 100));
    ASSERT_EQ(get(window, source, at + 200, 100), source.text.substr(at + 200, 100));
  }
  EXPECT_LE(source.bytes, 20u * (100 + (16 << 10)));
}

TEST(ReadAhead, ReadsNoMoreThanAskedElsewhere) {
  CountedSource source(incompressible(100'000));
  ReadAhead window;
  EXPECT_EQ(get(window, source, 90'000, 10), source.text.substr(90'000, 10));
  EXPECT_EQ(get(window, source, 10, 10), source.text.substr(10, 10));
  EXPECT_EQ(get(window, source, 50'000, 10), source.text.substr(50'000, 10));
  EXPECT_EQ(source.reads, 3);
}

TEST(ReadAhead, ForgetsOneSourceForAnother) {
  CountedSource a("aaaaaaaa"), b("bbbbbbbb");
  ReadAhead window;
  EXPECT_EQ(get(window, a, 0, 4), "aaaa");
  EXPECT_EQ(get(window, b, 0, 4), "bbbb");
  EXPECT_EQ(get(window, a, 0, 4), "aaaa");
}

TEST(ReadAhead, ForgetsWhatItCouldNotRead) {
  CountedSource source("0123456789");
  ReadAhead window;
  EXPECT_EQ(get(window, source, 0, 5), "01234");
  EXPECT_THROW(get(window, source, 5, 100), std::out_of_range);
  EXPECT_EQ(get(window, source, 0, 5), "01234");
}

TEST(ReadAhead, ReadsNoMoreThanAskedOfTheSamePieceOnceMore) {
  CountedSource source("0123456789");
  ReadAhead window;
  EXPECT_EQ(get(window, source, 2, 2), "23");
  source.text.resize(6);  // whatever reads beyond these throws
  auto whole = source.source();
  whole.size = 10;
  auto const* const p = window.bytes(whole, 2, 4);
  EXPECT_EQ(std::string(p, p + 4), "2345");
}

}  // namespace
}  // namespace opc::model::zip
