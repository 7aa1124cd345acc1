// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <string>
#include <vector>

#include "cli/CommandLine.hpp"
#include "cli/Completion.hpp"

namespace ztpkg {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::string answer(std::vector<std::string> const& words) { return completionsOf(describeCommandLine(), words); }

TEST(Completion, OffersCommandsWithTheirPurposes) {
  EXPECT_THAT(answer({""}), StartsWith("words\npack\tStore a directory tree in a new package\nadd\t"));
  EXPECT_THAT(answer({""}), HasSubstr("\nls\t"));
  EXPECT_THAT(answer({""}), Not(HasSubstr(kCompletionCommand)));
}

TEST(Completion, OffersNothingBelowAnUnknownCommand) {
  EXPECT_EQ(answer({"no-command", ""}), "words\n");
  EXPECT_EQ(answer({"props", "no-command", "-"}), "words\n");
}

TEST(Completion, OffersOptionsAfterADash) {
  EXPECT_THAT(answer({"list", "-"}), HasSubstr("\n-l\tAlso print"));
  EXPECT_THAT(answer({"list", "--"}), HasSubstr("\n--long\tAlso print"));
}

TEST(Completion, OffersNoOptionAgainUnlessItIsRepeatable) {
  std::string const offered = answer({"pack", "--quiet", "-lfast", "-x", "*.tmp", "-"});
  EXPECT_THAT(offered, Not(HasSubstr("--quiet")));
  EXPECT_THAT(offered, Not(HasSubstr("--level")));
  EXPECT_THAT(offered, HasSubstr("--exclude"));
}

TEST(Completion, OffersTheWordsOfAChoice) {
  for (std::vector<std::string> const& words :
       std::vector<std::vector<std::string>>{{"pack", "--level", ""}, {"pack", "-l", "f"}, {"pack", "-qfl", ""}})
    EXPECT_EQ(answer(words), "words\nfast\ndefault\nsmall\n");
}

TEST(Completion, RepeatsTheOptionBeforeAnEqualsSign) {
  EXPECT_EQ(answer({"pack", "--level=s"}), "words\n--level=fast\n--level=default\n--level=small\n");
  EXPECT_EQ(answer({"pack", "--key-file=k"}), "files=\n");
  EXPECT_EQ(answer({"add", "p.ztp", "--to=/e"}), "paths= p.ztp\n");
}

TEST(Completion, OffersNothingForFreeText) {
  EXPECT_EQ(answer({"pack", "--title", ""}), "words\n");
  EXPECT_EQ(answer({"pack", "--title=t"}), "words\n");
  EXPECT_EQ(answer({"pack", "--quiet=t"}), "words\n");
}

TEST(Completion, NamesTheKindOfEachArgument) {
  EXPECT_EQ(answer({"pack", ""}), "directories\n");
  EXPECT_EQ(answer({"pack", "tree", ""}), "files\n");
  EXPECT_EQ(answer({"pack", "tree", "p.ztp", ""}), "words\n");
  EXPECT_EQ(answer({"unpack", "a b.ztp", "out", "/x", ""}), "paths a b.ztp\n");
}

TEST(Completion, TakesNoOptionsAfterTwoDashes) {
  EXPECT_EQ(answer({"cat", "--", "-"}), "files\n");
  EXPECT_EQ(answer({"cat", "--", "-p.ztp", "--to=/e"}), "paths -p.ztp\n");
}

TEST(Completion, OffersNoPathsWithoutAPackage) { EXPECT_EQ(answer({"add", "--to", ""}), "words\n"); }

TEST(Completion, OffersPropertiesWithAnEqualsSign) {
  EXPECT_THAT(answer({"props", "set", "p.docx", ""}), HasSubstr("\ntitle=\tThe title\n"));
}

TEST(Completion, OffersNothingForNoWords) { EXPECT_EQ(answer({}), "words\n"); }

}  // namespace
}  // namespace ztpkg
