// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "opc/ztservices/Exceptions.hpp"
#include "services/tree/PathRules.hpp"
#include "support/TestSupport.hpp"

namespace opc::ztservices {
namespace {

using testing::ElementsAre;

constexpr char kReason[] = " (it holds a character that XML cannot carry)";

void expectNotCarriable(std::u16string const& text, std::string const& shown) {
  EXPECT_THROW_MESSAGE(throwIfNotCarriable(text), InvalidEntryName, "Name cannot be stored: " + shown + kReason);
}

TEST(NameRules, AcceptWhateverXMLCarries) {
  std::u16string const names[] = {u"",       u"/a b/c.txt",   u"a\tb\nc\rd",        u"\u00e9\u4e2d",
                                  u"<&>\"'", u"\u007f\u0085", u"\U0001F600 \uFFFD", u"\uD7FF\uE000"};
  for (auto const& name : names) EXPECT_NO_THROW(throwIfNotCarriable(name));
}

TEST(NameRules, RefuseEveryOtherControl) {
  for (char16_t unit = 0; unit < 0x20; ++unit)
    if (unit == u'\t' || unit == u'\n' || unit == u'\r')
      EXPECT_NO_THROW(throwIfNotCarriable(std::u16string(1, unit))) << int{unit};
    else
      EXPECT_THROW(throwIfNotCarriable(std::u16string(1, unit)), InvalidEntryName) << int{unit};
}

TEST(NameRules, ShowControlsEscaped) {
  expectNotCarriable(u"a\u0001b", "a\\u{1}b");
  expectNotCarriable(std::u16string(u"x\0y", 3), "x\\u{0}y");
  expectNotCarriable(u"\u001B[31m", "\\u{1B}[31m");
}

TEST(NameRules, RefuseLoneSurrogates) {
  expectNotCarriable({u'a', 0xD800}, "a\\u{D800}");
  expectNotCarriable({0xDC00, u'a'}, "\\u{DC00}a");
  expectNotCarriable({0xD800, u'a'}, "\\u{D800}a");
  expectNotCarriable({0xDC00, 0xD800}, "\\u{DC00}\\u{D800}");
  EXPECT_THROW(throwIfNotCarriable(std::u16string{0xD83D, 0xDE00, 0xDE00}), InvalidEntryName);
}

TEST(NameRules, RefuseNonCharacters) {
  expectNotCarriable({u'a', 0xFFFE}, "a\\u{FFFE}");
  expectNotCarriable({0xFFFF, u'a'}, "\\u{FFFF}a");
}

TEST(NameRules, RefuseWhatIsLongerThanAnAttributeMayBe) {
  EXPECT_NO_THROW(throwIfNotCarriable(std::u16string(kMaximumNameUnits, u'a')));
  EXPECT_THROW_MESSAGE(throwIfNotCarriable(std::u16string(kMaximumNameUnits + 1, u'a')), InvalidEntryName,
                       "Name cannot be stored: " + std::string(256, 'a') + "... (it is too long)");
}

TEST(PathRules, DropsTrailingSlashesButNotTheRoot) {
  EXPECT_EQ(paths::withoutTrailingSlashes(u"/a//"), u"/a");
  EXPECT_EQ(paths::withoutTrailingSlashes(u"//"), u"/");
  EXPECT_EQ(paths::withoutTrailingSlashes(u""), u"");
}

TEST(PathRules, CollapseDropsEmptyAndDotSegments) {
  EXPECT_EQ(paths::collapse(u"//a/./b//.c/"), u"/a/b/.c");
  EXPECT_EQ(paths::collapse(u"a/."), u"/a");
  EXPECT_EQ(paths::collapse(u"/"), u"");
}

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
