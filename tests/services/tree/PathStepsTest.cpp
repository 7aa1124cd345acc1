// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gmock/gmock.h>
#include <string>
#include <string_view>
#include <vector>

#include "services/tree/PathSteps.hpp"

namespace opc::ztservices {
namespace {

using testing::ElementsAre;

std::vector<std::u16string> stepsOf(std::u16string_view path) {
  std::vector<std::u16string> steps;
  for (PathSteps all(path); !all.atEnd();) steps.emplace_back(all.next());
  return steps;
}

TEST(PathSteps, BeginAtTheRoot) {
  EXPECT_THAT(stepsOf(u"/"), ElementsAre(u"/"));
  EXPECT_THAT(stepsOf(u"/a"), ElementsAre(u"/", u"a"));
  EXPECT_THAT(stepsOf(u"/a/b/c.txt"), ElementsAre(u"/", u"a", u"b", u"c.txt"));
}

TEST(PathSteps, OfARelativePathBeginWithItsFirstSegment) {
  EXPECT_THAT(stepsOf(u"a"), ElementsAre(u"a"));
  EXPECT_THAT(stepsOf(u"a/b"), ElementsAre(u"a", u"b"));
  EXPECT_THAT(stepsOf(u""), ElementsAre(u""));
}

TEST(PathSteps, HaveEmptySegmentsBetweenRepeatedSlashes) {
  EXPECT_THAT(stepsOf(u"/a//b/c"), ElementsAre(u"/", u"a", u"", u"b", u"c"));
  EXPECT_THAT(stepsOf(u"/a///b"), ElementsAre(u"/", u"a", u"", u"", u"b"));
}

TEST(PathSteps, KeepATrailingSlashAsAnEmptyName) { EXPECT_THAT(stepsOf(u"/a/"), ElementsAre(u"/", u"a", u"")); }

TEST(PathSteps, GoOnAfterAnyOfThem) {
  std::u16string const path = u"/a//b/c/d";
  std::vector<std::u16string> const all = stepsOf(path);
  std::size_t const lengths[] = {1, 2, 3, 5, 7, 9};
  for (std::size_t taken = 0; taken < all.size(); ++taken) {
    std::vector<std::u16string> rest(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(taken) + 1);
    for (PathSteps steps = PathSteps::after(path, lengths[taken]); !steps.atEnd();) rest.emplace_back(steps.next());
    EXPECT_EQ(rest, all);
  }
}

TEST(PathSteps, GoOnAfterASegmentOfOneLetter) {
  PathSteps steps = PathSteps::after(u"a/b", 1);
  EXPECT_EQ(steps.next(), u"b");
  EXPECT_TRUE(steps.atEnd());
}

}  // namespace
}  // namespace opc::ztservices
