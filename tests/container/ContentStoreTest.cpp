// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "container/ContentStore.hpp"
#include "container/ZipTestSupport.hpp"
#include "opc/model/Exceptions.hpp"
#include "support/TestSupport.hpp"

namespace opc::model::zip {
namespace {
using namespace zt_test;

ContentStore::Number put(ContentStore& store, std::string const& bytes, Effort effort = Effort::Default) {
  auto const writer = store.write(effort);
  for (std::size_t at = 0; at < bytes.size(); at += 300'000)
    writer->write(bytes.data() + at, std::min<std::size_t>(300'000, bytes.size() - at));
  return writer->finish();
}

std::string textOf(ContentStore& store, ContentStore::Number number) { return readAll(*store.read(number, "item")); }

class StoreWithThreads : public testing::TestWithParam<std::size_t> {
 protected:
  StoreWithThreads() { store_.setThreads(GetParam()); }

  ContentStore store_;
};

INSTANTIATE_TEST_SUITE_P(ContentStore, StoreWithThreads, testing::Values(0, 1, 4));

TEST_P(StoreWithThreads, GivesBackWhatWasWritten) {
  std::vector<ContentStore::Number> numbers;
  std::vector<std::string> const texts{"", "a", mixed(100'000), compressible((2u << 20) + 1), incompressible(70'000)};
  for (auto const& text : texts) numbers.push_back(put(store_, text));
  for (std::size_t i = 0; i < texts.size(); ++i) EXPECT_TRUE(textOf(store_, numbers[i]) == texts[i]) << i;
}

TEST_P(StoreWithThreads, StoresTheSameBytesAsWithoutThem) {
  std::string const text = mixed(9u << 20);
  ContentStore alone;
  EXPECT_TRUE(storedBytes(store_.content(put(store_, text))) == storedBytes(alone.content(put(alone, text))));
}

TEST_P(StoreWithThreads, WritesAContentHereAndNow) {
  auto const number = store_.write(Effort::Default, [](OutputStream& output) { output.write("now", 3); });
  EXPECT_EQ(textOf(store_, number), "now");
}

TEST_P(StoreWithThreads, KeepsContentsApartThatAreWrittenInTurns) {
  std::string const a = compressible(9u << 20), b = incompressible(9u << 20);
  auto const first = store_.write(Effort::Default), second = store_.write(Effort::Default);
  for (std::size_t at = 0; at < a.size(); at += 1u << 20) {
    first->write(a.data() + at, 1u << 20);
    second->write(b.data() + at, 1u << 20);
  }
  auto const numberOfB = second->finish(), numberOfA = first->finish();
  EXPECT_TRUE(textOf(store_, numberOfA) == a);
  EXPECT_TRUE(textOf(store_, numberOfB) == b);
}

TEST_P(StoreWithThreads, UsesNumbersAgainThatWereGivenUp) {
  auto const given = put(store_, "old");
  store_.discard(given);
  store_.settle();
  auto const next = put(store_, "new"), another = put(store_, "another");
  EXPECT_EQ(next, given);
  EXPECT_NE(another, next);
  EXPECT_EQ(textOf(store_, next), "new");
  EXPECT_EQ(textOf(store_, another), "another");
}

TEST_P(StoreWithThreads, ForgetsAContentThatIsAbandoned) {
  std::string const text = compressible(9u << 20);
  store_.write(Effort::Default)->write(text.data(), text.size());
  EXPECT_TRUE(textOf(store_, put(store_, text)) == text);
}

TEST_P(StoreWithThreads, LetsReadersGoOnWhenItStartsAgain) {
  std::string const text = incompressible(100'000);
  auto const number = put(store_, text);
  auto const input = store_.read(number, "item");
  Content const content = store_.content(number);
  store_.restart({});
  EXPECT_EQ(put(store_, "next"), 0U);
  EXPECT_TRUE(readAll(*input) == text);
  EXPECT_TRUE(contentOf(content) == text);
}

TEST_P(StoreWithThreads, TellsWhatFailedUntilItIsDone) {
  TemporaryDirectory directory;
  std::string const gone = (directory / "gone").string(), text = incompressible(2'000'000);  // three exceed the memory
  store_.restart(gone);
  EXPECT_THROW(
      {
        for (int i = 0; i < 3; ++i) put(store_, text);
        store_.settle();
      },
      CouldNotSavePackage);
  if (GetParam() > 0) {
    EXPECT_THROW(store_.settle(), CouldNotSavePackage);
  }
  std::filesystem::create_directory(gone);
  store_.settle();
  EXPECT_TRUE(textOf(store_, put(store_, text)) == text);
}

TEST_P(StoreWithThreads, MovesNothingBecauseALongContentIsUnderWay) {
  auto const first = put(store_, "first");
  Content const before = store_.content(first);
  auto const writer = store_.write(Effort::Store);
  std::string const text = incompressible(1u << 20);
  for (int i = 0; i < 40; ++i) writer->write(text.data(), text.size());
  put(store_, "second");
  auto const third = writer->finish();
  put(store_, "fourth");
  EXPECT_EQ(store_.content(first).spool, before.spool);
  EXPECT_EQ(store_.content(third).size, 40u << 20);
}

TEST_P(StoreWithThreads, DropsTheBytesOfContentsThatWereDiscarded) {
  auto const kept = put(store_, "kept");
  std::string const text = incompressible(20u << 20);
  store_.discard(put(store_, text));
  store_.settle();
  auto const next = put(store_, "next");
  EXPECT_LT(store_.content(next).spool->size(), 1u << 20);
  EXPECT_EQ(textOf(store_, kept), "kept");
}

TEST(ContentStore, RefusesAWriteBehindTheEnd) {
  ContentStore store;
  auto const writer = store.write(Effort::Default);
  writer->finish();
  EXPECT_THROW(writer->write("x", 1), StreamError);
}

TEST(ContentStore, GivesANumberBackThatCouldNotBeFinished) {
  TemporaryDirectory directory;
  ContentStore store((directory / "gone").string());
  std::string const text = incompressible(5u << 20);
  EXPECT_THROW(put(store, text), CouldNotSavePackage);
  EXPECT_EQ(put(store, "x"), 0U);
}

}  // namespace
}  // namespace opc::model::zip
