// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>
#include <string>

#include "cli/Errors.hpp"
#include "secrets/PasswordInput.hpp"
#include "support/MemoryScan.hpp"
#include "support/ScopedEnvironment.hpp"

namespace ztpkg {
namespace {

using zt_test::ScopedLocale;

constexpr char kLatin1[] = "de_DE.ISO-8859-1";
constexpr char16_t kText[] = u"p\u00E4ssw\u00F6rt";

SecretBytes bytes(std::string const& text) { return {text.begin(), text.end()}; }
std::string const kInUTF8 = "p\xC3\xA4ssw\xC3\xB6rt";
std::string const kInLatin1 = "p\xE4ssw\xF6rt";

std::u16string typed(std::string const& text, char const* locale) {
  ScopedLocale const scoped(locale);
  return typedPassword(bytes(text)).text();
}

std::u16string stored(std::string const& text, char const* locale) {
  ScopedLocale const scoped(locale);
  return storedPassword(bytes(text)).text();
}

void expectRefused(std::string const& text, char const* locale, std::string const& message) {
  ScopedLocale const scoped(locale);
  for (auto* const convert : {&typedPassword, &storedPassword}) {
    try {
      convert(bytes(text));
      ADD_FAILURE() << "was taken";
    } catch (Failure const& failure) {
      EXPECT_EQ(failure.reports().front().message, message);
      EXPECT_EQ(failure.reports().front().exit, Exit::Key);
    }
  }
}

TEST(PasswordText, IsTheSameForTheSameCharactersInEveryLocale) {
  EXPECT_EQ(typed(kInUTF8, "C.UTF-8"), kText);
  EXPECT_EQ(typed(kInUTF8, "C"), kText);
  EXPECT_EQ(typed(kInLatin1, kLatin1), kText);
}

TEST(PasswordText, IsTypedInTheEncodingOfTheLocale) {
  EXPECT_EQ(typed("\xC3\xA4", kLatin1), u"\u00C3\u00A4");
  EXPECT_EQ(typed("\xA4", "de_DE.ISO-8859-15"), u"\u20AC");
  EXPECT_EQ(typed("\xBB\xD2", "ja_JP.EUC-JP"), u"\u5B50");
}

TEST(PasswordText, IsTheSameForTheSameFileInEveryLocale) {
  for (char const* locale : {"C", "C.UTF-8", kLatin1}) EXPECT_EQ(stored(kInUTF8, locale), kText);
  EXPECT_EQ(stored(kInLatin1, kLatin1), kText);
}

TEST(PasswordText, MayHoldAnyCharacter) {
  EXPECT_EQ(typed(" \xF0\x9F\x94\x91\t", "C.UTF-8"), u" \U0001F511\t");
  EXPECT_EQ(typed(std::string(4096, 'x'), "C"), std::u16string(4096, u'x'));
}

TEST(PasswordText, IsNotEmpty) { expectRefused("", "C.UTF-8", "the password is empty"); }

TEST(PasswordText, IsTextOfTheEncoding) {
  for (char const* text : {"\xFF", "ab\xC3", "\xED\xA0\x80", "\xC0\x80"}) {
    expectRefused(text, "C.UTF-8", "the password is not text in UTF-8");
    expectRefused(text, "C", "the password is not text in UTF-8");
  }
  expectRefused("\x8E", "ja_JP.EUC-JP", "the password is not text in EUC-JP");
}

TEST(PasswordText, HoldsNoNul) {
  expectRefused(std::string("a\0b", 3), "C.UTF-8", "the password is not text in UTF-8");
}

class PasswordInMemory : public testing::TestWithParam<char const*> {};

// In UTF-8 it is what was read, in the four bytes of UCS-4 what iconv makes on its way.
TEST_P(PasswordInMemory, IsGoneAfterUse) {
  if (!zt_test::canScanMemory()) GTEST_SKIP() << "this process may not read its own memory";
  ScopedLocale const scoped(GetParam());
  zt_test::HiddenKey const hidden;
  {
    auto revealed = hidden.reveal();
    SecretBytes const read(revealed.begin(), revealed.end());
    wipe(revealed.data(), revealed.size());
    EXPECT_EQ(typedPassword(read).text().size(), read.size());
  }
  for (std::size_t width : {1U, 2U, 4U}) EXPECT_EQ(hidden.countInMemory(width), 0U) << width;
}

INSTANTIATE_TEST_SUITE_P(Locales, PasswordInMemory, testing::Values("C", "C.UTF-8", kLatin1));

}  // namespace
}  // namespace ztpkg
