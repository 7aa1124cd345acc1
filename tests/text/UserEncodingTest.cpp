// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <filesystem>
#include <gmock/gmock.h>
#include <string>

#include "opc/Strings.hpp"
#include "support/ScopedEnvironment.hpp"
#include "support/TestSupport.hpp"

namespace {

using opc::getUserDefaultEncoding;
using opc::toUDEString;
using zt_test::ScopedEnvironment;
using zt_test::ScopedLocale;

TEST(UserDefaultEncoding, IsASCIIInTheCLocale) {
  for (char const* name : {"C", "POSIX"}) {
    ScopedLocale const locale(name);
    EXPECT_EQ(getUserDefaultEncoding(), "US-ASCII");
  }
}

TEST(UserDefaultEncoding, IsASCIIWhereTheEnvironmentSaysNothing) {
  ScopedEnvironment const environment({{"LC_ALL", {}}, {"LC_CTYPE", {}}, {"LANG", {}}});
  EXPECT_EQ(getUserDefaultEncoding(), "US-ASCII");
}

TEST(UserDefaultEncoding, IsThatOfAnInstalledLocale) {
  ScopedLocale const locale("C.UTF-8");
  EXPECT_EQ(getUserDefaultEncoding(), "UTF-8");
}

TEST(UserDefaultEncoding, IsReadFromTheNameOfALocaleThatIsNotInstalled) {
  EXPECT_EQ((ScopedLocale("xx_XX.utf8"), getUserDefaultEncoding()), "UTF-8");
  EXPECT_EQ((ScopedLocale("xx_XX.ISO-8859-1"), getUserDefaultEncoding()), "ISO-8859-1");
  EXPECT_EQ((ScopedLocale("xx_XX.iso88591"), getUserDefaultEncoding()), "ISO-8859-1");
  EXPECT_EQ((ScopedLocale("xx_XX.iso885915@euro"), getUserDefaultEncoding()), "ISO-8859-15");
  EXPECT_EQ((ScopedLocale("xx_XX.koi8-r"), getUserDefaultEncoding()), "KOI8-R");
  EXPECT_EQ((ScopedLocale("xx_XX.ANSI_X3.4-1968"), getUserDefaultEncoding()), "US-ASCII");
}

TEST(UserDefaultEncoding, IsASCIIWhereALocaleIsUnknownAltogether) {
  for (char const* name : {"xx_XX", "xx_XX.no-such-encoding", "xx_XX.", "xx_XX@euro", "xx_XX.UTF-8//TRANSLIT"}) {
    ScopedLocale const locale(name);
    EXPECT_EQ(getUserDefaultEncoding(), "US-ASCII") << name;
  }
}

TEST(UserDefaultEncoding, IsNoneThatNarrowStringsCannotBeIn) {
  for (char const* name : {"xx_XX.UTF-16", "xx_XX.UTF-32", "xx_XX.UTF-7", "xx_XX.IBM037"}) {
    ScopedLocale const locale(name);
    EXPECT_EQ(getUserDefaultEncoding(), "US-ASCII") << name;
  }
}

TEST(UserDefaultEncoding, IsTakenFromTheFirstVariableThatCounts) {
  std::string const latin = "xx_XX.ISO-8859-1", utf8 = "xx_XX.UTF-8", empty;
  EXPECT_EQ((ScopedEnvironment({{"LC_ALL", latin}, {"LC_CTYPE", utf8}, {"LANG", utf8}}), getUserDefaultEncoding()),
            "ISO-8859-1");
  EXPECT_EQ((ScopedEnvironment({{"LC_ALL", empty}, {"LC_CTYPE", latin}, {"LANG", utf8}}), getUserDefaultEncoding()),
            "ISO-8859-1");
  EXPECT_EQ((ScopedEnvironment({{"LC_ALL", {}}, {"LC_CTYPE", empty}, {"LANG", latin}}), getUserDefaultEncoding()),
            "ISO-8859-1");
}

TEST(UserDefaultEncoding, IsThatOfALocaleMadeForTheOccasion) {
  if (!std::filesystem::exists("/usr/share/i18n/charmaps/ISO-8859-15.gz"))
    GTEST_SKIP() << "the charmaps that locales are made of are not installed";
  zt_test::TemporaryDirectory directory;
  std::string const name = "zz_ZZ";  // says nothing of its encoding
  auto const made = zt_test::run("localedef -i C -f ISO-8859-15 " + (directory / name).string());
  if (made.exitCode != 0 && !std::filesystem::exists(directory / name)) GTEST_SKIP() << "no locale can be made here";
  // In a process of its own: glibc never gives back the copies that it makes of LOCPATH.
  auto const isFound = [&] {
    ScopedEnvironment const path({{"LOCPATH", directory.path().string()}});
    ScopedLocale const locale(name);
    return getUserDefaultEncoding() == "ISO-8859-15" && toUDEString(u"5 \u20AC") == "5 \xA4";
  };
  EXPECT_EXIT(_exit(isFound() ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST(ToUDEString, IsUTF8InAUTF8Locale) {
  ScopedLocale const locale("C.UTF-8");
  EXPECT_EQ(toUDEString(u"Gr\u00FC\u00DFe \u65E5 \U0001F600"),
            "Gr\xC3\xBC\xC3\x9F"
            "e \xE6\x97\xA5 \xF0\x9F\x98\x80");
}

TEST(ToUDEString, EscapesLoneSurrogatesInAUTF8Locale) {
  ScopedLocale const locale("C.UTF-8");
  EXPECT_EQ(toUDEString(std::u16string{u'\u00E9', 0xD83D, u'b', 0xDE00}), "\xC3\xA9\\u{D83D}b\\u{DE00}");
}

TEST(ToUDEString, EscapesEverythingBeyondASCIIInTheCLocale) {
  ScopedLocale const locale("C");
  EXPECT_EQ(toUDEString(u"caf\u00E9 \U0001F600"), "caf\\u{E9} \\u{1F600}");
}

TEST(ToUDEString, EscapesWhatTheEncodingCannotCarry) {
  ScopedLocale const locale("xx_XX.ISO-8859-1");
  EXPECT_EQ(toUDEString(u"caf\u00E9 \u20AC\U0001F600!"), "caf\xE9 \\u{20AC}\\u{1F600}!");
  EXPECT_EQ(toUDEString(std::u16string{u'\u00E9', 0xDE00, u'b', 0xD83D}), "\xE9\\u{DE00}b\\u{D83D}");
}

TEST(ToUDEString, ReturnsToTheInitialStateOfAnEncodingWithShifts) {
  ScopedLocale const locale("xx_XX.ISO-2022-JP");
  if (getUserDefaultEncoding() != "ISO-2022-JP") GTEST_SKIP() << "the encoding is not known here";
  EXPECT_EQ(toUDEString(u"\u65E5"), "\x1B$BF|\x1B(B");
  EXPECT_EQ(toUDEString(u"\u65E5\U0001F600"), "\x1B$BF|\x1B(B\\u{1F600}");
}

TEST(ToUDEString, ConvertsTextLongerThanItsBuffer) {
  ScopedLocale const locale("xx_XX.ISO-8859-1");
  EXPECT_EQ(toUDEString(std::u16string(100'000, u'\u00E9')), std::string(100'000, '\xE9'));
}

TEST(ToUDEString, TakesTimeInProportionToTheTextItEscapes) {
  ScopedLocale const locale("xx_XX.ISO-8859-1");
  EXPECT_EQ(toUDEString(std::u16string(50'000, u'\u65E5')).size(), 50'000 * std::string("\\u{65E5}").size());
}

TEST(ToUDEString, KeepsNULs) {
  for (char const* name : {"C", "C.UTF-8", "xx_XX.ISO-8859-1"}) {
    ScopedLocale const locale(name);
    EXPECT_EQ(toUDEString(std::u16string(u"a\0b", 3)), std::string("a\0b", 3)) << name;
  }
}

}  // namespace
