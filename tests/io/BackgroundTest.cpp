// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <cstddef>
#include <future>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "io/Background.hpp"

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

/// Holds up the thread that waits for it until it is opened, or goes.
class Gate {
 public:
  ~Gate() { open(); }
  void open() {
    if (!std::exchange(isOpen_, true)) promise_.set_value();
  }
  void wait() const { opened_.wait(); }

 private:
  std::promise<void> promise_;
  std::shared_future<void> opened_{promise_.get_future()};
  bool isOpen_ = false;
};

Background::Work failureBehind(Gate const& gate) {
  return [&gate] {
    gate.wait();
    throw std::runtime_error("wrong");
  };
}

TEST(Background, LetsAsManyThingsWaitAsItWasTold) {
  std::vector<int> done;
  Background background(true, 3);
  Gate gate;
  background.begin([&] { gate.wait(); });
  for (int i : {1, 2}) background.begin([&, i] { done.push_back(i); });
  gate.open();
  background.begin([&] { done.push_back(3); });
  background.wait();
  EXPECT_EQ(done, (std::vector<int>{1, 2, 3}));
}

TEST(Background, HasNoMoreThingsWaitThanItWasTold) {
  constexpr std::size_t kMost = 4;
  std::size_t begun = 0;
  std::atomic<std::size_t> done = 0;
  Background background(true, kMost);
  for (; begun < 1000; ++begun) {
    background.begin([&] { ++done; });
    ASSERT_LE(begun + 1 - done, kMost);
  }
}

TEST(Background, DropsWhatWasBegunBehindWhatWentWrong) {
  bool hasBegun = false;
  Background background(true, 3);
  Gate gate;
  background.begin(failureBehind(gate));
  background.begin([&] { hasBegun = true; });
  gate.open();
  EXPECT_THROW(background.wait(), std::runtime_error);
  EXPECT_NO_THROW(background.wait());
  EXPECT_FALSE(hasBegun);
}

TEST(Background, TellsWhatWentWrongToWhoeverHasBegunTooManyThings) {
  bool hasBegun = false;
  Background background(true, 2);
  Gate gate;
  background.begin(failureBehind(gate));
  background.begin([&] { hasBegun = true; });
  std::thread opening([&] { gate.open(); });
  EXPECT_THROW(background.begin([&] { hasBegun = true; }), std::runtime_error);
  opening.join();
  EXPECT_NO_THROW(background.wait());
  EXPECT_FALSE(hasBegun);
}

TEST(Background, FinishesOnlyWhatIsUnderWayWhenTheRestIsDropped) {
  bool isDone = false, hasBegun = false;
  Background background(true, 3);
  Gate gate;
  background.begin([&] {
    gate.wait();
    isDone = true;
  });
  background.begin([&] { hasBegun = true; });
  background.drop();
  gate.open();
  background.wait();
  EXPECT_TRUE(isDone);
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
