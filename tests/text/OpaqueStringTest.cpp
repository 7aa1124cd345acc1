// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <string>

#include "text/OpaqueString.hpp"

namespace {

using opc::unicode::toOpaqueString;

TEST(OpaqueString, LeavesPlainTextAsItIs) {
  EXPECT_EQ(toOpaqueString(u""), u"");
  EXPECT_EQ(toOpaqueString(u"Correct Horse, Battery 9\t!"), u"Correct Horse, Battery 9\t!");
  EXPECT_EQ(toOpaqueString(u"\U0001F511 \u03C3\u03A3"), u"\U0001F511 \u03C3\u03A3");
}

TEST(OpaqueString, ComposesDecomposedLetters) {
  EXPECT_EQ(toOpaqueString(u"e\u0301"), u"\u00E9");
  EXPECT_EQ(toOpaqueString(u"\u1100\u1161\u11A8"), u"\uAC01");
  EXPECT_EQ(toOpaqueString(u"\u212B"), u"\u00C5");  // the sign of the angstrom
}

TEST(OpaqueString, ExpandsLettersThatHaveNoComposedForm) {
  EXPECT_EQ(toOpaqueString(std::u16string(100, u'\uFB2C')).size(), 300u);
}

TEST(OpaqueString, KeepsCompatibilityForms) { EXPECT_EQ(toOpaqueString(u"\uFF21\uFB01"), u"\uFF21\uFB01"); }

TEST(OpaqueString, MakesEverySpaceAPlainOne) {
  EXPECT_EQ(toOpaqueString(u"a\u00A0b\u1680c\u2000d\u2003e\u202Ff\u205Fg\u3000h"), u"a b c d e f g h");
}

TEST(OpaqueString, DropsAByteOrderMarkAtTheHeadOnly) { EXPECT_EQ(toOpaqueString(u"\uFEFFa\uFEFFb"), u"a\uFEFFb"); }

TEST(OpaqueString, LeavesLoneSurrogatesToItsCaller) {
  std::u16string const lone{u'a', char16_t(0xD800)};
  EXPECT_EQ(toOpaqueString(lone), lone);
}

}  // namespace
