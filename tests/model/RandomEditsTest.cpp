// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <gtest/gtest.h>
#include <iostream>
#include <memory>
#include <string>

#include "model/Operations.hpp"

namespace {

using zt_model::Random;
using zt_model::World;

constexpr std::uint64_t kOperationsOfAHistory = 100;
constexpr std::uint64_t kOperations = 3000;
constexpr std::size_t kStepsShown = 30;

std::uint64_t numberOf(char const* variable, std::uint64_t otherwise) {
  char const* const text = std::getenv(variable);
  return text ? std::strtoull(text, nullptr, 10) : otherwise;
}

std::string lastSteps(World const& world) {
  std::string text;
  auto const& steps = world.steps();
  for (std::size_t i = steps.size() - std::min(steps.size(), kStepsShown); i < steps.size(); ++i)
    text += "  " + std::to_string(i) + ": " + steps[i] + "\n";
  return text;
}

/// Edits one package, and those that take its place, with choices from one seed. Returns what went wrong.
std::string deviationOf(std::uint64_t seed) {
  std::unique_ptr<World> world;
  try {
    Random random(seed);
    world = std::make_unique<World>(random);
    world->check();
    for (std::uint64_t i = 0; i < kOperationsOfAHistory; ++i) {
      doSomething(*world, random);
      world->check();
    }
    return "";
  } catch (std::exception const& error) {
    return std::string(error.what()) + "\n" + (world ? lastSteps(*world) : "");
  }
}

TEST(RandomEdits, ChangeOnlyWhatTheyName) {
  std::uint64_t const first = numberOf("ZT_MODEL_SEED", 1);
  std::uint64_t const operations = numberOf("ZT_MODEL_OPERATIONS", kOperations);
  std::uint64_t const histories = (operations + kOperationsOfAHistory - 1) / kOperationsOfAHistory;
  std::cout << histories << " histories of " << kOperationsOfAHistory << " operations, seeds from " << first << "\n";
  for (std::uint64_t seed = first; seed < first + histories; ++seed) {
    std::string const deviation = deviationOf(seed);
    ASSERT_TRUE(deviation.empty()) << deviation << "ZT_MODEL_SEED=" << seed << " ZT_MODEL_OPERATIONS=1 repeats it";
  }
}

}  // namespace
