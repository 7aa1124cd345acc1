// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <string>

#include "services/tree/FileSystemNode.hpp"

namespace opc::ztservices {
namespace {

TEST(CompactText, GivesBackAnyText) {
  std::u16string const texts[] = {u"",
                                  u"/fsroot/a.txt",
                                  std::u16string(u"\0x", 2),
                                  u"\u007F\u0080",
                                  u"\u00FF\u0100",
                                  u"\U0001F600",
                                  {u'a', 0xD800},
                                  {0xFFFF},
                                  std::u16string(100'000, u'\u4e2d')};
  for (auto const& text : texts) EXPECT_EQ(CompactText(text).toString(), text);
}

TEST(CompactText, IsEmptyByDefault) { EXPECT_EQ(CompactText().toString(), u""); }

}  // namespace
}  // namespace opc::ztservices
