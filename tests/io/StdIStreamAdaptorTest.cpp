// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <fstream>
#include <gmock/gmock.h>
#include <sstream>
#include <stdexcept>
#include <string>

#include "io/StreamSamples.hpp"
#include "opc/Streams.hpp"
#include "support/TestSupport.hpp"

namespace {

using core_test::kSteps;
using core_test::sampleText;
using core_test::ThrowingInput;
using zt_test::readAll;

constexpr char kReadError[] = "Could not read from the stream";
constexpr char kResetError[] = "Could not go back to the beginning of the stream";

TEST(StdIStreamAdaptor, DeliversEveryByteAtEveryStep) {
  std::string const text = sampleText(10'000);
  for (std::size_t const step : kSteps) {
    std::istringstream stream(text);
    opc::StdIStreamAdaptor input(stream);
    EXPECT_EQ(readAll(input, step), text) << "step " << step;
  }
}

TEST(StdIStreamAdaptor, IsAtItsEndAtOnceWhenEmpty) {
  std::istringstream stream;
  opc::StdIStreamAdaptor input(stream);
  char byte;
  EXPECT_TRUE(input.isEnd());
  EXPECT_EQ(input.read(&byte, 1), 0u);
}

TEST(StdIStreamAdaptor, LooksAheadForTheEnd) {
  std::istringstream stream("ab");
  opc::StdIStreamAdaptor input(stream);
  char pair[2];
  EXPECT_FALSE(input.isEnd());
  EXPECT_EQ(input.read(pair, 2), 2u);
  EXPECT_TRUE(input.isEnd());
}

TEST(StdIStreamAdaptor, ReadsNothingWhereNothingIsAsked) {
  std::istringstream stream("a");
  opc::StdIStreamAdaptor input(stream);
  EXPECT_EQ(input.read(nullptr, 0), 0u);
  EXPECT_FALSE(input.isEnd());
}

TEST(StdIStreamAdaptor, ReadsZeroBytesAgainAndAgainAtTheEnd) {
  std::istringstream stream("a");
  opc::StdIStreamAdaptor input(stream);
  char two[2];
  EXPECT_EQ(input.read(two, 2), 1u);
  EXPECT_EQ(input.read(two, 2), 0u);
  EXPECT_EQ(input.read(two, 2), 0u);
}

TEST(StdIStreamAdaptor, ReadsAgainAfterClearAndReset) {
  std::istringstream stream("again");
  opc::StdIStreamAdaptor input(stream);
  EXPECT_EQ(readAll(input), "again");
  input.clear();
  input.reset();
  EXPECT_EQ(readAll(input), "again");
}

TEST(StdIStreamAdaptor, StaysReadableAfterClearAndResetOfAnEmptyStream) {
  std::istringstream stream;
  opc::StdIStreamAdaptor input(stream);
  EXPECT_TRUE(input.isEnd());
  input.clear();
  input.reset();
  EXPECT_TRUE(input.isEnd());
}

TEST(StdIStreamAdaptor, GoesBackToTheFirstByteOfAStreamHandedOverInTheMiddle) {
  std::istringstream stream("abc");
  stream.get();
  opc::StdIStreamAdaptor input(stream);
  input.reset();
  EXPECT_EQ(readAll(input), "abc");
}

TEST(StdIStreamAdaptor, ThrowsWhereTheStreamCannotSeek) {
  ThrowingInput buffer(3);
  std::istream stream(&buffer);
  opc::StdIStreamAdaptor input(stream);
  EXPECT_THROW_MESSAGE(input.reset(), opc::StreamError, kResetError);
}

TEST(StdIStreamAdaptor, ThrowsWhereASeekFailureThrows) {
  ThrowingInput buffer(3);
  std::istream stream(&buffer);
  stream.exceptions(std::ios::failbit);
  opc::StdIStreamAdaptor input(stream);
  EXPECT_THROW_MESSAGE(input.reset(), opc::StreamError, kResetError);
}

TEST(StdIStreamAdaptor, ThrowsWhenTheStreamGoesBadWhileReading) {
  ThrowingInput buffer(3);
  std::istream stream(&buffer);
  opc::StdIStreamAdaptor input(stream);
  char four[4];
  EXPECT_THROW_MESSAGE(input.read(four, 4), opc::StreamError, kReadError);
}

TEST(StdIStreamAdaptor, ThrowsWhenTheStreamGoesBadWhileLookingAhead) {
  ThrowingInput buffer(0);
  std::istream stream(&buffer);
  opc::StdIStreamAdaptor input(stream);
  EXPECT_THROW_MESSAGE(input.isEnd(), opc::StreamError, kReadError);
}

TEST(StdIStreamAdaptor, LetsTheBuffersExceptionOutWhereTheStreamDoes) {
  ThrowingInput buffer(3);
  std::istream stream(&buffer);
  stream.exceptions(std::ios::badbit);
  opc::StdIStreamAdaptor input(stream);
  char four[4];
  EXPECT_THROW_MESSAGE(input.read(four, 4), std::runtime_error, "the buffer failed");
}

TEST(StdIStreamAdaptor, TreatsTheEndAsNoFailureWhereTheStreamThrowsThere) {
  std::istringstream stream("abc");
  stream.exceptions(std::ios::failbit | std::ios::eofbit | std::ios::badbit);
  opc::StdIStreamAdaptor input(stream);
  char four[4];
  EXPECT_EQ(input.read(four, 4), 3u);
  EXPECT_TRUE(input.isEnd());
}

TEST(StdIStreamAdaptor, ThrowsForAFileThatWasNeverOpened) {
  std::ifstream stream("/nonexistent/file");
  opc::StdIStreamAdaptor input(stream);
  char byte;
  EXPECT_THROW_MESSAGE(input.isEnd(), opc::StreamError, kReadError);
  EXPECT_THROW_MESSAGE(input.read(&byte, 1), opc::StreamError, kReadError);
}

TEST(StdIStreamAdaptor, ThrowsForAStreamWithoutABuffer) {
  std::istream stream(nullptr);
  opc::StdIStreamAdaptor input(stream);
  EXPECT_THROW_MESSAGE(input.isEnd(), opc::StreamError, kReadError);
}

}  // namespace
