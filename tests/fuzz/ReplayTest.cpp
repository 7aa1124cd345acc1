// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <exception>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "FuzzTarget.hpp"
#include "support/TestSupport.hpp"

/// The fuzz targets in an ordinary test: over their seeds, over a few inputs near those, and over each input that once
/// broke a promise: fuzz/regressions keeps them.
namespace zt_fuzz {
namespace {

constexpr int kChangedInputs = 60;  // of each seed
std::filesystem::path const kRegressions = ZT_FUZZ_REGRESSIONS;

void expectKept(Target const& target, Bytes const& input, std::string const& name) {
  try {
    target.run(input);
  } catch (std::exception const& error) {
    ADD_FAILURE() << target.name << ", " << name << ": " << error.what();
  }
}

/// The input with some bytes changed, cut out or repeated.
Bytes changed(Bytes input, std::mt19937& random) {
  auto const below = [&random](std::size_t bound) { return static_cast<std::ptrdiff_t>(random() % bound); };
  for (auto left = 1 + below(4); left > 0 && !input.empty(); --left) {
    auto const begin = input.begin() + below(input.size());
    auto const end = begin + below(1 + std::min<std::size_t>(16, static_cast<std::size_t>(input.end() - begin)));
    Bytes const piece(begin, end);
    switch (random() % 3) {
      case 0:
        *begin = static_cast<unsigned char>(random());
        break;
      case 1:
        input.erase(begin, end);
        break;
      default:
        input.insert(input.begin() + below(input.size()), piece.begin(), piece.end());
    }
  }
  return input;
}

class FuzzTarget : public testing::TestWithParam<Target> {};

TEST_P(FuzzTarget, KeepsItsPromisesForEverySeed) {
  auto const seeds = GetParam().seeds();
  ASSERT_FALSE(seeds.empty());
  for (std::size_t i = 0; i < seeds.size(); ++i) expectKept(GetParam(), seeds[i], "seed " + std::to_string(i));
}

TEST_P(FuzzTarget, KeepsItsPromisesNearEverySeed) {
  std::mt19937 random;  // the same inputs in every run
  for (Bytes const& seed : GetParam().seeds())
    for (int i = 0; i < kChangedInputs; ++i) {
      Bytes const input = changed(seed, random);
      expectKept(GetParam(), input, testing::PrintToString(textOf(input)));
    }
}

class FuzzTargetOfAFormat : public testing::TestWithParam<Target> {};

TEST_P(FuzzTargetOfAFormat, KeepsItsPromisesWhereTheFormatIsKept) {
  std::mt19937 random;
  auto const change = [&random](std::string text) { return textOf(changed(bytesOf(text), random)); };
  for (Bytes input : GetParam().seeds())
    for (int i = 0; i < kChangedInputs; ++i) {
      Bytes const next = GetParam().change(input, random, change);
      expectKept(GetParam(), next, testing::PrintToString(textOf(next)));
      if (i % 4 == 3) input = next;
    }
}

TEST_P(FuzzTarget, KeepsItsPromisesForNothingAtAll) { expectKept(GetParam(), {}, "no byte"); }

std::string nameOf(testing::TestParamInfo<Target> const& target) { return target.param.name; }

std::vector<Target> targetsOfAFormat() {
  std::vector<Target> some;
  std::copy_if(targets().begin(), targets().end(), std::back_inserter(some),
               [](Target const& target) { return target.change != nullptr; });
  return some;
}

INSTANTIATE_TEST_SUITE_P(Every, FuzzTarget, testing::ValuesIn(targets()), nameOf);
INSTANTIATE_TEST_SUITE_P(Every, FuzzTargetOfAFormat, testing::ValuesIn(targetsOfAFormat()), nameOf);

TEST(FuzzRegressions, AreRepaired) {
  int count = 0;
  for (Target const& target : targets()) {
    std::filesystem::path const folder = kRegressions / target.name;
    if (!exists(folder)) continue;
    for (auto const& file : std::filesystem::directory_iterator(folder)) {
      expectKept(target, bytesOf(zt_test::readFile(file.path())), file.path().filename().string());
      ++count;
    }
  }
  EXPECT_GT(count, 0);
}

TEST(FuzzRegressions, AreAllOfSomeTarget) {
  std::set<std::string> names;
  for (Target const& target : targets()) names.insert(target.name);
  for (auto const& folder : std::filesystem::directory_iterator(kRegressions))
    EXPECT_EQ(names.count(folder.path().filename().string()), 1u) << folder.path();
}

}  // namespace
}  // namespace zt_fuzz
