// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "xml/XmlTestSupport.hpp"
#include "xml/XmlTextWriter.hpp"

using namespace opc::model;

namespace {

/// The same document made by both writers: random, but the same for the same seed.
class TwoWriters {
 public:
  explicit TwoWriters(unsigned seed) : random_(seed), output_(streamed_), text_(output_) {
    document_.reset(XercesHelper::createDocument());
    XercesString const name(pick(kNames));
    XercesString const space(chance(10) ? u"" : u"urn:test:<&\">");
    text_.startRoot(space.toString(), name.toString());
    fill(XercesHelper::appendElementNS(document_.get(), space, name), space, 0);
    text_.endElement();
    text_.finish();
  }

  std::string streamed() const { return zt_test::textOf(streamed_); }
  std::string dom() const { return zt_test::write(document_.get()); }

 private:
  static inline std::vector<std::u16string> const kNames = {
      u"a", u"b", u"entry", u"c-d", u"e.f", u"_g", u"\u00e4\u00f6", u"\u0416", u"Z"};
  static inline std::vector<std::u16string> const kPieces = {
      u"a",      u"bcd",    u" ",      u"  ",     u"&",          u"<",          u">",      u"\"",
      u"'",      u"\t",     u"\n",     u"\r",     u"\r\n",       u"]]>",        u"&amp;",  u"\u007f",
      u"\u0085", u"\u00e9", u"\u2028", u"\ufffd", u"\U0001F600", u"\U0010FFFD", u"\ue000", u"<!--"};
  static inline std::vector<std::u16string> const kBlanks = {u" ", u"  ", u"\t", u"\n", u"\r", u"\n  "};

  std::size_t below(std::size_t n) { return random_() % n; }
  bool chance(std::size_t percent) { return below(100) < percent; }
  std::u16string const& pick(std::vector<std::u16string> const& from) { return from[below(from.size())]; }

  std::u16string randomText() {
    std::vector<std::u16string> const& pieces = chance(20) ? kBlanks : kPieces;
    std::u16string text;
    for (std::size_t i = below(6); i > 0; --i) text += pick(pieces);
    return text;
  }

  void addText(xercesc::DOMElement* element) {
    std::u16string const text = randomText();
    element->appendChild(document_->createTextNode(text.c_str()));
    text_.text(text);
  }

  void fill(xercesc::DOMElement* element, XercesString const& space, std::size_t depth) {
    for (std::size_t i = below(6); i > 0; --i) {
      std::u16string const name = pick(kNames), value = randomText();
      XercesHelper::setElementAttribute(element, XercesString(name), value);
      text_.attribute(name, value);
    }
    if (chance(40)) addText(element);
    for (std::size_t i = depth < 5 ? below(4) : 0; i > 0; --i) {
      XercesString const name(pick(kNames));
      text_.startElement(name.toString());
      fill(XercesHelper::appendElementNS(element, space, name), space, depth + 1);
      text_.endElement();
      if (chance(15)) addText(element);
    }
  }

  std::mt19937 random_;
  std::vector<unsigned char> streamed_;
  opc::ByteArrayOutAdaptor output_;
  XmlTextWriter text_;
  zt_test::Document document_;
};

}  // namespace

TEST(XmlWriters, PrintTheSameBytesForRandomDocuments) {
  XercesGuard const guard;
  for (unsigned seed = 1; seed <= 4000; ++seed) {
    TwoWriters const writers(seed);
    std::string const streamed = writers.streamed(), dom = writers.dom();
    ASSERT_TRUE(streamed == dom) << "seed " << seed << "\n" << streamed << "\n" << dom;
  }
}
