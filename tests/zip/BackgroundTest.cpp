// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>
#include <vector>

#include "foundation/zip/Background.hpp"

namespace opc::model::zip {
namespace {

TEST(Background, DoesThingsInOrderOnAnotherThread) {
  std::vector<int> done;
  std::thread::id thread;
  Background background(true);
  for (int i = 0; i < 3; ++i)
    background.begin([&, i] {
      done.push_back(i);
      thread = std::this_thread::get_id();
    });
  background.wait();
  EXPECT_EQ(done, (std::vector<int>{0, 1, 2}));
  EXPECT_NE(thread, std::this_thread::get_id());
}

TEST(Background, DoesThingsAtOnceWithoutAThread) {
  std::thread::id thread;
  Background background(false);
  background.begin([&] { thread = std::this_thread::get_id(); });
  EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST(Background, ThrowsOnceWhatWentWrongAndBeginsNothingThen) {
  bool hasBegun = false;
  Background background(true);
  background.begin([] { throw std::runtime_error("wrong"); });
  EXPECT_THROW(background.begin([&] { hasBegun = true; }), std::runtime_error);
  EXPECT_NO_THROW(background.wait());
  EXPECT_FALSE(hasBegun);
}

TEST(Background, FinishesWhatWasBegunBeforeItGoes) {
  bool isDone = false;
  {
    Background(true).begin([&] { isDone = true; });
  }
  EXPECT_TRUE(isDone);
}

}  // namespace
}  // namespace opc::model::zip
