// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <string>

#include "opc/model/XmlExceptions.hpp"
#include "xml/XmlCharacters.hpp"

namespace opc::model {
namespace {

TEST(NCName, FollowsTheGrammar) {
  for (auto text : {u"a", u"_", u"A-1._\u00b7", u"\u00e4\u4e2d", u"\xD800\xDC00z"}) EXPECT_TRUE(isNCName(text));
  for (auto text :
       {u"", u"1a", u"-a", u".", u"a:b", u"a b", u" a", u"\u00d7", u"a\xD800", u"\xDC00", u"a/b", u"\xDB80\xDC00"})
    EXPECT_FALSE(isNCName(text));
}

TEST(XmlText, HoldsEveryCharacterThatXmlCanCarry) {
  for (char32_t c = 0; c < 0x10000; ++c) {
    bool const isLayout = c == '\t' || c == '\n' || c == '\r';
    bool const isCarried = (c >= 0x20 || isLayout) && (c < 0xD800 || c > 0xDFFF) && c < 0xFFFE;
    EXPECT_EQ(isXmlText(std::u16string{u'a', static_cast<char16_t>(c)}), isCarried) << static_cast<unsigned>(c);
  }
  EXPECT_TRUE(isXmlText(u"\U00010000\U0001FFFF\U0010FFFF"));
}

TEST(XmlText, IsWhatCanBeWritten) {
  for (std::u16string const& text : {std::u16string(), std::u16string(u"a\u00e9\U0001F600"), std::u16string{0xD800},
                                     std::u16string{0xDC00, 0xD800}, std::u16string{u'a', 0xFFFF}, std::u16string{1}}) {
    if (isXmlText(text))
      EXPECT_NO_THROW(requireXmlCharacters(text));
    else
      EXPECT_THROW(requireXmlCharacters(text), InvalidXMLDocument);
  }
}

}  // namespace
}  // namespace opc::model
