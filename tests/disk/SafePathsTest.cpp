// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <string>
#include <string_view>

#include "opc/SafePaths.hpp"
#include "opc/Strings.hpp"

namespace {

using opc::PathFault;

bool always(std::u16string const&) { return true; }
bool never(std::u16string const&) { return false; }

TEST(PathFault, IsNotThereInPlainPaths) {
  for (std::u16string_view const path : {u"/", u"a", u"/a", u"/a/b.c", u"/...", u"/..a/b.."})
    EXPECT_EQ(opc::findPathFault(path), PathFault::None) << opc::toUTF8String(std::u16string(path));
}

TEST(PathFault, IsUnclearWhereOtherPathsNameTheSamePlace) {
  for (std::u16string_view const path : {u"", u"//", u"//a", u"/a/", u"a//b", u"/.", u"/a/./b"})
    EXPECT_EQ(opc::findPathFault(path), PathFault::Unclear) << opc::toUTF8String(std::u16string(path));
}

TEST(PathFault, LeadsUpwardsWhereverThePathGoesUp) {
  for (std::u16string_view const path : {u"..", u"/..", u"/a/../b", u"//../a", u"/a/..", u"/../."})
    EXPECT_EQ(opc::findPathFault(path), PathFault::LeadsUpwards) << opc::toUTF8String(std::u16string(path));
}

TEST(StaysBeneathRoot, TakesTargetsFromTheFolderOfTheLink) {
  EXPECT_TRUE(opc::staysBeneathRoot(u"/a/b/link", u"../../c", never));
  EXPECT_FALSE(opc::staysBeneathRoot(u"/a/b/link", u"../../../c", always));
  EXPECT_TRUE(opc::staysBeneathRoot(u"/a//b/./link", u"../..", never));
}

TEST(StaysBeneathRoot, TakesAbsoluteTargetsFromTheRoot) {
  EXPECT_TRUE(opc::staysBeneathRoot(u"/a/b/link", u"/", never));
  EXPECT_TRUE(opc::staysBeneathRoot(u"/a/b/link", u"/c", never));
  EXPECT_FALSE(opc::staysBeneathRoot(u"/a/b/link", u"/..", always));
}

TEST(StaysBeneathRoot, GoesUpOnlyFromFolders) {
  EXPECT_FALSE(opc::staysBeneathRoot(u"/link", u"a/../b", never));
  EXPECT_TRUE(opc::staysBeneathRoot(u"/link", u"a/../b", always));
  std::u16string asked;
  opc::staysBeneathRoot(u"/x/link", u"./a//b/../c", [&](std::u16string const& path) {
    asked = path;
    return true;
  });
  EXPECT_EQ(asked, u"/x/a/b");
}

}  // namespace
