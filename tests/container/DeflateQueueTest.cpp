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

#include "container/ContentWriter.hpp"
#include "container/Deflate.hpp"
#include "container/ZipTestSupport.hpp"
#include "opc/Exception.hpp"
#include "support/TestSupport.hpp"

namespace opc::model::zip {
namespace {
using namespace zt_test;

/// Does what a test says.
class Task final : public DeflateQueue::Task {
 public:
  Task(std::function<void()> work, std::function<void()> result) : work_(std::move(work)), result_(std::move(result)) {}
  void run() override { work_(); }
  void deliver() override { result_(); }

 private:
  std::function<void()> work_, result_;
};

void add(DeflateQueue& queue, std::function<void()> work, std::function<void()> result, std::size_t size = 1) {
  queue.add(std::make_unique<Task>(std::move(work), std::move(result)), size);
}

TEST(DeflateQueue, RunsAndDeliversAtOnceWithoutThreads) {
  DeflateQueue queue;
  std::string order;
  add(
      queue, [&] { order += "r"; }, [&] { order += "d"; });
  EXPECT_EQ(order, "rd");
}

TEST(DeflateQueue, DeliversInOrderAndInTheOwnersThread) {
  for (std::size_t const threads : {1u, 2u, 5u}) {
    DeflateQueue queue;
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

TEST(DeflateQueue, RunsTasksSideBySide) {
  DeflateQueue queue;
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

TEST(DeflateQueue, HoldsNoMoreThanItsBudget) {
  DeflateQueue queue(10'000);
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

TEST(DeflateQueue, TakesATaskLargerThanItsBudgetAlone) {
  DeflateQueue queue(10);
  queue.setThreads(2);
  int delivered = 0;
  for (int i = 0; i < 3; ++i)
    add(
        queue, [] {}, [&] { ++delivered; }, 1000);
  EXPECT_EQ(delivered, 2);
  queue.deliverAll();
  EXPECT_EQ(delivered, 3);
}

TEST(DeflateQueue, ThrowsInTheOwnersThreadWhatWorkThrowsAndTriesAgain) {
  DeflateQueue queue;
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

TEST(DeflateQueue, DeliversAgainWhatCouldNotBeDelivered) {
  DeflateQueue queue;
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

TEST(DeflateQueue, DropsWhatIsNotDelivered) {
  std::atomic<int> delivered = 0;
  {
    DeflateQueue queue;
    queue.setThreads(2);
    for (int i = 0; i < 20; ++i)
      add(
          queue, [] { std::this_thread::yield(); }, [&] { ++delivered; });
    delivered = 0;
  }
  EXPECT_EQ(delivered, 0);
}

TEST(DeflateQueue, ChangesItsNumberOfThreadsBetweenTasks) {
  DeflateQueue queue;
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

Content written(std::shared_ptr<Spool> const& spool, std::string const& bytes, DeflateQueue& queue) {
  ContentWriter writer(spool, Effort::Default, &queue);
  for (std::size_t at = 0; at < bytes.size(); at += 300'000)
    writer.write(bytes.data() + at, std::min<std::size_t>(300'000, bytes.size() - at));
  writer.close();
  return writer.content();
}

TEST(DeflateQueue, GivesTheSameStoredBytesForAnyNumberOfThreads) {
  auto const spool = makeSpool();
  for (std::size_t const size : {0u, 1u, 100'000u, (8u << 20) + 1, 11u << 20}) {
    std::string const bytes = mixed(size), expected = storedBytes(makeContent(spool, bytes));
    for (std::size_t const threads : {0u, 1u, 2u, 7u}) {
      DeflateQueue queue;
      queue.setThreads(threads);
      Content const content = written(spool, bytes, queue);
      EXPECT_TRUE(storedBytes(content) == expected) << size << " " << threads;
      EXPECT_TRUE(contentOf(content) == bytes);
    }
  }
}

TEST(DeflateQueue, KeepsContentsApartThatAreWrittenInTurns) {
  auto const spool = makeSpool();
  DeflateQueue queue;
  queue.setThreads(2);
  std::string const a = compressible(12u << 20), b = mixed(12u << 20);
  ContentWriter first(spool, Effort::Default, &queue), second(spool, Effort::Default, &queue);
  for (std::size_t at = 0; at < a.size(); at += 1u << 20) {
    first.write(a.data() + at, 1u << 20);
    second.write(b.data() + at, 1u << 20);
  }
  std::string texts[2];
  first.closeLater([&](Content const& content) { texts[0] = contentOf(content); });
  second.closeLater([&](Content const& content) { texts[1] = contentOf(content); });
  queue.deliverAll();
  EXPECT_TRUE(texts[0] == a);
  EXPECT_TRUE(texts[1] == b);
}

TEST(DeflateQueue, ForgetsAContentThatIsAbandoned) {
  auto const spool = makeSpool();
  DeflateQueue queue;
  queue.setThreads(2);
  std::string const bytes = compressible(12u << 20);
  { ContentWriter(spool, Effort::Default, &queue).write(bytes.data(), bytes.size()); }
  Content const next = written(spool, bytes, queue);
  EXPECT_TRUE(contentOf(next) == bytes);
}

}  // namespace
}  // namespace opc::model::zip
