// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "opc/Strings.hpp"

namespace opc {
namespace {

TEST(PathLess, PutsWhatIsBelowAFolderRightBehindIt) {
  std::vector<std::u16string> const ordered = {u"/",    u"/a",   u"/a/b", u"/a/b/c", u"/a/c",
                                               u"/a b", u"/a-b", u"/a.b", u"/a0",    u"/\uFFFF"};
  std::vector<std::u16string> sorted = ordered;
  std::reverse(sorted.begin(), sorted.end());
  std::sort(sorted.begin(), sorted.end(), PathLess());
  EXPECT_EQ(sorted, ordered);
}

TEST(PathLess, IsNotReflexive) {
  for (auto path : {u"", u"/", u"/a", u"/a/"}) EXPECT_FALSE(PathLess()(path, path));
}

TEST(PathRank, KeepsTheOrderOfAllOtherUnits) {
  EXPECT_EQ(pathRank(u'/'), 0u);
  unsigned last = 0;
  for (char32_t unit = 0; unit < 0x10000; ++unit) {
    if (unit == U'/') continue;
    EXPECT_GT(pathRank(static_cast<char16_t>(unit)), last);
    last = pathRank(static_cast<char16_t>(unit));
  }
}

TEST(IsBelowPath, WantsASlashBehindTheFolder) {
  EXPECT_TRUE(isBelowPath(u"/a/b", u"/a"));
  EXPECT_TRUE(isBelowPath(u"/a/", u"/a"));
  EXPECT_TRUE(isBelowPath(u"/a", u""));
  EXPECT_FALSE(isBelowPath(u"/a", u"/a"));
  EXPECT_FALSE(isBelowPath(u"/ab", u"/a"));
  EXPECT_FALSE(isBelowPath(u"/a", u"/a/b"));
  EXPECT_FALSE(isBelowPath(u"/a", u"/"));
}

TEST(HexDigits, AreReadInEitherCaseAndWrittenInOne) {
  for (unsigned value = 0; value < 16; ++value) {
    EXPECT_EQ(hexValue(static_cast<unsigned char>(hexDigit(value))), static_cast<int>(value));
    EXPECT_EQ(hexValue(static_cast<unsigned char>(upperHexDigit(value))), static_cast<int>(value));
  }
  EXPECT_EQ(hexDigit(10), 'a');
  EXPECT_EQ(upperHexDigit(15), 'F');
  for (char16_t const c : {u'g', u'G', u'/', u':', u'@', u'`', u'\0', u'\uFF11'}) EXPECT_EQ(hexValue(c), -1);
}

TEST(EscapeForDisplay, ShowsTheTwoNonCharactersThatNamesMayNotHold) {
  EXPECT_EQ(escapeForDisplay(std::u16string{u'a', 0xFFFE, 0xFFFF}), u"a\\u{FFFE}\\u{FFFF}");
}

}  // namespace
}  // namespace opc
