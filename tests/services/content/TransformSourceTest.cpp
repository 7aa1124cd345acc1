// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gmock/gmock.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "services/content/TransformSamples.hpp"
#include "support/TestSupport.hpp"

namespace opc::ztservices {
namespace {

using namespace content_test;
using testing::ElementsAre;
using testing::IsEmpty;
using zt_test::readAll;

static_assert(!std::is_copy_constructible_v<TransformSource> && !std::is_copy_assignable_v<TransformSource>);

constexpr char kDataFailure[] = "Failure when attempting to transform data for content type:text/plain";

std::unique_ptr<FunctionTransform> make(bool entire, FunctionTransform::Function function, std::string const& text,
                                        Journal* journal = nullptr, std::size_t failAt = 0) {
  return std::make_unique<FunctionTransform>(std::make_unique<ProbeSource>(text, journal, failAt), entire, function);
}

auto inBlocks(FunctionTransform::Function function, std::string const& text, Journal* journal = nullptr) {
  return make(false, function, text, journal);
}

auto asAWhole(FunctionTransform::Function function, std::string const& text, Journal* journal = nullptr) {
  return make(true, function, text, journal);
}

std::string applied(bool (*function)(Bytes const&, Bytes&), std::string const& text) {
  Bytes out;
  function(zt_test::bytesOf(text), out);
  return zt_test::textOf(out);
}

TEST(TransformSource, RefusesANullSource) {
  EXPECT_THROW_MESSAGE(FunctionTransform(nullptr, true, keep), Exception, "There is no content source to transform");
}

TEST(TransformSource, OwnsWhatItWraps) {
  Journal journal;
  auto transform = inBlocks(keep, "text", &journal);
  transform->getInputStream();
  EXPECT_FALSE(journal.destroyed);
  transform.reset();
  EXPECT_TRUE(journal.destroyed);
}

TEST(TransformSource, ContentTypeIsACopyOfTheWrappedOneTransformed) {
  auto const transform = inBlocks(keep, "");
  EXPECT_EQ(transform->getContentType().toString(), u"text/plain;seen=yes");
  EXPECT_EQ(transform->typeGiven, u"text/plain");
  EXPECT_EQ(transform->copyGiven, u"text/plain");
}

TEST(TransformSource, ContentTypeIsWorkedOutAtEachCall) {
  auto const transform = inBlocks(keep, "");
  transform->getContentType();
  transform->refuseType = true;
  EXPECT_THROW(transform->getContentType(), CouldNotTransformContentType);
  transform->refuseType = false;
  EXPECT_TRUE(transform->getContentType().hasParameter(u"seen"));
}

TEST(TransformSource, RefusedContentTypeIsNamedWithoutABlank) {
  auto const transform = inBlocks(keep, "");
  transform->refuseType = true;
  EXPECT_THROW_MESSAGE(transform->getContentType(), CouldNotTransformContentType,
                       "Failure when attempting to transform content type:text/plain");
}

TEST(TransformSource, FailuresCarryAnEmptyCode) {
  auto const transform = asAWhole(fail, "");
  transform->refuseType = true;
  try {
    transform->getContentType();
    ADD_FAILURE();
  } catch (CouldNotTransformContentType const& thrown) {
    EXPECT_EQ(thrown.getErrorCode(), boost::system::error_code());
  }
  try {
    transform->getInputStream();
    ADD_FAILURE();
  } catch (CouldNotTransformContentData const& thrown) {
    EXPECT_EQ(thrown.getErrorCode(), boost::system::error_code());
  }
}

TEST(TransformSource, HandsOutOneStreamAndAsksOnceHowToTransform) {
  for (bool const entire : {true, false}) {
    auto const transform = make(entire, keep, "text");
    EXPECT_EQ(&transform->getInputStream(), &transform->getInputStream());
    EXPECT_EQ(transform->asked, 1);
  }
}

TEST(TransformSource, TransformsAlikeInReadsOfAnySize) {
  std::string const text = sampleText(10'000);
  for (auto const function : {keep, twice, shrink, swallow})
    for (bool const entire : {true, false})
      for (std::size_t const step : kSteps) {
        auto const transform = make(entire, function, text);
        EXPECT_EQ(readAll(transform->getInputStream(), step), applied(function, text)) << step << entire;
        EXPECT_TRUE(transform->getInputStream().isEnd());
        EXPECT_TRUE(transform->emptyOutput);
      }
}

TEST(TransformSource, FailsAlikeInReadsOfAnySize) {
  for (std::size_t const step : kSteps) {
    auto const blocks = inBlocks(fail, "text");
    EXPECT_THROW_MESSAGE(readAll(blocks->getInputStream(), step), CouldNotTransformContentData, kDataFailure);
    auto const whole = asAWhole(fail, "text");
    EXPECT_THROW_MESSAGE(readAll(whole->getInputStream(), step), CouldNotTransformContentData, kDataFailure);
  }
}

TEST(TransformSource, TransformsStack) {
  std::string const text = sampleText(1000);
  for (std::size_t const step : kSteps)
    for (bool const entire : {true, false}) {
      FunctionTransform outer(inBlocks(shrink, text), entire, twice);
      EXPECT_EQ(readAll(outer.getInputStream(), step), applied(twice, applied(shrink, text)));
    }
}

TEST(TransformSource, ExceptionOfTheTransformComesThrough) {
  auto const throwing = [](Bytes const&, Bytes& out) -> bool {
    out.assign(5, 'x');
    throw std::logic_error("of the transform");
  };
  EXPECT_THROW_MESSAGE(asAWhole(throwing, "t")->getInputStream(), std::logic_error, "of the transform");
  auto const blocks = inBlocks(throwing, "t");
  EXPECT_THROW_MESSAGE(readAll(blocks->getInputStream()), std::logic_error, "of the transform");
  EXPECT_EQ(readAll(blocks->getInputStream()), "") << "what the failed block left behind";
}

TEST(EntireStreamTransform, ReadsAndTransformsEverythingInTheFirstCall) {
  Journal journal;
  auto const transform = asAWhole(keep, sampleText(200'000), &journal);
  EXPECT_THAT(journal.reads, IsEmpty());
  transform->getInputStream();
  EXPECT_THAT(transform->blocks, ElementsAre(200'000U));
  std::size_t const reads = journal.reads.size();
  readAll(transform->getInputStream());
  EXPECT_EQ(journal.reads.size(), reads);
  EXPECT_THAT(transform->blocks, ElementsAre(200'000U));
}

TEST(EntireStreamTransform, OfNothingTransformsOneEmptyVector) {
  auto const transform = asAWhole(keep, "");
  EXPECT_TRUE(transform->getInputStream().isEnd());
  EXPECT_THAT(transform->blocks, ElementsAre(0U));
}

TEST(EntireStreamTransform, CanMakeSomethingOfNothing) {
  auto const transform = asAWhole([](Bytes const&, Bytes& out) { return out.assign(3, 'x'), true; }, "");
  EXPECT_EQ(readAll(transform->getInputStream()), "xxx");
}

TEST(EntireStreamTransform, FailureLeavesItWithoutATransformerAndTheNextCallTriesAgain) {
  bool succeed = false;
  auto const transform = asAWhole([&](Bytes const& in, Bytes& out) { return keep(in, out) && succeed; }, "text");
  EXPECT_THROW_MESSAGE(transform->getInputStream(), CouldNotTransformContentData, kDataFailure);
  succeed = true;
  EXPECT_EQ(readAll(transform->getInputStream()), "") << "the source was read by the first call";
  EXPECT_EQ(transform->asked, 2);
  EXPECT_THAT(transform->blocks, ElementsAre(4U, 0U));
}

TEST(EntireStreamTransform, StreamCanBeReadAgain) {
  auto const transform = asAWhole(twice, "ab");
  EXPECT_EQ(readAll(transform->getInputStream()), "aabb");
  transform->getInputStream().clear();
  transform->getInputStream().reset();
  EXPECT_EQ(readAll(transform->getInputStream()), "aabb");
}

TEST(EntireStreamTransform, FailureOfTheSourceComesThroughAtEachOfItsReads) {
  std::string const text = sampleText(5 * 65'536);
  for (std::size_t failAt = 1; failAt <= 5; ++failAt) {
    auto const transform = make(true, keep, text, nullptr, failAt);
    EXPECT_THROW(transform->getInputStream(), ProbeFailure) << failAt;
    EXPECT_THAT(transform->blocks, IsEmpty());
  }
}

TEST(SingleBufferTransform, ReadsNothingBeforeItIsRead) {
  Journal journal;
  auto const transform = inBlocks(keep, "text", &journal);
  EXPECT_FALSE(transform->getInputStream().isEnd());
  EXPECT_THAT(journal.reads, IsEmpty());
}

TEST(SingleBufferTransform, BlockIsAsLargeAsTheReadThatAsksForIt) {
  Journal journal;
  auto const transform = inBlocks(keep, sampleText(100), &journal);
  char buffer[100];
  for (std::size_t const count : {7U, 1U, 60U, 100U}) transform->getInputStream().read(buffer, count);
  EXPECT_THAT(journal.reads, ElementsAre(7U, 1U, 60U, 100U));
  EXPECT_THAT(transform->blocks, ElementsAre(7U, 1U, 60U, 32U));
}

TEST(SingleBufferTransform, SurplusWaitsForTheNextReadWithoutReadingOn) {
  Journal journal;
  auto const transform = inBlocks(twice, "0123456789abcdefghij", &journal);
  char buffer[10];
  InputStream& stream = transform->getInputStream();
  EXPECT_EQ(stream.read(buffer, 10), 10U);
  EXPECT_EQ(std::string(buffer, 10), "0011223344");
  EXPECT_EQ(stream.read(buffer, 10), 10U);
  EXPECT_EQ(std::string(buffer, 10), "5566778899");
  EXPECT_THAT(journal.reads, ElementsAre(10U));
}

TEST(SingleBufferTransform, IsNotAtItsEndWhileOutputIsPending) {
  auto const transform = inBlocks(twice, "ab");
  char buffer[3];
  InputStream& stream = transform->getInputStream();
  EXPECT_EQ(stream.read(buffer, 3), 3U);
  EXPECT_FALSE(stream.isEnd());
  EXPECT_EQ(stream.read(buffer, 3), 1U);
  EXPECT_TRUE(stream.isEnd());
}

TEST(SingleBufferTransform, BlockThatBecomesNothingDeliversNothingBeforeTheEnd) {
  auto const transform = inBlocks(swallow, "abcd");
  char buffer[2];
  InputStream& stream = transform->getInputStream();
  EXPECT_EQ(stream.read(buffer, 2), 0U);
  EXPECT_FALSE(stream.isEnd());
  EXPECT_EQ(stream.read(buffer, 2), 0U);
  EXPECT_TRUE(stream.isEnd());
}

TEST(SingleBufferTransform, AtTheEndAReadDeliversNothingWithoutTransforming) {
  Journal journal;
  auto const transform = inBlocks(keep, "", &journal);
  char buffer[4];
  EXPECT_TRUE(transform->getInputStream().isEnd());
  EXPECT_EQ(transform->getInputStream().read(buffer, 4), 0U);
  EXPECT_EQ(transform->getInputStream().read(buffer, 0), 0U);
  EXPECT_THAT(transform->blocks, IsEmpty());
  EXPECT_THAT(journal.reads, IsEmpty());
}

TEST(SingleBufferTransform, BeforeTheEndAReadThatGetsNothingTransformsAnEmptyBlock) {
  auto const transform = inBlocks(keep, "text");
  EXPECT_EQ(transform->getInputStream().read(nullptr, 0), 0U);
  EXPECT_THAT(transform->blocks, ElementsAre(0U));
  EXPECT_EQ(readAll(transform->getInputStream()), "text");
}

TEST(SingleBufferTransform, FailureSkipsTheBlockAndLeavesNothingPending) {
  int calls = 0;
  auto const transform = inBlocks([&](Bytes const& in, Bytes& out) { return twice(in, out) && ++calls != 2; }, "abcd");
  char buffer[4];
  InputStream& stream = transform->getInputStream();
  EXPECT_EQ(stream.read(buffer, 1), 1U);
  EXPECT_EQ(stream.read(buffer, 1), 1U);
  EXPECT_THROW_MESSAGE(stream.read(buffer, 2), CouldNotTransformContentData, kDataFailure);
  EXPECT_EQ(stream.read(buffer, 4), 2U);
  EXPECT_EQ(std::string(buffer, 2), "dd");
}

TEST(SingleBufferTransform, FailureOfTheSourceComesThroughAtEachOfItsReads) {
  std::string const text = sampleText(100);
  for (std::size_t failAt = 1; failAt <= 7; ++failAt) {
    auto const transform = make(false, keep, text, nullptr, failAt);
    EXPECT_THROW(readAll(transform->getInputStream(), 16), ProbeFailure) << failAt;
    EXPECT_EQ(readAll(transform->getInputStream(), 16), text.substr((failAt - 1) * 16)) << failAt;
  }
}

TEST(SingleBufferTransform, ResetAndClearAreThoseOfTheWrappedStream) {
  Journal journal;
  auto const transform = inBlocks(keep, "text", &journal);
  EXPECT_EQ(readAll(transform->getInputStream()), "text");
  transform->getInputStream().clear();
  transform->getInputStream().reset();
  EXPECT_EQ(journal.clears, 1);
  EXPECT_EQ(journal.resets, 1);
  EXPECT_EQ(readAll(transform->getInputStream()), "text");
}

TEST(SingleBufferTransform, ResetLeavesPendingOutputAsItIs) {
  auto const transform = inBlocks(twice, "ab");
  char buffer[1];
  transform->getInputStream().read(buffer, 1);
  transform->getInputStream().reset();
  EXPECT_EQ(readAll(transform->getInputStream()), "aaabb");
}

TEST(SingleBufferTransform, ManySmallReadsOfOneLargeBlockTakeNoLongerThanTheyMust) {
  auto const transform = inBlocks([](Bytes const&, Bytes& out) { return out.assign(4'000'000, 'x'), true; }, "t");
  EXPECT_EQ(readAll(transform->getInputStream(), 1).size(), 4'000'000U);
}

}  // namespace
}  // namespace opc::ztservices
