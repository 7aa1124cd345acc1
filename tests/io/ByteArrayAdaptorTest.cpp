// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <gmock/gmock.h>
#include <string>
#include <vector>

#include "io/StreamSamples.hpp"
#include "opc/Streams.hpp"
#include "support/TestSupport.hpp"

namespace {

using core_test::kSteps;
using core_test::sampleText;
using zt_test::bytesOf;
using zt_test::readAll;
using zt_test::textOf;

TEST(ByteArrayInAdaptor, DeliversEveryByteAtEveryStep) {
  std::string const text = sampleText(10'000);
  auto const bytes = bytesOf(text);
  for (std::size_t const step : kSteps) {
    opc::ByteArrayInAdaptor input(bytes);
    EXPECT_EQ(readAll(input, step), text) << "step " << step;
  }
}

TEST(ByteArrayInAdaptor, IsAtItsEndAtOnceWhenEmpty) {
  std::vector<unsigned char> const nothing;
  opc::ByteArrayInAdaptor input(nothing);
  char byte;
  EXPECT_TRUE(input.isEnd());
  EXPECT_EQ(input.read(&byte, 1), 0u);
}

TEST(ByteArrayInAdaptor, IsAtItsEndRightAfterTheLastByte) {
  auto const bytes = bytesOf("ab");
  opc::ByteArrayInAdaptor input(bytes);
  char pair[2];
  EXPECT_FALSE(input.isEnd());
  EXPECT_EQ(input.read(pair, 2), 2u);
  EXPECT_TRUE(input.isEnd());
}

TEST(ByteArrayInAdaptor, ReadsAgainAfterClearAndReset) {
  auto const bytes = bytesOf("again");
  opc::ByteArrayInAdaptor input(bytes);
  EXPECT_EQ(readAll(input), "again");
  input.clear();
  EXPECT_TRUE(input.isEnd());
  input.reset();
  EXPECT_EQ(readAll(input), "again");
}

TEST(ByteArrayInAdaptor, GoesBackFromTheMiddle) {
  auto const bytes = bytesOf("middle");
  opc::ByteArrayInAdaptor input(bytes);
  char three[3];
  input.read(three, 3);
  input.reset();
  EXPECT_EQ(readAll(input), "middle");
}

TEST(ByteArrayInAdaptor, ReadsNothingWhereNothingIsAsked) {
  auto const bytes = bytesOf("a");
  opc::ByteArrayInAdaptor input(bytes);
  EXPECT_EQ(input.read(nullptr, 0), 0u);
  EXPECT_FALSE(input.isEnd());
}

TEST(ByteArrayOutAdaptor, AppendsToWhatIsThere) {
  auto bytes = bytesOf("first ");
  opc::ByteArrayOutAdaptor output(bytes);
  output.write("second", 6);
  output.close();
  EXPECT_EQ(textOf(bytes), "first second");
}

TEST(ByteArrayOutAdaptor, TakesEveryByteAtEveryStep) {
  std::string const text = sampleText(10'000);
  for (std::size_t const step : kSteps) {
    std::vector<unsigned char> bytes;
    opc::ByteArrayOutAdaptor output(bytes);
    for (std::size_t i = 0; i < text.size(); i += step) output.write(text.data() + i, std::min(step, text.size() - i));
    output.close();
    EXPECT_EQ(textOf(bytes), text) << "step " << step;
  }
}

TEST(ByteArrayOutAdaptor, TakesAnEmptyWrite) {
  std::vector<unsigned char> bytes;
  opc::ByteArrayOutAdaptor output(bytes);
  output.write(nullptr, 0);
  EXPECT_TRUE(bytes.empty());
}

TEST(ByteArrayOutAdaptor, MayBeClosedTwice) {
  std::vector<unsigned char> bytes;
  opc::ByteArrayOutAdaptor output(bytes);
  output.write("a", 1);
  output.close();
  output.close();
  EXPECT_EQ(textOf(bytes), "a");
}

}  // namespace
