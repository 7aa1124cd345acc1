// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "io/TaskQueue.hpp"
#include "opc/Exception.hpp"

namespace opc {
namespace {
/// Does what a test says.
class Task final : public TaskQueue::Task {
 public:
  Task(std::function<void()> work, std::function<void()> result) : work_(std::move(work)), result_(std::move(result)) {}
  void run() override { work_(); }
  void deliver() override { result_(); }

 private:
  std::function<void()> work_, result_;
};

void add(TaskQueue& queue, std::function<void()> work, std::function<void()> result, std::size_t size = 1) {
  queue.add(std::make_unique<Task>(std::move(work), std::move(result)), size);
}

TEST(TaskQueue, RunsAndDeliversAtOnceWithoutThreads) {
  TaskQueue queue;
  std::string order;
  add(
      queue, [&] { order += "r"; }, [&] { order += "d"; });
  EXPECT_EQ(order, "rd");
}

TEST(TaskQueue, DeliversInOrderAndInTheOwnersThread) {
  for (std::size_t const threads : {1u, 2u, 5u}) {
    TaskQueue queue;
    queue.setThreads(threads);
    std::vector<int> delivered;
    for (int i = 0; i < 200; ++i) {
      auto const result = [&delivered, i, owner = std::this_thread::get_id()] {
        EXPECT_EQ(std::this_thread::get_id(), owner);
        delivered.push_back(i);
      };
      add(
          queue, [i] { std::this_thread::sleep_for(std::chrono::microseconds(i * 37 % 100)); }, result);
    }
    queue.deliverAll();
    ASSERT_EQ(delivered.size(), 200u);
    EXPECT_TRUE(std::is_sorted(delivered.begin(), delivered.end()));
  }
}

TEST(TaskQueue, RunsTasksSideBySide) {
  TaskQueue queue;
  queue.setThreads(2);
  std::atomic<int> running = 0;
  auto const meet = [&] {
    ++running;
    while (running < 2) std::this_thread::yield();
  };
  add(queue, meet, [] {});
  add(queue, meet, [] {});
  queue.deliverAll();
  EXPECT_EQ(running, 2);
}

TEST(TaskQueue, HoldsNoMoreThanItsBudget) {
  TaskQueue queue(10'000);
  queue.setThreads(2);
  int held = 0, most = 0;
  for (int i = 0; i < 100; ++i) {
    add(
        queue, [] {}, [&] { --held; }, 1000);
    most = std::max(most, ++held);
  }
  EXPECT_LE(most, 5);
  queue.deliverAll();
  EXPECT_EQ(held, 0);
}

TEST(TaskQueue, TakesATaskLargerThanItsBudgetAlone) {
  TaskQueue queue(10);
  queue.setThreads(2);
  int delivered = 0;
  for (int i = 0; i < 3; ++i)
    add(
        queue, [] {}, [&] { ++delivered; }, 1000);
  EXPECT_EQ(delivered, 2);
  queue.deliverAll();
  EXPECT_EQ(delivered, 3);
}

TEST(TaskQueue, ThrowsInTheOwnersThreadWhatWorkThrowsAndTriesAgain) {
  TaskQueue queue;
  queue.setThreads(1);
  std::atomic<int> failures = 3;
  bool delivered = false;
  auto const work = [&] {
    if (--failures >= 0) throw std::bad_alloc();
  };
  add(queue, work, [&] { delivered = true; });
  EXPECT_THROW(queue.deliverAll(), std::bad_alloc);
  EXPECT_THROW(queue.deliverAll(), std::bad_alloc);
  EXPECT_FALSE(delivered);
  queue.deliverAll();
  EXPECT_TRUE(delivered);
}

TEST(TaskQueue, DeliversAgainWhatCouldNotBeDelivered) {
  TaskQueue queue;
  queue.setThreads(1);
  std::atomic<bool> mayRun = false;  // so that it is not delivered before the second is there
  bool fails = true;
  std::string order;
  auto const work = [&] { mayRun.wait(false); };
  auto const result = [&] {
    if (std::exchange(fails, false)) throw Exception("no");
    order += "1";
  };
  add(queue, work, result);
  add(
      queue, [] {}, [&] { order += "2"; });
  mayRun = true;
  mayRun.notify_all();
  EXPECT_THROW(queue.deliverAll(), Exception);
  EXPECT_EQ(order, "");
  queue.deliverAll();
  EXPECT_EQ(order, "12");
}

TEST(TaskQueue, DeliversItsFirstTaskAlone) {
  TaskQueue queue;
  queue.setThreads(1);
  std::string order;
  queue.deliverFirst();
  add(
      queue, [] {}, [&] { order += "1"; });
  add(
      queue, [] {}, [&] { order += "2"; });
  queue.deliverFirst();
  EXPECT_EQ(order, "1");
  queue.deliverFirst();
  EXPECT_EQ(order, "12");
}

TEST(TaskQueue, DropsWhatIsNotDelivered) {
  std::atomic<int> delivered = 0;
  {
    TaskQueue queue;
    queue.setThreads(2);
    for (int i = 0; i < 20; ++i)
      add(
          queue, [] { std::this_thread::yield(); }, [&] { ++delivered; });
    delivered = 0;
  }
  EXPECT_EQ(delivered, 0);
}

TEST(TaskQueue, ChangesItsNumberOfThreadsBetweenTasks) {
  TaskQueue queue;
  int delivered = 0;
  for (std::size_t const threads : {2u, 0u, 1u, 4u, 4u}) {
    queue.setThreads(threads);
    for (int i = 0; i < 10; ++i)
      add(
          queue, [] {}, [&] { ++delivered; });
  }
  queue.setThreads(0);
  EXPECT_EQ(delivered, 50);
}

}  // namespace
}  // namespace opc
