// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <utility>

#include "container/Directory.hpp"
#include "container/ZipTestSupport.hpp"
#include "opc/model/ContainerExceptions.hpp"

namespace opc::model::zip {
namespace {
using namespace zt_test;

constexpr std::size_t kMebibyte = 1u << 20;

/// Remembers the furthest byte that was read.
class WatchedBytes final : public RandomAccessBytes {
 public:
  explicit WatchedBytes(std::string bytes) : bytes_(std::move(bytes)) {}
  std::uint64_t size() const override { return bytes_.size(); }
  void readAt(std::uint64_t offset, void* buffer, std::size_t count) const override {
    bytes_.copy(static_cast<char*>(buffer), count, static_cast<std::size_t>(offset));
    end = std::max<std::size_t>(end, static_cast<std::size_t>(offset) + count);
  }
  int descriptor() const override { return -1; }

  mutable std::size_t end = 0;

 private:
  std::string bytes_;
};

TEST(DirectoryBytes, AreThoseOfTheirPlace) {
  std::string const text = incompressible(10 * kMebibyte);
  WatchedBytes const bytes(text);
  DirectoryBytes directory(bytes, 100, 9 * kMebibyte);
  for (std::size_t at = 0; at < directory.size(); at += 70'000) {
    std::size_t const count = std::min<std::size_t>(100'000, directory.size() - at);
    auto const* const p = directory.get(at, count);
    ASSERT_EQ(std::string(p, p + count), text.substr(100 + at, count)) << at;
  }
  auto const whole = directory.take();
  EXPECT_EQ(std::string(whole.get(), whole.get() + directory.size()), text.substr(100, directory.size()));
}

TEST(DirectoryBytes, AreReadNotFarAheadOfWhatIsAskedFor) {
  WatchedBytes const bytes(std::string(20 * kMebibyte, 'x'));
  DirectoryBytes directory(bytes, 0, 20 * kMebibyte);
  EXPECT_EQ(bytes.end, 0U);
  directory.get(0, 46);
  EXPECT_EQ(bytes.end, kMebibyte);
  directory.get(kMebibyte - 1, 2);
  EXPECT_EQ(bytes.end, 4 * kMebibyte);
  directory.get(4 * kMebibyte, 1);
  EXPECT_EQ(bytes.end, 16 * kMebibyte);
  directory.get(0, 17 * kMebibyte);
  EXPECT_EQ(bytes.end, 20 * kMebibyte);
}

TEST(DirectoryBytes, EndWhereTheirPlaceEnds) {
  WatchedBytes const bytes(std::string(1000, 'x'));
  DirectoryBytes directory(bytes, 0, 100);
  EXPECT_NE(directory.get(0, 100), nullptr);
  EXPECT_NE(directory.get(99, 1), nullptr);
  EXPECT_EQ(directory.get(99, 2), nullptr);
  EXPECT_EQ(directory.get(0, 101), nullptr);
  EXPECT_EQ(directory.get(101, 0), nullptr);
  EXPECT_EQ(directory.get(SIZE_MAX, 1), nullptr);
  EXPECT_EQ(directory.get(1, SIZE_MAX), nullptr);
}

}  // namespace
}  // namespace opc::model::zip
