// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

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
  EXPECT_EQ(resolved(u"d/../e//f"), u"/a/b/e//f");
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
  EXPECT_EQ(resolved(u"%20%7e"), u"/a/b/%20%7e");
}

TEST(URI, RefusesToResolveWhatLeavesThePackage) {
  EXPECT_THROW_MESSAGE(resolved(u"http://host/x"), InvalidURI, "URI cannot be resolved to a part: http://host/x");
  EXPECT_THROW_MESSAGE(resolved(u"//host/x"), InvalidURI, "URI cannot be resolved to a part: //host/x");
  EXPECT_THROW_MESSAGE(resolved(u"a\xD800"), InvalidURI, "URI cannot be resolved to a part: a\\u{D800}");
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
