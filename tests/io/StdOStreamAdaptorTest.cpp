// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <fstream>
#include <gmock/gmock.h>
#include <sstream>
#include <string>

#include "io/StreamSamples.hpp"
#include "opc/Streams.hpp"
#include "support/TestSupport.hpp"

namespace {

using core_test::FullOutput;
using core_test::kSteps;
using core_test::sampleText;
using core_test::UnflushableOutput;

constexpr char kWriteError[] = "Could not write to the stream";

TEST(StdOStreamAdaptor, TakesEveryByteAtEveryStep) {
  std::string const text = sampleText(10'000);
  for (std::size_t const step : kSteps) {
    std::ostringstream stream;
    opc::StdOStreamAdaptor output(stream);
    for (std::size_t i = 0; i < text.size(); i += step) output.write(text.data() + i, std::min(step, text.size() - i));
    output.close();
    EXPECT_EQ(stream.str(), text) << "step " << step;
  }
}

TEST(StdOStreamAdaptor, ThrowsAtTheWriteThatFails) {
  for (std::size_t room = 0; room < 5; ++room) {
    FullOutput buffer(room);
    std::ostream stream(&buffer);
    opc::StdOStreamAdaptor output(stream);
    for (std::size_t i = 0; i < room; ++i) output.write("x", 1);
    EXPECT_THROW_MESSAGE(output.write("x", 1), opc::StreamError, kWriteError);
  }
}

TEST(StdOStreamAdaptor, ThrowsAgainAtCloseAfterAFailedWrite) {
  FullOutput buffer(1);
  std::ostream stream(&buffer);
  opc::StdOStreamAdaptor output(stream);
  EXPECT_THROW(output.write("xy", 2), opc::StreamError);
  EXPECT_THROW_MESSAGE(output.close(), opc::StreamError, kWriteError);
}

TEST(StdOStreamAdaptor, ThrowsWhenTheFlushFails) {
  UnflushableOutput buffer;
  std::ostream stream(&buffer);
  opc::StdOStreamAdaptor output(stream);
  output.write("x", 1);
  EXPECT_THROW_MESSAGE(output.close(), opc::StreamError, kWriteError);
}

TEST(StdOStreamAdaptor, ThrowsItsOwnErrorWhereTheStreamThrows) {
  FullOutput buffer(0);
  std::ostream stream(&buffer);
  stream.exceptions(std::ios::badbit | std::ios::failbit);
  opc::StdOStreamAdaptor output(stream);
  EXPECT_THROW_MESSAGE(output.write("x", 1), opc::StreamError, kWriteError);
}

TEST(StdOStreamAdaptor, ThrowsForAStreamThatHadFailedBefore) {
  std::ofstream stream("/nonexistent/file");
  opc::StdOStreamAdaptor output(stream);
  EXPECT_THROW_MESSAGE(output.write("x", 1), opc::StreamError, kWriteError);
}

TEST(StdOStreamAdaptor, DoesNothingAtASecondClose) {
  UnflushableOutput buffer;
  std::ostream stream(&buffer);
  opc::StdOStreamAdaptor output(stream);
  EXPECT_THROW(output.close(), opc::StreamError);
  EXPECT_NO_THROW(output.close());
}

TEST(StdOStreamAdaptor, RefusesAWriteAfterClose) {
  std::ostringstream stream;
  opc::StdOStreamAdaptor output(stream);
  output.close();
  EXPECT_THROW_MESSAGE(output.write("x", 1), opc::StreamError, kWriteError);
  EXPECT_EQ(stream.str(), "");
}

TEST(StdOStreamAdaptor, LeavesTheStreamItselfOpen) {
  zt_test::TemporaryDirectory directory;
  std::ofstream stream(directory / "file");
  opc::StdOStreamAdaptor output(stream);
  output.write("a", 1);
  output.close();
  EXPECT_TRUE(stream.is_open());
  EXPECT_EQ(zt_test::readFile(directory / "file"), "a");
}

}  // namespace
