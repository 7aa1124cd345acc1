// SPDX-License-Identifier: Apache-2.0
#include <cctype>
#include <gtest/gtest.h>
#include <string>
#include <string_view>

#include "package/PartIndex.hpp"

namespace opc::model::detail {
namespace {

TEST(NameLess, IgnoresAsciiCase) {
  EXPECT_FALSE(NameLess::less("aB", "Ab"));
  EXPECT_FALSE(NameLess::less("Ab", "aB"));
  EXPECT_TRUE(NameLess::less("a", "B"));
}

TEST(NameLess, HasContinuedNamesRightBehindAName) {
  EXPECT_TRUE(NameLess::less("a", "a/z"));
  EXPECT_TRUE(NameLess::less("a/z", "a.x"));
  EXPECT_TRUE(NameLess::less("a/z", "a!"));
  EXPECT_TRUE(NameLess::less("a/z", std::string_view("a\0", 2)));
}

TEST(NameLess, TellsAllBytesApart) {
  for (int a = 0; a < 256; ++a)
    for (int b = 0; b < 256; ++b) {
      std::string const x(1, static_cast<char>(a)), y(1, static_cast<char>(b));
      bool const same = a < 128 && b < 128 && std::tolower(a) == std::tolower(b);
      EXPECT_EQ(!NameLess::less(x, y) && !NameLess::less(y, x), same || a == b);
    }
}

TEST(PartKey, OwnsACopyUntilItViewsTheSameElsewhere) {
  std::string text = "some/name.xml";
  PartKey const key = PartKey::copyOf(text);
  text[0] = 'X';
  EXPECT_EQ(key.text(), "some/name.xml");
  std::string const other = "some/name.xml";
  key.viewInstead(other);
  EXPECT_EQ(key.text().data(), other.data());
}

TEST(PartRecord, StaysSmall) { EXPECT_LE(sizeof(PartTable::value_type), 40U); }

}  // namespace
}  // namespace opc::model::detail
