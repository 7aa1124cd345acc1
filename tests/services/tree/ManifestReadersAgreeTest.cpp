// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <string_view>
#include <typeinfo>
#include <utility>
#include <vector>

#include "opc/Exception.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "services/tree/FileSystemManifest.hpp"
#include "services/tree/ManifestSamples.hpp"
#include "services/tree/NodeSamples.hpp"
#include "services/tree/PlainManifestReader.hpp"
#include "support/BoundedRun.hpp"
#include "support/TestSupport.hpp"

/// Holds what becomes of a manifest against what a validating parser alone makes of it.
namespace opc::ztservices {
namespace {

using manifest_samples::SteppedInput;
using manifest_samples::written;

/// The tree that the call leaves, and the fault that it throws.
template <typename Read>
std::string outcomeOfReading(std::string const& document, Read const& read) {
  FileSystemTree tree;
  std::string fault = "no fault";
  SteppedInput input(document, 50'000);
  try {
    read(input, tree);
  } catch (Exception const& thrown) {
    fault = std::string(typeid(thrown).name()) + ": " + thrown.what();
  }
  try {
    return fault + "\n" + toUTF8String(tree.getVersion()) + "\n" + written(tree);
  } catch (Exception const& thrown) {  // a tree that cannot be written
    return fault + "\n" + thrown.what();
  }
}

std::string asItIsRead(std::string const& document) {
  return outcomeOfReading(document, [](InputStream& input, FileSystemTree& tree) {
    static FileSystemManifest manifest;
    manifest.read(input, tree);
  });
}

std::string asAParserReads(std::string const& document) {
  return outcomeOfReading(document, [](InputStream& input, FileSystemTree& tree) {
    static model::XmlStreamReader parser(manifestGrammars());
    ManifestReader handler(tree);
    try {
      parser.read(input, handler);
    } catch (model::InvalidXMLDocument const& fault) {
      tree.clear();
      throw model::InvalidPartContent(fault.what(), fault.getErrorCode());
    }
  });
}

bool isReadWithoutParser(std::string const& document) {
  SteppedInput input(document, 50'000);
  FileSystemTree tree;
  ManifestReader handler(tree);
  return PlainManifestReader(input).read(handler);
}

/// A file, a link, an empty folder and a deflated file, as they are written.
std::string ownDocument() {
  FileSystemTree tree;
  tree.setPlatform(u"glnxa64");
  tree.setEncoding(u"UTF-8");
  tree.addNode(makeFileNode(u"/a & b", u"/fsroot/a", Perms::Perms_tag{0644}, node_samples::kLeapDay));
  tree.addNode(makeFolderNode(u"/empty", Perms::Perms_tag{0750}, node_samples::kUnknown));
  tree.addNode(makeFileNode(u"/f\u00E9", u"/fsroot/f", kUnknownPermissions, node_samples::kUnknown));
  tree.addNode(makeLinkNode(u"/link", u"../\U0001F600", kUnknownPermissions, node_samples::kLeapDay));
  tree.setDeflatedFrom(u"/f\u00E9", 123);
  return written(tree);
}

/// What hostile or careless writers put into documents. Raw bytes are among it.
std::vector<std::string> fragments() {
  using namespace std::string_literals;
  std::vector<std::string> all{
      // characters and references
      "&#0;", "&#x1;", "&#x1F;", "&#x7F;", "&#xD800;", "&#xFFFE;", "&#x110000;", "&#x10FFFF;", "&#65;", "&#x41;",
      "&#x9;", "&#xA;", "&#xD;", "&apos;", "&gt;", "&amp;", "&lt;", "&quot;", "&undefined;", "&", "&;", "&#;", "&#x;",
      "&amp", "&#38;#60;", "<", ">", "\"", "'", "]]>", "%",
      // bytes that are no UTF-8, and characters at its edges
      "\x80", "\xC0\x80", "\xC1\xBF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xED\xBF\xBF", "\xEF\xBF\xBE", "\xEF\xBF\xBF",
      "\xEF\xBB\xBF", "\xF0\x9F\xBF\xBE", "\xF4\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xC3",
      "\xE2\x80", "\xC2\x85", "\xE2\x80\xA8", "\xEE\x80\x80", "\xFF", "\xFE\xFF", "\0"s,
      // attributes
      " name=\"/x\"", " content=\"c\"", " type=\"File\"", " date=\"2020-01-01T00:00:00Z\"", " permissions=\"0644\"",
      " version=\"2.0\"", " other=\"x\"", " xml:space=\"preserve\"", " xmlns:p=\"urn:p\"", " p:name=\"x\"",
      " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xsi:nil=\"true\"", " xmlns=\"urn:other\"",
      " xmlns=\"\"",
      // markup
      "<!-- -->", "<!-- -- -->", "<![CDATA[x]]>", "<?pi x?>", "<?xml version=\"1.0\"?>", "<!DOCTYPE fileEntries>",
      "<!DOCTYPE fileEntries [<!ENTITY undefined \"x\">]>", "<fileEntry/>", "<x/>", "</fileEntry>", "</fileEntries>",
      "/>", "DEFLATE 5", "text"};
  for (char c = 1; c < 0x21; ++c) all.emplace_back(1, c);
  all.insert(all.end(), {"\x7F", "\r\n", "\n\n", "  "});
  return all;
}

std::string replaced(std::string document, std::string_view what, std::string const& by) {
  return document.replace(document.find(what), what.size(), by);
}

TEST(ManifestReaders, AgreeOnWhatIsWritten) {
  EXPECT_TRUE(isReadWithoutParser(ownDocument()));
  EXPECT_EQ(asItIsRead(ownDocument()), asAParserReads(ownDocument()));
}

/// The fourth entry and the root, whose parts differ in kind.
TEST(ManifestReaders, AgreeOnAFragmentAtAnyPlace) {
  std::string const document = ownDocument();
  std::size_t const step = zt_test::kUnderAddressSanitizer ? 97 : 7;
  std::size_t offset = 0, accepted = 0;
  for (std::string const& fragment : fragments()) {
    for (std::size_t at = offset++ % step; at <= document.size(); at += step) {
      std::string other = document;
      other.insert(at, fragment);
      ASSERT_EQ(asItIsRead(other), asAParserReads(other)) << other;
      accepted += isReadWithoutParser(other);
    }
  }
  EXPECT_GT(accepted, 700U / step) << "the reader without a parser hardly took part";
}

TEST(ManifestReaders, AgreeOnSeveralChanges) {
  std::mt19937 random(16);
  auto const below = [&](std::size_t count) { return random() % count; };
  auto const all = fragments();
  std::string const document = ownDocument();
  for (std::size_t round = 0, rounds = zt_test::kUnderAddressSanitizer ? 300 : 3'000; round < rounds; ++round) {
    std::string other = document;
    for (std::size_t count = 1 + below(3); count > 0; --count) {
      std::size_t const from = below(other.size()), length = below(40);
      switch (below(4)) {
        case 0:
          other.erase(from, length);
          break;
        case 1:
          other.insert(below(other.size()), other.substr(from, length));
          break;
        case 2:
          other.replace(from, length, all[below(all.size())]);
          break;
        default:
          other.insert(from, all[below(all.size())]);
      }
      if (other.empty()) other = document;
    }
    ASSERT_EQ(asItIsRead(other), asAParserReads(other)) << other;
  }
}

TEST(ManifestReaders, AgreeOnLinesThatAreLeftOutRepeatedOrExchanged) {
  std::string const document = ownDocument();
  std::vector<std::string> lines;
  for (std::size_t from = 0; from < document.size();) {
    std::size_t const end = document.find('\n', from) + 1;
    lines.push_back(document.substr(from, end - from));
    from = end;
  }
  auto const joined = [](std::vector<std::string> const& some) {
    std::string text;
    for (std::string const& line : some) text += line;
    return text;
  };
  for (std::size_t i = 0; i < lines.size(); ++i)
    for (std::size_t j = 0; j < lines.size(); ++j) {
      auto exchanged = lines, repeated = lines, missing = lines;
      std::swap(exchanged[i], exchanged[j]);
      repeated.insert(repeated.begin() + static_cast<std::ptrdiff_t>(j), lines[i]);
      missing.erase(missing.begin() + static_cast<std::ptrdiff_t>(i));
      for (auto const& some : {exchanged, repeated, missing})
        ASSERT_EQ(asItIsRead(joined(some)), asAParserReads(joined(some))) << joined(some);
    }
}

TEST(ManifestReaders, AgreeOnValuesOfAttributes) {
  std::string const time = " date=\"" + toUTF8String(convertTimeToString(node_samples::kLeapDay)) + "\"";
  for (std::string const value : {"",
                                  " ",
                                  "2020-01-01",
                                  "2020-01-01T00:00:00",
                                  "2020-01-01T24:00:00Z",
                                  "2020-01-01T00:00:00+14:00",
                                  "2020-01-01T00:00:00.1234567Z",
                                  "-2020-01-01T00:00:00Z",
                                  "12020-01-01T00:00:00Z",
                                  "0001-01-01T00:00:00Z",
                                  "1000-01-01T00:00:00Z",
                                  "1399-01-01T00:00:00Z",
                                  "9999-12-31T23:59:59.999999Z",
                                  "2100-02-29T00:00:00Z",
                                  "2020-1-01T00:00:00Z",
                                  "2020-01-01t00:00:00z",
                                  "2020-00-01T00:00:00Z",
                                  "2020-01-00T00:00:00Z",
                                  "2020-01-01T00:00:00Z ",
                                  "\xD9\xA2"
                                  "020-01-01T00:00:00Z"}) {
    std::string const other = replaced(ownDocument(), time, " date=\"" + value + "\"");
    EXPECT_EQ(asItIsRead(other), asAParserReads(other)) << other;
  }
  for (std::string const value : {"", "0", "00", "08", "0644x", "644", " 0644", "-0644", "+0644", "0x1ff", "0777777",
                                  "0200000", "01777777777777777777777", "\xD9\xA0", "0\n"}) {
    std::string const other = replaced(ownDocument(), "permissions=\"0644\"", "permissions=\"" + value + "\"");
    EXPECT_EQ(asItIsRead(other), asAParserReads(other)) << other;
  }
  for (std::string const value : {"", "file", "FILE", "File ", " File", "Directory", "Fi&#108;e"}) {
    std::string const other = replaced(ownDocument(), "type=\"File\"", "type=\"" + value + "\"");
    EXPECT_EQ(asItIsRead(other), asAParserReads(other)) << other;
  }
  for (std::string const value : {"", "2", "2.00", "+2.0", "1.0", "3.0", "2.0 ", "two", "2.0e0", "INF"}) {
    std::string const other = replaced(ownDocument(), "version=\"2.0\"", "version=\"" + value + "\"");
    EXPECT_EQ(asItIsRead(other), asAParserReads(other)) << other;
  }
}

TEST(ManifestReaders, AgreeOnNamesAndContents) {
  for (std::string const value : {"", "/", "//", "x", "/..", "/a/../b", "/a//b", "/a/", "\\a", "/empty", "/link/below",
                                  "/empty/below", "/a &amp; b", "/.", "/a\xCC\x81", " ", "/ "})
    for (std::string const attribute : {"name", "content"}) {
      std::size_t const at =
          ownDocument().find(attribute + "=\"", ownDocument().find("fsroot/f")) + attribute.size() + 2;
      std::string other = ownDocument();
      other.replace(at, other.find('"', at) - at, value);
      EXPECT_EQ(asItIsRead(other), asAParserReads(other)) << other;
    }
}

TEST(ManifestReaders, AgreeOnTextsOfEntries) {
  for (std::string const text :
       {"", " ", "DEFLATE", "DEFLATE ", "DEFLATE  5", " DEFLATE 5", "DEFLATE 5 ", "DEFLATE -5", "DEFLATE 05",
        "DEFLATE 99999999999999999999", "DEFLATE 4611686018427387904", "DEFLATE 4611686018427387905", "deflate 5",
        "DEFLATE 5 6", "OTHER 5", "DEFLATE\t5", "DEFLATE&#32;5", "DEFLATE 5<!-- -->", "\n"}) {
    std::string const other = replaced(ownDocument(), "DEFLATE 123", text);
    EXPECT_EQ(asItIsRead(other), asAParserReads(other)) << other;
  }
  for (std::size_t const size : {64U, 65U, 66U, 1'000U}) {
    std::string const other = replaced(ownDocument(), "DEFLATE 123", "DEFLATE " + std::string(size - 8, '1'));
    EXPECT_EQ(asItIsRead(other), asAParserReads(other)) << size;
  }
}

/// A line, an attribute and a tag may be as long as a limit, or longer by one.
TEST(ManifestReaders, AgreeOnLongValues) {
  std::size_t const line = LineReader::kCapacity, attribute = model::XmlLimits().attributeBytes;
  for (std::size_t const size : {line - 200, line - 1, line, line + 1, attribute - 1, attribute, attribute + 1})
    for (std::string_view const value : {"/fsroot/a", "glnxa64"}) {
      std::string const other = replaced(ownDocument(), value, std::string(size, 'x'));
      EXPECT_TRUE(asItIsRead(other) == asAParserReads(other)) << value << " of " << size;
    }
}

TEST(ManifestReaders, AgreeOnOtherEncodingsAndDeclarations) {
  std::string const document = ownDocument();
  std::string const declaration = document.substr(0, document.find('\n'));
  for (std::string const& other :
       {"\xEF\xBB\xBF" + document, " " + document, "\n" + document, document + " ", document + "\n", document + "x",
        document + "<!-- -->", document.substr(0, document.size() - 1), document + document,
        replaced(document, declaration + "\n", ""), replaced(document, "UTF-8\" standalone", "ISO-8859-1\" standalone"),
        replaced(document, "UTF-8\" standalone", "utf-8\" standalone"), replaced(document, "1.0", "1.1"),
        replaced(document, "standalone=\"no\"", "standalone=\"yes\"")})
    EXPECT_EQ(asItIsRead(other), asAParserReads(other)) << other;
}

}  // namespace
}  // namespace opc::ztservices
