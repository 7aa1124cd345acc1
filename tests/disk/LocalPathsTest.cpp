// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <string>

#include "opc/FileSystemOps.hpp"

namespace {

opc::LocalFileSystemOps ops;

TEST(LocalPaths, AreAbsoluteWithALeadingSeparator) {
  EXPECT_TRUE(ops.isAbsolutePath(u"/"));
  EXPECT_TRUE(ops.isAbsolutePath(u"/a"));
  EXPECT_FALSE(ops.isAbsolutePath(u"a/b"));
  EXPECT_FALSE(ops.isAbsolutePath(u""));
  EXPECT_FALSE(ops.isAbsolutePath(u"\\a"));
}

TEST(LocalPaths, AreJoinedByExactlyOneSeparator) {
  EXPECT_EQ(ops.appendPath(u"/root", u"a/b"), u"/root/a/b");
  EXPECT_EQ(ops.appendPath(u"/root/", u"a"), u"/root/a");
  EXPECT_EQ(ops.appendPath(u"/root//", u"//a"), u"/root/a");
  EXPECT_EQ(ops.appendPath(u"root", u"a/"), u"root/a/");
}

TEST(LocalPaths, StayBeneathTheirBase) {
  EXPECT_EQ(ops.appendPath(u"/root", u"/etc/passwd"), u"/root/etc/passwd");
  EXPECT_EQ(ops.appendPath(u"", u"/etc/passwd"), u"etc/passwd");
  EXPECT_EQ(ops.appendPath(u"/", u"/etc"), u"/etc");
}

TEST(LocalPaths, AreTheirBaseWithNothingToAppend) {
  EXPECT_EQ(ops.appendPath(u"/root", u""), u"/root");
  EXPECT_EQ(ops.appendPath(u"/root", u"/"), u"/root");
  EXPECT_EQ(ops.appendPath(u"/", u""), u"/");
  EXPECT_EQ(ops.appendPath(u"", u""), u"");
}

TEST(LocalPaths, HaveAParent) {
  EXPECT_EQ(ops.getParentPath(u"/a/b"), u"/a");
  EXPECT_EQ(ops.getParentPath(u"/a/b/"), u"/a");
  EXPECT_EQ(ops.getParentPath(u"/a"), u"/");
  EXPECT_EQ(ops.getParentPath(u"a/b"), u"a");
}

TEST(LocalPaths, HaveNoParentAtTheirTop) {
  EXPECT_EQ(ops.getParentPath(u"/"), u"");
  EXPECT_EQ(ops.getParentPath(u"a"), u"");
  EXPECT_EQ(ops.getParentPath(u""), u"");
}

TEST(LocalPaths, HaveAnExtensionWithoutItsDot) {
  EXPECT_EQ(ops.getExtension(u"/d/a.txt"), u"txt");
  EXPECT_EQ(ops.getExtension(u"x.tar.gz"), u"gz");
  EXPECT_EQ(ops.getExtension(u".config.json"), u"json");
  EXPECT_EQ(ops.getExtension(u"A.TXT"), u"TXT");
  EXPECT_EQ(ops.getExtension(u"a.\u00E9\U0001F600"), u"\u00E9\U0001F600");
}

TEST(LocalPaths, HaveNoExtensionWhereTheOnlyDotIsAtAnEnd) {
  for (char16_t const* path :
       {u".bashrc", u"/d/.bashrc", u"a.", u"d.d/f", u"/d.d/f", u"a", u"", u".", u"..", u"/", u"d/.."})
    EXPECT_EQ(ops.getExtension(path), u"") << testing::PrintToString(std::u16string(path));
}

}  // namespace
