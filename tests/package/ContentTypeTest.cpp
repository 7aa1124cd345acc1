// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

#include "opc/model/ContentType.hpp"
#include "opc/model/Exceptions.hpp"
#include "support/TestSupport.hpp"

namespace opc::model {
namespace {

using Parameters = std::vector<std::pair<std::u16string, std::u16string>>;

TEST(ContentType, HasTypeAndSubType) {
  ContentType const type(u"Text/vnd.x+XML");
  EXPECT_EQ(type.getType(), u"Text");
  EXPECT_EQ(type.getSubType(), u"vnd.x+XML");
  EXPECT_TRUE(type.getParameters().empty());
}

TEST(ContentType, ReadsParametersInOrder) {
  ContentType const type(u"a/b; x=1;y=\"2 ;\\\"\\\\\" ; Z=\"\"");
  EXPECT_EQ(type.getParameters(), (Parameters{{u"x", u"1"}, {u"y", u"2 ;\"\\"}, {u"Z", u""}}));
}

TEST(ContentType, ComesBackToTheLetter) {
  for (auto text : {u"a/b", u"A/B ; x=1", u"a/b;x=\"1\""}) EXPECT_EQ(ContentType(text).toString(), text);
}

TEST(ContentType, RefusesWhatIsNoMediaType) {
  for (auto text : {u"",
                    u"a",
                    u"a/",
                    u"/b",
                    u"a/b/c",
                    u"a /b",
                    u"a/ b",
                    u" a/b",
                    u"a/b ",
                    u"a/b;",
                    u"a/b;x",
                    u"a/b;x=",
                    u"a/b;=1",
                    u"a/b;x =1",
                    u"a/b;x= 1",
                    u"a/b x=1",
                    u"a/b;x=1;",
                    u"a/b (c)",
                    u"a/b;x=\"1",
                    u"a/b;x=\"\\",
                    u"a/b;x=\"1\"2",
                    u"a/b\r\n",
                    u"a/b;x=\"\n\"",
                    u"\u00e4/b",
                    u"a/b;x=\u00e4",
                    u"a/b;;x=1"})
    EXPECT_THROW(ContentType{text}, InvalidContentType) << std::u16string(text).size();
}

TEST(ContentType, NamesTheTextThatItRefuses) {
  EXPECT_THROW_MESSAGE(ContentType(u"no\ntype"), InvalidContentType, "Invalid content type: no\\ntype");
}

TEST(ContentType, FindsParametersInAnyCase) {
  ContentType const type(u"a/b;Encryption=aes");
  EXPECT_TRUE(type.hasParameter(u"encryption"));
  EXPECT_EQ(type.getParameterValue(u"ENCRYPTION"), u"aes");
  EXPECT_FALSE(type.hasParameter(u"iv"));
  EXPECT_EQ(type.getParameterValue(u"iv"), u"");
}

TEST(ContentType, AddsParametersAtTheEndAndQuotesWhatIsNoToken) {
  ContentType type(u"a/b; x=1");
  type.addParameter(u"y", u"q==");
  type.addParameter(u"z", u"\"\\");
  type.addParameter(u"e", u"");
  EXPECT_EQ(type.toString(), u"a/b;x=1;y=\"q==\";z=\"\\\"\\\\\";e=\"\"");
  EXPECT_EQ(ContentType(type.toString()), type);
}

TEST(ContentType, ReplacesAnExistingParameterInItsPlace) {
  ContentType type(u"a/b;x=1;y=2");
  type.addParameter(u"X", u"3");
  EXPECT_EQ(type.toString(), u"a/b;x=3;y=2");
}

TEST(ContentType, LeavesOneOfSeveralParametersOfAName) {
  ContentType type(u"a/b;x=1;y=2;X=3");
  type.addParameter(u"x", u"4");
  EXPECT_EQ(type.toString(), u"a/b;x=4;y=2");
}

TEST(ContentType, RemovesParameters) {
  ContentType type(u"a/b; x=1;y=2");
  type.removeParameter(u"nothing");
  EXPECT_EQ(type.toString(), u"a/b; x=1;y=2");
  type.removeParameter(u"X");
  EXPECT_EQ(type.toString(), u"a/b;y=2");
}

TEST(ContentType, RefusesParametersThatCannotBeWritten) {
  ContentType type(u"a/b");
  EXPECT_THROW_MESSAGE(type.addParameter(u"a b", u"1"), InvalidContentType, "Invalid content type parameter: a b=1");
  EXPECT_THROW_MESSAGE(type.addParameter(u"x", u"\r"), InvalidContentType, "Invalid content type parameter: x=\\r");
  EXPECT_THROW(type.addParameter(u"", u"1"), InvalidContentType);
  EXPECT_THROW(type.addParameter(u"x", u"\u20ac"), InvalidContentType);
  EXPECT_EQ(type.toString(), u"a/b");
}

TEST(ContentType, IsEqualInAnyCaseAndOrderOfParameters) {
  EXPECT_EQ(ContentType(u"A/b;X=1;y=2"), ContentType(u"a/B; y=\"2\";x=1"));
  EXPECT_NE(ContentType(u"a/b;x=A"), ContentType(u"a/b;x=a"));
  EXPECT_NE(ContentType(u"a/b;x=1"), ContentType(u"a/b"));
  EXPECT_NE(ContentType(u"a/b"), ContentType(u"a/c"));
}

}  // namespace
}  // namespace opc::model
