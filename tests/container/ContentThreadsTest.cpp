// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "container/ContentWriter.hpp"
#include "container/Spool.hpp"
#include "container/ZipTestSupport.hpp"
#include "io/TaskQueue.hpp"

namespace opc::model::zip {
namespace {
using namespace zt_test;

Content written(std::shared_ptr<Spool> const& spool, std::string const& bytes, TaskQueue& queue) {
  ContentWriter writer(spool, Effort::Default, &queue);
  for (std::size_t at = 0; at < bytes.size(); at += 300'000)
    writer.write(bytes.data() + at, std::min<std::size_t>(300'000, bytes.size() - at));
  writer.close();
  return writer.content();
}

TEST(ContentThreads, GivesTheSameStoredBytesForAnyNumberOfThreads) {
  auto const spool = makeSpool();
  for (std::size_t const size : {0u, 1u, 100'000u, (2u << 20) + 1, 5u << 20}) {
    std::string const bytes = mixed(size), expected = storedBytes(makeContent(spool, bytes));
    for (std::size_t const threads : {0u, 1u, 2u, 7u}) {
      TaskQueue queue;
      queue.setThreads(threads);
      Content const content = written(spool, bytes, queue);
      EXPECT_TRUE(storedBytes(content) == expected) << size << " " << threads;
      EXPECT_TRUE(contentOf(content) == bytes);
    }
  }
}

TEST(ContentThreads, KeepsContentsApartThatAreWrittenInTurns) {
  auto const spool = makeSpool();
  TaskQueue queue;
  queue.setThreads(2);
  std::string const a = compressible(6u << 20), b = mixed(6u << 20);
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

TEST(ContentThreads, ForgetsAContentThatIsAbandoned) {
  auto const spool = makeSpool();
  TaskQueue queue;
  queue.setThreads(2);
  std::string const bytes = compressible(6u << 20);
  { ContentWriter(spool, Effort::Default, &queue).write(bytes.data(), bytes.size()); }
  Content const next = written(spool, bytes, queue);
  EXPECT_TRUE(contentOf(next) == bytes);
}

}  // namespace
}  // namespace opc::model::zip
