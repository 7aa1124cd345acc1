// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <string>

#include "xml/XercesObjects.hpp"

using opc::model::XercesString;

TEST(XercesString, KeepsTextFromEitherSource) {
  char16_t text[] = u"entry";
  XercesString const fromPointer(text);
  text[0] = u'X';
  EXPECT_EQ(fromPointer.toString(), u"entry");
  EXPECT_EQ(XercesString(std::u16string(u"entry")), fromPointer);
}

TEST(XercesString, ConvertsBack) {
  XercesString string(u"entry");
  EXPECT_EQ(static_cast<std::u16string>(string), u"entry");
  EXPECT_EQ(std::u16string(string.c_str()), u"entry");
  string.data()[0] = u'E';
  EXPECT_EQ(string.toString(), u"Entry");
}

TEST(XercesString, ComparesWholeTexts) {
  EXPECT_TRUE(XercesString(u"a") != XercesString(u"A"));
  EXPECT_TRUE(XercesString(u"a") != XercesString(u"ab"));
  EXPECT_FALSE(XercesString(u"ab") != XercesString(u"ab"));
  EXPECT_FALSE(XercesString() != XercesString(u""));
}
