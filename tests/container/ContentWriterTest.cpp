// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "container/ContentWriter.hpp"
#include "container/Deflate.hpp"
#include "container/Spool.hpp"
#include "container/ZipTestSupport.hpp"
#include "opc/Streams.hpp"
#include "opc/model/ContainerExceptions.hpp"
#include "opc/model/InvalidState.hpp"
#include "support/TestSupport.hpp"

namespace opc::model::zip {
namespace {
using namespace zt_test;

constexpr std::size_t kWhole = kWholeBytes;
constexpr std::size_t kChunk = 1u << 20;

class SizesAroundTheLimits : public testing::TestWithParam<std::size_t> {};

INSTANTIATE_TEST_SUITE_P(ContentWriter, SizesAroundTheLimits,
                         testing::Values(0, 1, 15, 16, 17, 4096, (64u << 10) - 1, 64u << 10, (64u << 10) + 1,
                                         kChunk - 1, kChunk, kChunk + 1, kWhole - 1, kWhole, kWhole + 1, 3 * kChunk - 1,
                                         3 * kChunk, 3 * kChunk + 1, 9 * kChunk));

TEST_P(SizesAroundTheLimits, ReadBackAsTheyWereWritten) {
  auto const spool = makeSpool();
  for (auto const& bytes : {compressible(GetParam()), incompressible(GetParam()), mixed(GetParam())}) {
    Content const content = makeContent(spool, bytes, 300'000);
    EXPECT_EQ(content.size, bytes.size());
    EXPECT_TRUE(contentOf(content) == bytes);
  }
}

TEST_P(SizesAroundTheLimits, GiveTheSameBytesHoweverTheyAreWritten) {
  std::string const bytes = mixed(GetParam());
  auto const spool = makeSpool();
  std::string const atOnce = storedBytes(makeContent(spool, bytes, kWhole * 4));
  for (std::size_t const step : {std::size_t{4096}, kChunk, kChunk + 1, kWhole})
    EXPECT_TRUE(storedBytes(makeContent(spool, bytes, step)) == atOnce) << step;
}

TEST(ContentWriter, GivesTheSameBytesAtEveryChunkSize) {
  std::string const bytes = compressible(70'000);
  auto const spool = makeSpool();
  std::string const atOnce = storedBytes(makeContent(spool, bytes));
  for (std::size_t const step : {1ul, 2ul, 15ul, 16ul, 17ul, 4096ul})
    EXPECT_TRUE(storedBytes(makeContent(spool, bytes, step)) == atOnce) << step;
}

TEST(ContentWriter, StoresWhatDoesNotShrink) {
  for (std::size_t const size : {std::size_t{100}, std::size_t{100'000}, kWhole + 1}) {
    Content const content = makeContent(makeSpool(), incompressible(size));
    EXPECT_EQ(content.method, 0) << size;
    EXPECT_EQ(content.storedSize, size);
  }
}

TEST(ContentWriter, DecidesByTheBeginning) {
  EXPECT_EQ(makeContent(makeSpool(), incompressible(70'000) + compressible(70'000)).method, 0);
  EXPECT_EQ(makeContent(makeSpool(), compressible(70'000) + incompressible(70'000)).method, 8);
}

TEST(ContentWriter, StoresEmptyContentInNoBytes) {
  Content const content = makeContent(makeSpool(), "");
  EXPECT_EQ(content.method, 0);
  EXPECT_EQ(content.storedSize, 0u);
  EXPECT_EQ(content.crc, 0u);
  EXPECT_TRUE(content.open("empty")->isEnd());
}

TEST(ContentWriter, DeflatesHarderWithMoreEffort) {
  std::string const bytes = compressible(500'000);
  auto const spool = makeSpool();
  auto const stored = [&](Effort effort) { return makeContent(spool, bytes, kChunk, effort).storedSize; };
  EXPECT_LT(stored(Effort::Default), stored(Effort::Fast));
  EXPECT_LE(stored(Effort::Small), stored(Effort::Default));
}

TEST(ContentWriter, DeflatesLongContentWithEveryEffort) {
  std::string const bytes = compressible(kWhole + 100);
  for (Effort const effort : {Effort::Fast, Effort::Default, Effort::Small}) {
    Content const content = makeContent(makeSpool(), bytes, kChunk, effort);
    EXPECT_EQ(content.method, 8);
    EXPECT_TRUE(contentOf(content) == bytes);
  }
}

TEST(ContentWriter, KeepsContentsThatAreWrittenInTurnsApart) {
  auto const spool = makeSpool();
  std::string const a = incompressible(3 * kWhole, 1), b = mixed(3 * kWhole), c = compressible(1000);
  ContentWriter first(spool, Effort::Default), second(spool, Effort::Default);
  std::vector<Content> others;
  for (std::size_t at = 0; at < a.size(); at += kChunk) {
    first.write(a.data() + at, kChunk);
    second.write(b.data() + at, kChunk);
    others.push_back(makeContent(spool, c));
  }
  first.close();
  second.close();
  EXPECT_TRUE(contentOf(first.content()) == a);
  EXPECT_TRUE(contentOf(second.content()) == b);
  for (auto const& other : others) EXPECT_EQ(contentOf(other), c);
}

TEST(ContentWriter, UsesThePlaceOfAnAbandonedOneAgain) {
  auto const spool = makeSpool();
  { ContentWriter(spool, Effort::Default).write(incompressible(kWhole + 1).data(), kWhole + 1); }
  Content const first = makeContent(spool, incompressible(kWhole + 1));
  Content const second = makeContent(spool, incompressible(kWhole + 1));
  EXPECT_EQ(first.spool, second.spool);
  EXPECT_TRUE(contentOf(first) == contentOf(second));
}

TEST(ContentWriter, HasNoContentBeforeItIsClosed) {
  ContentWriter writer(makeSpool(), Effort::Default);
  EXPECT_THROW_MESSAGE(writer.content(), InvalidState, "The content is not complete");
  writer.close();
  EXPECT_EQ(writer.content().size, 0u);
}

TEST(ContentWriter, RefusesAWriteAfterClose) {
  ContentWriter writer(makeSpool(), Effort::Default);
  writer.close();
  writer.close();
  EXPECT_THROW_MESSAGE(writer.write("x", 1), StreamError, "The stream is closed");
}

TEST(ContentWriter, ThrowsAFailedWriteAgain) {
  TemporaryDirectory directory;
  auto const spool = std::make_shared<Spool>((directory / "gone").string());
  ContentWriter writer(spool, Effort::Default);
  std::string const bytes = incompressible(Spool::kMemoryLimit + (2u << 20));
  std::string const message =
      "Could not save package: " + (directory / "gone").string() + ": No such file or directory";
  EXPECT_THROW_MESSAGE(writer.write(bytes.data(), bytes.size()), CouldNotSavePackage, message);
  EXPECT_THROW_MESSAGE(writer.write("x", 1), CouldNotSavePackage, message);
  EXPECT_THROW_MESSAGE(writer.close(), CouldNotSavePackage, message);
  EXPECT_THROW(writer.content(), InvalidState);
}

TEST(ContentWriter, ThrowsWhatCloseCouldNotWrite) {
  TemporaryDirectory directory;
  auto const spool = std::make_shared<Spool>((directory / "gone").string(), 10);
  ContentWriter writer(spool, Effort::Default);
  writer.write(incompressible(100).data(), 100);
  EXPECT_THROW(writer.close(), CouldNotSavePackage);
  EXPECT_THROW(writer.close(), CouldNotSavePackage);
}

TEST(Content, IsVerifiedWhenItIsRead) {
  Content content = makeContent(makeSpool(), compressible(1000));
  content.crc ^= 1;
  EXPECT_THROW_MESSAGE(content.open("/a.txt"), InvalidItem, "Item \"/a.txt\": wrong CRC");
}

TEST(Content, KeepsItsSpoolAlive) {
  Content const content = makeContent(makeSpool(), incompressible(kWhole + 5));
  auto const stream = Content(content).open("a");
  EXPECT_TRUE(readAll(*stream) == incompressible(kWhole + 5));
}

TEST(Deflate, ProbeWantsAClearGain) {
  EXPECT_TRUE(doesShrink(compressible(kProbeSize).data(), kProbeSize));
  EXPECT_FALSE(doesShrink(incompressible(kProbeSize).data(), kProbeSize));
  // One part in a hundred is text.
  std::string const poor = incompressible(kProbeSize - 650) + compressible(650);
  EXPECT_FALSE(doesShrink(poor.data(), poor.size()));
}

TEST(ContentWriter, StoresWithoutEffort) {
  for (std::size_t const size : {0u, 100u, 100'000u, 9'000'000u}) {
    std::string const bytes = compressible(size);
    Content const content = makeContent(makeSpool(), bytes, 1 << 20, Effort::Store);
    EXPECT_EQ(content.method, 0);
    EXPECT_EQ(content.storedSize, size);
    EXPECT_TRUE(contentOf(content) == bytes);
  }
}

}  // namespace
}  // namespace opc::model::zip
