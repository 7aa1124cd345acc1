// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>

#include "disk/CheckedStreams.hpp"
#include "disk/FilesAhead.hpp"

namespace ztpkg {
namespace {

FileContent contentOf(std::string const& text) {
  FileContent content(text.size());
  std::copy(text.begin(), text.end(), content.data());
  return content;
}

std::string rest(std::istream& input) { return {std::istreambuf_iterator<char>(input), {}}; }

TEST(HeldInput, ReadsWhatItHoldsAndEnds) {
  HeldInput held(contentOf("alpha"));
  std::istream input(&held);
  EXPECT_EQ(rest(input), "alpha");
  EXPECT_EQ(input.get(), std::istream::traits_type::eof());
  EXPECT_TRUE(input.eof());
}

TEST(HeldInput, EndsAtOnceWhereItHoldsNothing) {
  HeldInput held(contentOf(""));
  std::istream input(&held);
  EXPECT_EQ(input.peek(), std::istream::traits_type::eof());
  input.clear();
  input.seekg(0, std::ios::end);
  EXPECT_EQ(input.tellg(), std::streampos(0));
}

TEST(HeldInput, IsReadAgainFromTheBeginning) {
  HeldInput held(contentOf("alpha"));
  std::istream input(&held);
  std::string all;
  input >> all;
  ASSERT_TRUE(input.eof());
  input.clear();
  input.seekg(0);
  EXPECT_EQ(rest(input), "alpha");
}

TEST(HeldInput, GoesToEveryPositionThatItHas) {
  HeldInput held(contentOf("alpha"));
  std::istream input(&held);
  input.seekg(3);
  EXPECT_EQ(input.tellg(), std::streampos(3));
  input.seekg(-2, std::ios::cur);
  EXPECT_EQ(input.get(), 'l');
  input.seekg(-1, std::ios::end);
  EXPECT_EQ(rest(input), "a");
  input.clear();
  input.seekg(5);
  EXPECT_TRUE(input.good());
  EXPECT_EQ(rest(input), "");
}

TEST(HeldInput, RefusesPositionsThatItDoesNotHave) {
  for (int const position : {-1, 6}) {
    HeldInput held(contentOf("alpha"));
    std::istream input(&held);
    input.seekg(position);
    EXPECT_TRUE(input.fail()) << position;
    input.clear();
    EXPECT_EQ(rest(input), "alpha") << position;
  }
}

TEST(CheckedInput, PassesSeeksOnAndCountsEachByteOnce) {
  Progress progress(false);
  CheckedInput input(std::make_unique<std::istringstream>("alpha"), u"/a", progress);
  char bytes[5];
  input.read(bytes, 5);
  input.seekg(3);
  EXPECT_EQ(input.get(), 'h');
  EXPECT_EQ(progress.done().bytes, 5U);
}

}  // namespace
}  // namespace ztpkg
