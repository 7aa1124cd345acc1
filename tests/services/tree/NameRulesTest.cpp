// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <string>

#include "opc/ztservices/Exceptions.hpp"
#include "services/tree/NameRules.hpp"
#include "support/TestSupport.hpp"

namespace opc::ztservices {
namespace {

constexpr char kReason[] = " (it holds a character that XML cannot carry)";

void expectRefused(std::u16string const& text, std::string const& shown) {
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
  expectRefused(u"a\u0001b", "a\\u{1}b");
  expectRefused(std::u16string(u"x\0y", 3), "x\\u{0}y");
  expectRefused(u"\u001B[31m", "\\u{1B}[31m");
}

TEST(NameRules, RefuseLoneSurrogates) {
  expectRefused({u'a', 0xD800}, "a\\u{D800}");
  expectRefused({0xDC00, u'a'}, "\\u{DC00}a");
  expectRefused({0xD800, u'a'}, "\\u{D800}a");
  expectRefused({0xDC00, 0xD800}, "\\u{DC00}\\u{D800}");
  EXPECT_THROW(throwIfNotCarriable(std::u16string{0xD83D, 0xDE00, 0xDE00}), InvalidEntryName);
}

TEST(NameRules, RefuseNonCharacters) {
  expectRefused({u'a', 0xFFFE}, "a\\u{FFFE}");
  expectRefused({0xFFFF, u'a'}, "\\u{FFFF}a");
}

TEST(NameRules, RefuseWhatIsLongerThanAnAttributeMayBe) {
  EXPECT_NO_THROW(throwIfNotCarriable(std::u16string(kMaximumNameUnits, u'a')));
  EXPECT_THROW_MESSAGE(throwIfNotCarriable(std::u16string(kMaximumNameUnits + 1, u'a')), InvalidEntryName,
                       "Name cannot be stored: " + std::string(256, 'a') + "... (it is too long)");
}

}  // namespace
}  // namespace opc::ztservices
