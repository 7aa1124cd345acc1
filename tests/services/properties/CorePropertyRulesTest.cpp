// SPDX-License-Identifier: Apache-2.0
#include <clocale>
#include <cwctype>
#include <gtest/gtest.h>
#include <initializer_list>
#include <locale>
#include <string>

#include "opc/Strings.hpp"
#include "opc/ztservices/CoreProperties.hpp"

/// What the values of the extended core properties must look like.
namespace opc::ztservices {
namespace {

using Rule = bool (*)(std::u16string const&);

void expect(Rule rule, bool expected, std::initializer_list<std::u16string> values) {
  for (auto const& value : values) EXPECT_EQ(rule(value), expected) << '"' << toASCIIString(value.substr(0, 99)) << '"';
}

constexpr Rule kContentType = CoreProperties::isValidContentType;
constexpr Rule kFriendlyName = CoreProperties::isValidContentTypeFriendlyName;
constexpr Rule kUUIDRule = CoreProperties::isValidUUID;
constexpr Rule kRelease = CoreProperties::isValidTALBEXRelease;

std::u16string vendor(std::u16string const& rest) { return u"application/vnd.corvanta." + rest; }

TEST(ContentTypeRule, TakesTheVendorsTypes) {
  expect(kContentType, true,
         {vendor(u"talbex.toolbox"), vendor(u"a-b.c_d"), vendor(u"-.-"), vendor(u"_._"), vendor(u"0.9"),
          vendor(u"Talbex.TOOLBOX")});
}

TEST(ContentTypeRule, RefusesOtherTypes) {
  expect(kContentType, false,
         {u"Application/vnd.corvanta.talbex.toolbox", u"text/vnd.corvanta.a.b", u"APPLICATION/vnd.corvanta.a.b",
          u"xapplication/vnd.corvanta.a.b"});
}

TEST(ContentTypeRule, RefusesOtherSubTypes) {
  expect(kContentType, false,
         {vendor(u"talbex"), vendor(u"talbex."), vendor(u".toolbox"), vendor(u"talbex..toolbox"), vendor(u"a.b.c"),
          vendor(u"a.b+xml"), vendor(u"a!.b"), u"application/vnd.Corvanta.a.b", u"application/VND.corvanta.a.b",
          u"application/xvnd.corvanta.a.b", u"application/vnd_corvanta.a.b", u"application/vnd.corvantaa.b",
          u"application/vnd.corvanta", u"application/xml"});
}

TEST(ContentTypeRule, RefusesWhatIsNoContentType) {
  expect(kContentType, false,
         {u"", u"/", u"application", u"application/", u"vnd.corvanta.a.b", vendor(u"a.b c"), u" " + vendor(u"a.b"),
          vendor(u"a.b "), vendor(u"a.b;"), vendor(u"a.b;c"), vendor(u"a.b\n"), vendor(u"a.b\r\n"),
          u"\n" + vendor(u"a.b"), vendor(u"a\n.b"), vendor(u"a.b") + u'\0', vendor(u"a.b\nx.y")});
}

TEST(ContentTypeRule, DoesNotLookAtParameters) {
  expect(kContentType, true, {vendor(u"a.b;platform=lxamd64"), vendor(u"a.b;c=\"x y\""), vendor(u"a.b;c=d;e=f")});
}

TEST(ContentTypeRule, TakesNoLettersOrDigitsButAscii) {
  expect(kContentType, false,
         {vendor(u"\u00e9.b"), vendor(u"a.\u0436"), vendor(u"a.\u0661"), vendor(u"a.\uff41"), vendor(u"a.\U0001d41a"),
          vendor(u"a.b\u0301")});
}

TEST(ContentTypeRule, TakesTextsOfAnyLength) {
  std::u16string const many(4'000'000, u'a');
  expect(kContentType, true, {vendor(many + u"." + many)});
  expect(kContentType, false, {vendor(many), vendor(many + u"." + many + u"."), vendor(many + u"." + many + u"+")});
}

TEST(FriendlyNameRule, TakesWhatHasNoWhitespaceAtItsEnds) {
  expect(kFriendlyName, true, {u"My Toolbox", u"x", u"xy", u"a \t\n b", u"\u00e9", u"\U0001F600", u"\u200b"});
}

TEST(FriendlyNameRule, RefusesTheEmptyName) { expect(kFriendlyName, false, {u""}); }

TEST(FriendlyNameRule, RefusesWhitespaceAtEitherEnd) {
  for (char16_t const blank : std::u16string(u" \t\n\r\v\f\u0085\u00a0\u1680\u2003\u2028\u2029\u202f\u205f\u3000")) {
    std::u16string const text(1, blank);
    expect(kFriendlyName, false, {text, text + text, text + u"x", u"x" + text});
    expect(kFriendlyName, true, {u"x" + text + u"x"});
  }
}

TEST(FriendlyNameRule, TakesNamesOfAnyLength) { expect(kFriendlyName, true, {std::u16string(4'000'000, u'x')}); }

TEST(UUIDRule, TakesHexadecimalDigitsInBothCases) {
  expect(kUUIDRule, true,
         {u"01234567-89ab-cdef-0123-456789abcdef", u"01234567-89AB-CDEF-0123-456789ABCDEF",
          u"aAbBcCdD-eEfF-0000-ffff-FFFFFFFFFFFF", u"00000000-0000-0000-0000-000000000000"});
}

TEST(UUIDRule, RefusesOtherForms) {
  expect(kUUIDRule, false,
         {u"", u"{01234567-89ab-cdef-0123-456789abcdef}", u"0123456789abcdef0123456789abcdef",
          u"01234567-89ab-cdef-0123-456789abcde", u"01234567-89ab-cdef-0123-456789abcdef0",
          u"0123456-789ab-cdef-0123-456789abcdef", u"g1234567-89ab-cdef-0123-456789abcdef",
          u"01234567_89ab_cdef_0123_456789abcdef", u"urn:uuid:01234567-89ab-cdef-0123-456789abcdef",
          u"01234567-89ab-cdef-0123-456789abcdef ", u" 01234567-89ab-cdef-0123-456789abcdef"});
}

TEST(UUIDRule, RefusesLineFeeds) {
  std::u16string const uuid = u"01234567-89ab-cdef-0123-456789abcdef";
  expect(kUUIDRule, false, {uuid + u"\n", u"\n" + uuid, uuid + u"\n" + uuid, uuid + u"\r", uuid + u'\0'});
}

TEST(UUIDRule, TakesNoDigitsButAscii) {
  expect(kUUIDRule, false,
         {u"\u06611234567-89ab-cdef-0123-456789abcdef", u"\uff101234567-89ab-cdef-0123-456789abcdef",
          u"\uff411234567-89ab-cdef-0123-456789abcdef", u"\u00e91234567-89ab-cdef-0123-456789abcdef",
          u"\U0001d7ce1234567-89ab-cdef-0123-456789abcdef"});
}

TEST(UUIDRule, RefusesAVeryLongText) { expect(kUUIDRule, false, {std::u16string(4'000'000, u'0')}); }

TEST(ReleaseRule, TakesAYearAndAnAOrB) {
  expect(kRelease, true, {u"R2021a", u"R1999b", u"R2019b", u"R0000a", u"R9999b"});
}

TEST(ReleaseRule, RefusesOtherForms) {
  expect(kRelease, false,
         {u"", u"R", u"r2021a", u"R2021A", u"R2021B", u"R21a", u"R20211a", u"R2021c", u"R2021", u"R2021ab",
          u"R2021(a|b)", u" R2021a", u"R2021a ", u"2021a", u"R-021a", u"R2 21a"});
}

TEST(ReleaseRule, RefusesLineFeeds) {
  expect(kRelease, false,
         {u"R2021a\n", u"\nR2021a", u"R2021a\r\n", u"R2021a\nR2021b", u"x\nR2021a", u"R2021a\u2028",
          std::u16string(u"R2021a") + u'\0'});
}

TEST(ReleaseRule, TakesNoDigitsButAscii) {
  expect(kRelease, false, {u"R\u0662\u0660\u0662\u0661a", u"R\uff12021a", u"R202\u00b9a", u"R202\U0001d7cfa"});
}

TEST(ReleaseRule, TakesNoLettersButAscii) {
  expect(kRelease, false, {u"\uff322021a", u"R2021\uff41", u"R2021\u0430", u"R2021\u00e0"});
}

TEST(ReleaseRule, RefusesAVeryLongText) {
  expect(kRelease, false, {u"R" + std::u16string(4'000'000, u'0') + u"a", std::u16string(4'000'000, u'R')});
}

/// A locale where everything but ASCII is both letter and digit.
class MoreLetters : public std::ctype<wchar_t> {
 protected:
  bool do_is(mask wanted, wchar_t c) const override {
    if (c < 128) return std::ctype<wchar_t>::do_is(wanted, c);
    return (wanted & (alnum | digit | xdigit | alpha)) != 0;
  }
};

/// The expressions are made at their first use, so that this has to be the first use in its process to show
/// anything: ctest runs each test in a process of its own.
TEST(PropertyRules, DoNotDependOnTheProgramsLocale) {
  std::locale const before = std::locale::global(std::locale(std::locale::classic(), new MoreLetters));
  expect(kContentType, false, {vendor(u"\u00e9.b"), vendor(u"a.\u0436")});
  expect(kRelease, false, {u"R\u0662\u0660\u0662\u0661a"});
  expect(kUUIDRule, false, {u"\u00e91234567-89ab-cdef-0123-456789abcdef"});
  expect(kContentType, true, {vendor(u"a.b")});
  expect(kRelease, true, {u"R2021a"});
  std::locale::global(before);
}

TEST(PropertyRules, DoNotDependOnTheEncodingOfTheProgram) {
  ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
  EXPECT_TRUE(std::iswalpha(L'\u00e9'));
  expect(kContentType, false, {vendor(u"\u00e9.b"), vendor(u"a.\u0436")});
  expect(kRelease, false, {u"R\uff12021a"});
  expect(kContentType, true, {vendor(u"a.b")});
  std::setlocale(LC_ALL, "C");
}

}  // namespace
}  // namespace opc::ztservices
