// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <iterator>
#include <random>
#include <string>
#include <string_view>

#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/URI.hpp"
#include "support/TestSupport.hpp"

namespace opc::model {
namespace {

std::u16string resolved(char16_t const* reference, char16_t const* base = u"/a/b/c.xml") {
  return URI(reference).resolvedAgainst(URI(base)).toString();
}

TEST(URI, KeepsItsTextToTheLetter) { EXPECT_EQ(URI(u"a%2fB c").toString(), u"a%2fB c"); }

TEST(URI, KnowsSlashAndDot) {
  EXPECT_EQ(URI::getSlash(), u'/');
  EXPECT_EQ(URI::getDot(), u'.');
}

TEST(URI, TellsASchemeFromAPath) {
  for (auto text : {u"http://x", u"a:b", u"A+.-1:", u"mailto:x"}) EXPECT_TRUE(URI(text).hasScheme());
  for (auto text : {u"", u"a/b:c", u"/a:b", u"1a:b", u":a", u"a", u"//h:1/x", u"#a:b"})
    EXPECT_FALSE(URI(text).hasScheme());
}

TEST(URI, ResolvesRelativePathsAgainstTheFolderOfTheBase) {
  EXPECT_EQ(resolved(u"d.xml"), u"/a/b/d.xml");
  EXPECT_EQ(resolved(u"./d.xml"), u"/a/b/d.xml");
  EXPECT_EQ(resolved(u"../d.xml"), u"/a/d.xml");
  EXPECT_EQ(resolved(u"d/../e/f"), u"/a/b/e/f");
  EXPECT_EQ(resolved(u"d", u"/"), u"/d");
}

TEST(URI, ResolvesAbsolutePathsByThemselves) { EXPECT_EQ(resolved(u"/x/./y/../z"), u"/x/z"); }

TEST(URI, NeverClimbsAboveTheRoot) {
  EXPECT_EQ(resolved(u"../../../../etc/passwd"), u"/etc/passwd");
  EXPECT_EQ(resolved(u"/.."), u"/");
  EXPECT_EQ(resolved(u"../.."), u"/");
  EXPECT_EQ(resolved(u".."), u"/a/");
  EXPECT_EQ(resolved(u"."), u"/a/b/");
}

TEST(URI, DropsQueryAndFragment) {
  EXPECT_EQ(resolved(u"d.xml?q=1#f"), u"/a/b/d.xml");
  EXPECT_EQ(resolved(u"#f"), u"/a/b/c.xml");
  EXPECT_EQ(resolved(u"", u"/a/b.xml?x#y"), u"/a/b.xml");
}

TEST(URI, EncodesWhatAUriCannotHoldWhenItResolves) {
  EXPECT_EQ(resolved(u"d e\u00e4\U0001F600.xml"), u"/a/b/d%20e%C3%A4%F0%9F%98%80.xml");
}

// ECMA-376-2, A.4
TEST(URI, TurnsUnicodeStringsIntoPartNames) {
  EXPECT_EQ(resolved(u"/a/b.xml"), u"/a/b.xml");
  EXPECT_EQ(resolved(u"/a/\u0446.xml"), u"/a/%D1%86.xml");
  EXPECT_EQ(resolved(u"/%41/%61.xml"), u"/A/a.xml");
  EXPECT_EQ(resolved(u"/%25XY.xml"), u"/%25XY.xml");
  EXPECT_EQ(resolved(u"/%XY.xml"), u"/%25XY.xml");
  EXPECT_EQ(resolved(u"/%2541.xml"), u"/%2541.xml");
  EXPECT_EQ(resolved(u"/../a.xml"), u"/a.xml");
  EXPECT_EQ(resolved(u"/./\u0446.xml"), u"/%D1%86.xml");
  EXPECT_EQ(resolved(u"/%2e/%2E/a.xml"), u"/a.xml");
  EXPECT_EQ(resolved(u"\\a.xml"), u"/a.xml");
  EXPECT_EQ(resolved(u"\\%41.xml"), u"/A.xml");
  EXPECT_EQ(resolved(u"/%D1%86.xml"), u"/%D1%86.xml");
  EXPECT_EQ(resolved(u"\\%2e/a.xml"), u"/a.xml");
}

// ECMA-376-2, A.3, steps 1 and 2
TEST(URI, EncodesBracketsAndBarePercentSigns) {
  EXPECT_EQ(resolved(u"a[1].xml"), u"/a/b/a%5B1%5D.xml");
  EXPECT_EQ(resolved(u"100%"), u"/a/b/100%25");
  EXPECT_EQ(resolved(u"%4"), u"/a/b/%254");
  EXPECT_EQ(resolved(u"%%41%4G"), u"/a/b/%25A%254G");
}

// ECMA-376-2, A.3, steps 3 to 5
TEST(URI, DecodesUnreservedCharactersAndSlashesOnce) {
  EXPECT_EQ(resolved(u"%20%7e%2D%5f%2e%5A"), u"/a/b/%20~-_.Z");
  EXPECT_EQ(resolved(u"x%2fy%5Cz"), u"/a/b/x/y/z");
  EXPECT_EQ(resolved(u"..\\x\\y.xml"), u"/a/x/y.xml");
  EXPECT_EQ(resolved(u"%2e%2e%2fx"), u"/a/x");
  EXPECT_EQ(resolved(u"%252e%00%c3"), u"/a/b/%252e%00%c3");
}

// ECMA-376-2, A.3, steps 6 to 9
TEST(URI, DropsWhatNoSegmentMayBe) {
  EXPECT_EQ(resolved(u"x./y../z."), u"/a/b/x/y/z");
  EXPECT_EQ(resolved(u"x//y///z"), u"/a/b/x/y/z");
  EXPECT_EQ(resolved(u"x/y/"), u"/a/b/x/y");
  EXPECT_EQ(resolved(u"x/.../y/....../z"), u"/a/b/x/y/z");
  EXPECT_EQ(resolved(u".x"), u"/a/b/.x");
}

TEST(URI, ResolvesToTheBaseWhereNoPathIsLeft) {
  EXPECT_EQ(resolved(u"..."), u"/a/b/c.xml");
  EXPECT_EQ(resolved(u"/"), u"/");
  EXPECT_EQ(resolved(u"/..."), u"/");
}

TEST(URI, RefusesToResolveWhatLeavesThePackage) {
  EXPECT_THROW_MESSAGE(resolved(u"http://host/x"), InvalidURI, "URI cannot be resolved to a part: http://host/x");
  EXPECT_THROW_MESSAGE(resolved(u"//host/x"), InvalidURI, "URI cannot be resolved to a part: //host/x");
  EXPECT_THROW_MESSAGE(resolved(u"a\xD800"), InvalidURI, "URI cannot be resolved to a part: a\\u{D800}");
}

TEST(URI, ResolvesToWhatResolvesToItself) {
  std::u16string_view const pieces[] = {u"/", u"\\", u".",   u"..", u"%2e", u"%2F", u"%5c",
                                        u"%", u"%4", u"%41", u"a",  u"[",   u" ",   u"\u00e9"};
  std::mt19937 random(1);
  for (int i = 0; i < 20'000; ++i) {
    std::u16string text = u"a";  // two slashes in front would be an authority
    for (auto count = random() % 10; count > 0; --count) text += pieces[random() % std::size(pieces)];
    std::u16string name = URI(text).resolvedAgainst(URI(u"/a/b/c.xml")).toString();
    EXPECT_EQ(name.find(u"//"), std::u16string::npos);
    EXPECT_EQ((name + u"/").find(u"./"), std::u16string::npos);
    if (name.size() > 1 && name.back() == u'/') name.pop_back();
    EXPECT_EQ(URI(name).resolvedAgainst(URI(u"/x")), URI(name)) << toUTF8String(text);
  }
}

TEST(URI, EncodesComponentsButForUnreservedAndAllowedCharacters) {
  EXPECT_EQ(URI::encodeComponent(u"aZ09-._~", ""), u"aZ09-._~");
  EXPECT_EQ(URI::encodeComponent(u"/a b+@%", "/+@"), u"/a%20b+@%25");
  EXPECT_EQ(URI::encodeComponent(u"/a+@", ""), u"%2Fa%2B%40");
  EXPECT_EQ(URI::encodeComponent(u"", "/"), u"");
}

TEST(URI, EncodesUtf8BytesInUpperCase) {
  EXPECT_EQ(URI::encodeComponent(u"\u00fc\u20ac\U0001F600", ""), u"%C3%BC%E2%82%AC%F0%9F%98%80");
  EXPECT_EQ(URI::encodeComponent(std::u16string(u"\0\x7F", 2), ""), u"%00%7F");
}

TEST(URI, RefusesLoneSurrogatesInComponents) {
  for (auto text : {u"\xD800", u"\xDC00", u"\xD800x", u"x\xDBFF"})
    EXPECT_THROW(URI::encodeComponent(text, ""), InvalidText);
}

}  // namespace
}  // namespace opc::model
