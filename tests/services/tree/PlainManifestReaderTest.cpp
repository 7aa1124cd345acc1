// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <initializer_list>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "opc/Exception.hpp"
#include "opc/Strings.hpp"
#include "opc/Time.hpp"
#include "services/tree/FileSystemManifest.hpp"
#include "services/tree/ManifestSamples.hpp"
#include "services/tree/NodeSamples.hpp"
#include "services/tree/PlainManifestReader.hpp"
#include "support/TestSupport.hpp"

namespace opc::ztservices {
namespace {

using manifest_samples::current;
using manifest_samples::entry;
using manifest_samples::SteppedInput;
using manifest_samples::version1;
using manifest_samples::written;

/// Notes the calls as text. Texts in pieces are one text.
class Calls final : public model::XmlContentHandler {
 public:
  void namespaceDeclared(std::u16string_view prefix, std::u16string_view uri) override {
    note(u"namespace", {prefix, uri});
  }
  void startElement(std::u16string_view uri, std::u16string_view name,
                    model::XmlAttributes const& attributes) override {
    note(u"start", {uri, name});
    for (std::size_t i = 0; i < attributes.size(); ++i)
      note(u"attribute", {attributes.namespaceURI(i), attributes.localName(i), attributes.value(i)});
  }
  void endElement(std::u16string_view uri, std::u16string_view name) override { note(u"end", {uri, name}); }
  void characters(std::u16string_view text) override { noted += text; }

  std::u16string noted;

 private:
  void note(std::u16string_view call, std::initializer_list<std::u16string_view> values) {
    (noted += u'\n') += call;
    for (std::u16string_view const value : values) (noted += u'\0') += value;
  }
};

using Noted = std::optional<std::u16string>;

/// The calls of the reader; nothing where it refuses the document.
Noted readPlain(std::string const& document, std::size_t step = 1000) {
  SteppedInput input(document, step);
  Calls calls;
  return PlainManifestReader(input).read(calls) ? Noted(calls.noted) : std::nullopt;
}

Noted parse(std::string const& document) {
  static model::XmlStreamReader reader(manifestGrammars());
  SteppedInput input(document, document.size());
  Calls calls;
  try {
    reader.read(input, calls);
    return calls.noted;
  } catch (Exception const&) {
    return std::nullopt;
  }
}

/// Random, but the same for the same seed.
class Documents {
 public:
  explicit Documents(unsigned seed) : random_(seed) {}

  std::string document() {
    FileSystemTree tree;
    tree.setPlatform(text());
    tree.setEncoding(text());
    for (std::size_t i = below(6); i > 0; --i) {
      std::u16string const path = u"/" + toString(std::to_string(i)) + text();
      if (below(4) == 0)
        tree.addNode(makeLinkNode(path, text(), permissions(), time()));
      else if (below(4) == 0)
        tree.addNode(makeFolderNode(path, permissions(), time()));
      else
        tree.addNode(makeFileNode(path, below(2) == 0 ? text() : u"/fsroot" + path, permissions(), time()));
    }
    return written(tree);
  }

  /// With another byte, one less or one more.
  std::string damaged(std::string document) {
    static constexpr std::string_view kBytes = "<>/\"'&; =a0:T.-\t\n\r\x01\x7f\x80\xc3\xef\xff";
    std::size_t const at = below(document.size());
    char const byte = kBytes[below(kBytes.size())];
    switch (below(3)) {
      case 0:
        document[at] = byte;
        return document;
      case 1:
        return document.erase(at, 1);
      default:
        return document.insert(at, 1, byte);
    }
  }

 private:
  std::size_t below(std::size_t n) { return random_() % n; }

  std::u16string text() {
    static std::vector<std::u16string> const pieces = {
        u"a",  u"file.txt", u" ",     u"&",      u"<",      u">",      u"\"",     u"'",          u"\t",
        u"\n", u"\r",       u"&amp;", u"\u00e9", u"\u2028", u"\ufffd", u"\ud7ff", u"\U0001F600", u"\U0010FFFD"};
    std::u16string text;
    for (std::size_t i = below(5); i > 0; --i) text += pieces[below(pieces.size())];
    return text;
  }
  Perms::Perms_tag permissions() {
    return below(3) == 0 ? kUnknownPermissions : Perms::Perms_tag{static_cast<std::uint32_t>(below(01000))};
  }
  boost::posix_time::ptime time() {
    if (below(3) == 0) return node_samples::kUnknown;
    return node_samples::kLeapDay + boost::posix_time::seconds(static_cast<long>(below(1'000'000'000))) +
           boost::posix_time::microseconds(below(2) == 0 ? 0 : static_cast<long>(below(1'000'000)));
  }

  std::mt19937 random_;
};

TEST(PlainManifestReader, MakesTheCallsOfAParserForWhatIsWritten) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    std::string const document = Documents(seed).document();
    Noted const plain = readPlain(document);
    ASSERT_TRUE(plain) << document;
    EXPECT_EQ(plain, parse(document)) << document;
  }
}

TEST(PlainManifestReader, AcceptsNoDamageThatAParserRefuses) {
  std::size_t accepted = 0, refused = 0;
  for (unsigned seed = 0; seed < 3'000; ++seed) {
    Documents documents(seed);
    std::string const document = documents.damaged(documents.document());
    if (Noted const plain = readPlain(document)) {
      EXPECT_EQ(plain, parse(document)) << document;
      ++accepted;
    } else {
      ++refused;
    }
  }
  EXPECT_GT(accepted, 100U);
  EXPECT_GT(refused, 100U);
}

TEST(PlainManifestReader, ReadsTheTextOfAnEntry) {
  FileSystemTree tree;
  tree.addNode(makeFileNode(u"/f", u"c", kUnknownPermissions, node_samples::kUnknown));
  std::string document = written(tree);
  document.replace(document.find("/>"), 2, ">DEFLATE 123</fileEntry>");
  ASSERT_TRUE(readPlain(document));
  EXPECT_EQ(readPlain(document), parse(document));
}

TEST(PlainManifestReader, ReadsInputOfAnyGrain) {
  std::string const document = Documents(3).document();
  for (std::size_t step = 1; step < 40; ++step) EXPECT_EQ(readPlain(document, step), parse(document));
}

TEST(PlainManifestReader, ReadsADocumentThatIsLongerThanItsMemory) {
  FileSystemTree tree;
  for (int i = 0; i < 5'000; ++i) {
    std::u16string const path = u"/folder/" + toString(std::to_string(i));
    tree.addNode(makeFileNode(path, u"/fsroot" + path, Perms::Perms_tag{0644}, node_samples::kLeapDay));
  }
  std::string const document = written(tree);
  ASSERT_GT(document.size(), 2 * LineReader::kCapacity);
  ASSERT_TRUE(readPlain(document, 100'000));
  EXPECT_EQ(readPlain(document, 100'000), parse(document));
}

TEST(PlainManifestReader, RefusesAnEntryThatIsLongerThanItsMemory) {
  FileSystemTree tree;
  std::u16string const name(LineReader::kCapacity, u'a');
  tree.addNode(makeFileNode(u"/" + name, u"c", kUnknownPermissions, node_samples::kUnknown));
  EXPECT_FALSE(readPlain(written(tree), 100'000));
}

TEST(PlainManifestReader, RefusesOtherLayoutsThatAParserAccepts) {
  for (std::string const& document : {current(""), current(entry("/a")), version1(entry("/a"))}) {
    EXPECT_TRUE(parse(document)) << document;
    EXPECT_FALSE(readPlain(document)) << document;
  }
}

TEST(PlainManifestReader, RefusesTimesThatDoNotExist) {
  FileSystemTree tree;
  tree.addNode(makeFileNode(u"/f", u"c", kUnknownPermissions, convertStringToTime(u"2024-02-28T23:59:59Z")));
  std::string const document = written(tree);
  ASSERT_TRUE(readPlain(document));
  for (std::string const time : {"2023-02-29T23:59:59Z", "2024-13-28T23:59:59Z", "2024-02-28T24:59:59Z",
                                 "2024-02-28T23:60:59Z", "2024-02-28T23:59:60Z", "0000-02-28T23:59:59Z"}) {
    std::string other = document;
    other.replace(other.find("2024-02-28T23:59:59Z"), time.size(), time);
    EXPECT_FALSE(readPlain(other)) << time;
  }
}

TEST(PlainManifestReader, RefusesEveryTruncation) {
  std::string const document = Documents(5).document();
  for (std::size_t size = 0; size < document.size(); ++size) EXPECT_FALSE(readPlain(document.substr(0, size))) << size;
}

TEST(PlainManifestReader, RefusesADocumentWhoseHandlerThrows) {
  class Refusing final : public model::XmlContentHandler {
   public:
    void startElement(std::u16string_view, std::u16string_view, model::XmlAttributes const&) override {
      throw Exception("no");
    }
  };
  SteppedInput input(Documents(3).document(), 100);
  Refusing handler;
  EXPECT_FALSE(PlainManifestReader(input).read(handler));
}

}  // namespace
}  // namespace opc::ztservices
