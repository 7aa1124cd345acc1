// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <cstddef>
#include <gtest/gtest.h>
#include <initializer_list>
#include <random>
#include <string>

#include "xml/XmlTestSupport.hpp"

using namespace opc::model;
using zt_test::listOf;
using zt_test::utf16;

namespace {

/// Both doors, without and with the schema of lists. What one says to a document the other has to say too.
class BothDoors {
 public:
  BothDoors() { XercesHelper::loadSchema(parser_.get(), zt_test::kListSchema, "list.xsd"); }

  std::string fault(std::string const& document, bool validate = false) {
    std::string const streamed = zt_test::streamFault(validate ? validating_ : plain_, document);
    EXPECT_EQ(zt_test::domFault(parser_.get(), document, validate), streamed);
    return streamed;
  }

 private:
  XercesGuard guard_;
  zt_test::Parser parser_{XercesHelper::createParser()};
  XmlStreamReader plain_;
  XmlStreamReader validating_{loadXmlGrammars({{"list.xsd", zt_test::kListSchema}})};
};

struct Case {
  std::string document;
  std::string fault;
};

void expectAll(std::initializer_list<Case> cases, bool validate) {
  BothDoors doors;
  for (Case const& one : cases) {
    EXPECT_EQ(doors.fault(one.document, validate), one.fault) << one.document;
    EXPECT_EQ(doors.fault(listOf("<entry id='1'/>"), validate), "") << "after " << one.document;
  }
}

}  // namespace

TEST(XmlDocuments, AreRefusedWhereNotWellFormed) {
  expectAll({{"", "line 1, column 1: invalid document structure"},
             {" \n ", "line 2, column 2: invalid document structure"},
             {"<a>", "line 1, column 4: input ended before all started tags were ended; last tag started is 'a'"},
             {"<a></b>", "line 1, column 6: expected end of tag 'a'"},
             {"<a/><b/>", "line 1, column 5: comment or processing instruction expected"},
             {"<a b='1' b='2'/>", "line 1, column 17: attribute 'b' is already specified for element 'a'"},
             {"<a b='<'/>", "line 1, column 11: '<' character cannot be used in attribute value 'b'; use &lt; instead"},
             {"<a>&x;</a>", "line 1, column 7: entity 'x' not found"},
             {"<a>]]></a>", "line 1, column 7: ']]>' sequence is not allowed in character data"},
             {"<a><!-- -- --></a>", "line 1, column 12: '--' sequence is illegal in comment"},
             {"<x:a/>", "line 1, column 7: prefix 'x' can not be resolved to namespace URI"},
             {"<a>&#0;</a>", "line 1, column 8: invalid character reference"},
             {"<a>\x01</a>", "line 1, column 5: invalid character 0x1"},
             {"<a/><?xml version='1.0'?>", "line 1, column 11: invalid content after root element's end tag"}},
            false);
}

TEST(XmlDocuments, AreRefusedWhereNotValid) {
  expectAll({{"<other/>", "line 1, column 9: no declaration found for element 'other'"},
             {"<list/>", "line 1, column 8: no declaration found for element 'list'"}},
            true);
  BothDoors doors;
  for (std::string const inner :
       {"<other/>", "<entry/>", "<entry id=''/>", "<entry id='0'/>", "<entry id='x'/>", "<entry id='1' more=''/>",
        "<entry id='1'><entry id='2'/></entry>", "text", "<entry id='1'>two words</entry>", "<entry xmlns='' id='1'/>",
        "<entry xmlns:x='http://www.w3.org/2001/XMLSchema-instance' x:type='y' id='1'/>",
        "<entry xml:base='/' id='1'/>", "<!-- --><list/>"})
    EXPECT_EQ(doors.fault(listOf("\n" + inner), true).substr(0, 15), "line 2, column ") << inner;
}

TEST(XmlDocuments, AreRefusedAsBrokenEvenAfterAnInvalidPlace) {
  expectAll({{listOf("<other/>\n</a>"), "line 2, column 3: expected end of tag 'list'"},
             {listOf("<other/>\n\x02"), "line 2, column 2: invalid character 0x2"}},
            true);
}

TEST(XmlDocuments, AreRefusedWithADocumentType) {
  std::string const billionLaughs =
      "<!DOCTYPE a [<!ENTITY b 'lol'><!ENTITY c '&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;'>]><a>&c;</a>";
  expectAll({{"<!DOCTYPE a><a/>", "line 1, column 13: A document type declaration is not allowed"},
             {billionLaughs, "line 1, column 13: A document type declaration is not allowed"},
             {"<!DOCTYPE a SYSTEM 'file:///etc/passwd'><a/>",
              "line 1, column 40: A document type declaration is not allowed"},
             {"<!DOCTYPE a PUBLIC 'x' 'http://127.0.0.1:1/'><a/>",
              "line 1, column 45: A document type declaration is not allowed"},
             {"<!DOCTYPE a [<!ENTITY b SYSTEM '/etc/passwd'>]><a>&b;</a>",
              "line 1, column 13: A document type declaration is not allowed"},
             {"\xFE\xFF" + utf16("<!DOCTYPE a><a/>"), "line 1, column 13: A document type declaration is not allowed"},
             {"\xFF\xFE" + utf16("<!DOCTYPE a><a/>", false),
              "line 1, column 13: A document type declaration is not allowed"}},
            false);
}

TEST(XmlDocuments, AreRefusedInOtherVersions) {
  expectAll({{"<?xml version='1.1'?><a/>", "line 1, column 22: XML version '1.1' is not supported"},
             {"<?xml version='1.2'?><a/>", "line 1, column 22: XML version '1.2' is not supported"}},
            false);
}

TEST(XmlDocuments, AreRefusedInOtherEncodings) {
  std::string const start = "<?xml version='1.0' encoding='";
  expectAll(
      {{start + "ISO-8859-1'?><a/>", "line 1, column 44: Encoding 'ISO-8859-1' is not supported"},
       {start + "US-ASCII'?><a/>", "line 1, column 42: Encoding 'US-ASCII' is not supported"},
       {start + "UTF-7'?><a/>", "line 1, column 39: Encoding 'UTF-7' is not supported"},
       {"\xFE\xFF" + utf16(start + "UTF-16BE'?><a/>"), "line 1, column 42: Encoding 'UTF-16BE' is not supported"},
       {start + "UTF-16'?><a/>", "line 1, column 40: The document is not in the encoding 'UTF-16' that it declares"},
       {"\xFE\xFF" + utf16(start + "UTF-8'?><a/>"),
        "line 1, column 39: The document is not in the encoding 'UTF-8' that it declares"},
       {std::string("\0\0\0<\0\0\0a\0\0\0/\0\0\0>", 16),
        "line 1, column 1: The document is neither in UTF-8 nor in UTF-16"},
       {std::string("<\0\0\0a\0\0\0/\0\0\0>\0\0\0", 16),
        "line 1, column 1: The document is neither in UTF-8 nor in UTF-16"},
       {std::string("\xFF\xFE\0\0<\0\0\0", 8), "line 1, column 1: The document is neither in UTF-8 nor in UTF-16"},
       {"\x4C\x6F\xA7\x94\x93", "line 1, column 1: The document is neither in UTF-8 nor in UTF-16"}},
      false);
  EXPECT_NE(BothDoors().fault(start + "no-such'?><a/>"), "");
}

TEST(XmlDocuments, AreRefusedWithBytesThatAreNoText) {
  BothDoors doors;
  for (std::string const bytes :
       {"\xC0\xAF", "\xC0\x80", "\xE0\x80\xAF", "\xF0\x80\x80\xAF", "\xED\xA0\x80", "\xED\xA0\x80\xED\xB0\x80", "\xFF",
        "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80", "\x80", "\xE2\x82", "\xEF\xBF\xBE", "\xEF\xBF\xBF"})
    EXPECT_NE(doors.fault("<a>" + bytes + "</a>"), "");
  for (std::string const unit : {"\xD8\x00", "\xDC\x00", "\xFF\xFF"})
    EXPECT_NE(doors.fault("\xFE\xFF" + utf16("<a>") + std::string(unit.data(), 2) + utf16("</a>")), "");
}

TEST(XmlDocuments, AreRefusedWithNulWhereverItStands) {
  BothDoors doors;
  std::string const nul(1, '\0');
  for (std::string const& text : {"<a>" + nul + "</a>", "<a b='" + nul + "'/>", "<a/>" + nul, "<a/>" + nul + "junk",
                                  nul, "\xFE\xFF" + utf16("<a/>") + nul + nul})
    EXPECT_NE(doors.fault(text), "");
  EXPECT_EQ(doors.fault("<a>\n" + std::string(100'000, 'x') + "\n12" + nul + "</a>"),
            "line 3, column 3: The document holds the character U+0000");
}

TEST(XmlDocuments, AreRefusedWhereTheyEndWithinACharacter) {
  BothDoors doors;
  for (std::string const end : {"\xC3", "\xE2", "\xE2\x82", "\xF0", "\xF0\x9F", "\xF0\x9F\x98"})
    EXPECT_EQ(doors.fault("<a>0123456789</a>" + end), "line 1, column 18: The document ends within a character");
  EXPECT_EQ(doors.fault("\xFE\xFF" + utf16("<a>0123456789</a>") + "x"),
            "line 1, column 18: The document ends within a character");
}

TEST(XmlDocuments, AreTakenToTheLastLevel) {
  BothDoors doors;
  auto const nested = [](std::size_t depth) {
    std::string open, close;
    for (std::size_t i = 0; i < depth; ++i) open += "<a>", close += "</a>";
    return open + close;
  };
  EXPECT_EQ(doors.fault(nested(256)), "");
  EXPECT_EQ(doors.fault(nested(257)), "line 1, column 772: Elements are nested more than 256 deep");
  std::string siblings = "<a>";
  for (int i = 0; i < 1000; ++i) siblings += "<b/><b></b>";
  EXPECT_EQ(doors.fault(siblings + "</a>"), "");
}

TEST(XmlDocuments, AreRefusedQuicklyWhenAMillionLevelsDeep) {
  std::string text;
  for (int i = 0; i < 1'000'000; ++i) text += "<a>";
  BothDoors doors;
  auto const start = std::chrono::steady_clock::now();
  EXPECT_EQ(doors.fault(text), "line 1, column 772: Elements are nested more than 256 deep");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

TEST(XmlDocuments, AreRefusedWithAnAttributeOfMoreThanAMebibyte) {
  BothDoors doors;
  std::string const most(1'048'576, 'x');
  EXPECT_EQ(doors.fault("<a b='" + most + "'/>"), "");
  EXPECT_EQ(doors.fault("<a b='" + most + "' c=\"" + most + "\"/>"), "");
  EXPECT_NE(doors.fault("<a b='" + most + "x'/>").find("An attribute is longer than 1048576 bytes"), std::string::npos);
  EXPECT_NE(doors.fault("\xFE\xFF" + utf16("<a b='" + most.substr(524'288) + "x'/>"))
                .find("An attribute is longer than 1048576 bytes"),
            std::string::npos);
}

TEST(XmlDocuments, AreRefusedWithTooManyAttributes) {
  BothDoors doors;
  auto const with = [](int count) {
    std::string text = "<a";
    for (int i = 0; i < count; ++i) text += " a" + std::to_string(i) + "=''";
    return text + "/>";
  };
  EXPECT_EQ(doors.fault(with(4096)), "");
  EXPECT_NE(doors.fault(with(4097)).find("An element has more than 4096 attributes"), std::string::npos);
}

TEST(XmlDocuments, AreJudgedAlikeByBothDoorsHoweverDamaged) {
  std::string const sound =
      "<?xml version='1.0' encoding='UTF-8'?>\n<!-- c --><list xmlns=\"urn:list\" xmlns:x='urn:x'>\n"
      "<entry id='1'>w\xC3\xA9&amp;</entry><?p i?>\n<entry id='2'><![CDATA[x]]></entry></list>\n";
  std::string const spice(
      "<>&\"'/!?-[]=: \0\x01\x80\xC3\xED\xF4\xFF"
      "ax",
      24);
  BothDoors doors;
  std::mt19937 random(7);
  for (int i = 0; i < 3000; ++i) {
    std::string text = sound;
    for (std::size_t n = 1 + random() % 3; n > 0; --n) {
      std::size_t const at = random() % text.size();
      switch (random() % 4) {
        case 0:
          text[at] = spice[random() % spice.size()];
          break;
        case 1:
          text.erase(at, 1 + random() % 4);
          break;
        case 2:
          text.insert(at, 1, spice[random() % spice.size()]);
          break;
        default:
          text.insert(at, text.substr(random() % text.size(), random() % 20));
          break;
      }
    }
    SCOPED_TRACE(text);
    doors.fault(text, i % 2 == 0);
  }
  EXPECT_EQ(doors.fault(sound, true), "");
}

TEST(XmlDocuments, ReferToTheFiveEntitiesAsOftenAsTheyLike) {
  std::string text = "<a>";
  for (int i = 0; i < 10'000; ++i) text += "&amp;&lt;&gt;&quot;&apos;&#65;";
  EXPECT_EQ(BothDoors().fault(text + "</a>"), "");
}

TEST(XmlDocuments, AreNotPutTogetherFromOthers) {
  XercesGuard const guard;
  zt_test::Parser const parser(XercesHelper::createParser());
  zt_test::Document const document = zt_test::parse(
      parser.get(), "<a xmlns:x='http://www.w3.org/2001/XInclude'><x:include href='/etc/hostname' parse='text'/></a>");
  std::u16string text;
  XercesHelper::getElementText(document->getDocumentElement(), text);
  EXPECT_EQ(text, u"");
}
