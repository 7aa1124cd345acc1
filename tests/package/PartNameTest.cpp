// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <string>

#include "opc/model/PartName.hpp"
#include "package/PartNameRules.hpp"

namespace opc::model {
namespace {

bool isValid(std::u16string const& text) { return PartName(text).isValid(); }

TEST(PartName, HoldsAnyText) {
  EXPECT_EQ(PartName(u"no name at all..").toString(), u"no name at all..");
  EXPECT_EQ(PartName(URI(u"/a")).toString(), u"/a");
  EXPECT_EQ(PartName(u"/a").getURI(), URI(u"/a"));
  EXPECT_EQ(PartName().toString(), u"");
}

TEST(PartName, AcceptsWhatTheGrammarAllows) {
  for (auto text :
       {u"/a", u"/a/b.xml", u"/_rels/.rels", u"/-._~!$&'()*+,;=:@z", u"/%20%C3%bc%25", u"/.a", u"/..a", u"/a..b"})
    EXPECT_TRUE(isValid(text)) << PartName(text).toString().size();
}

TEST(PartName, RejectsEmptyAndRelativeNames) {
  for (auto text : {u"", u"/", u"a", u"a/b", u"./a"}) EXPECT_FALSE(isValid(text));
}

TEST(PartName, RejectsEmptySegments) {
  for (auto text : {u"//", u"//a", u"/a//b", u"/a/", u"/a/b/"}) EXPECT_FALSE(isValid(text));
}

TEST(PartName, RejectsTrailingDot) {
  for (auto text : {u"/a.", u"/a./b", u"/.", u"/..", u"/a/.", u"/a/../b", u"/..."}) EXPECT_FALSE(isValid(text));
}

TEST(PartName, RejectsEncodedSlashBackslashAndNul) {
  for (auto text : {u"/a%2Fb", u"/a%2fb", u"/a%5Cb", u"/a%5cb", u"/a%00"}) EXPECT_FALSE(isValid(text));
}

TEST(PartName, RejectsEncodedUnreservedCharacters) {
  for (auto text : {u"/%41", u"/%7E", u"/%7e", u"/%2E", u"/%2e%2e", u"/%30", u"/%5F", u"/%2D"})
    EXPECT_FALSE(isValid(text));
}

TEST(PartName, RejectsBrokenEncodings) {
  for (auto text : {u"/%", u"/a%2", u"/%G0", u"/%0G", u"/%%20", u"/a%/b"}) EXPECT_FALSE(isValid(text));
}

TEST(PartName, RejectsEverythingElse) {
  for (char16_t c = 0; c < 0x180; ++c) {
    bool const isPchar = c < 0x80 && std::string("!$&'()*+,;=:@-_~.").find(static_cast<char>(c)) != std::string::npos;
    bool const isAlnum = (c >= u'0' && c <= u'9') || (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z');
    EXPECT_EQ(isValid(std::u16string(u"/a") + c + u"b"), isPchar || isAlnum || c == u'/') << static_cast<int>(c);
  }
  EXPECT_FALSE(isValid(u"/\xD800"));
}

TEST(PartName, KnowsRelationshipsParts) {
  for (auto text : {u"/_rels/.rels", u"/_rels/a.rels", u"/a/_rels/b.xml.rels", u"/A/_RELS/B.RELS", u"/a/_rels/.rels"})
    EXPECT_TRUE(PartName(text).isRelationshipsPart());
  for (auto text : {u"", u"/", u"/.rels", u"/a.rels", u"/_rels", u"/_rels/a", u"/_rels/a.rels/b", u"/x_rels/a.rels",
                    u"/_rels/a/b.rels", u"_rels/.rels", u"/_rels/rels", u"/_rels/a.relsx"})
    EXPECT_FALSE(PartName(text).isRelationshipsPart());
}

TEST(PartName, IsEquivalentInAnyAsciiCase) {
  EXPECT_TRUE(PartName(u"/A%c3b").isEquivalentTo(PartName(u"/a%C3B")));
  EXPECT_FALSE(PartName(u"/\u00e4").isEquivalentTo(PartName(u"/\u00c4")));
  EXPECT_FALSE(PartName(u"/a").isEquivalentTo(PartName(u"/ab")));
}

TEST(PartName, ComparesByCodeUnit) {
  EXPECT_NE(PartName(u"/A"), PartName(u"/a"));
  EXPECT_LT(PartName(u"/B"), PartName(u"/a"));
  EXPECT_LT(PartName(u"/a.b"), PartName(u"/a/b"));
}

TEST(PartNameRules, RelationshipsNamesAndSourcesAreInverse) {
  for (std::string source : {"", "/a", "/a/b.xml", "/a.b/c"})
    EXPECT_EQ(detail::sourceNameOf(detail::relationshipsNameOf(source)), source);
  EXPECT_EQ(detail::relationshipsNameOf(""), "/_rels/.rels");
  EXPECT_EQ(detail::relationshipsNameOf("/a/b.xml"), "/a/_rels/b.xml.rels");
  EXPECT_EQ(detail::sourceNameOf("/a/_rels/.rels"), "/a/");
}

TEST(PartNameRules, TakesTheExtensionFromTheLastSegment) {
  EXPECT_EQ(detail::extensionOf("/a.b/c.D.XmL"), "xml");
  EXPECT_EQ(detail::extensionOf("/a.b/c"), "");
  EXPECT_EQ(detail::extensionOf("/.rels"), "rels");
  EXPECT_EQ(detail::extensionOf("a.x"), "x");
}

}  // namespace
}  // namespace opc::model
