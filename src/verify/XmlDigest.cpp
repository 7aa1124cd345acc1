// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "crypto/Digests.hpp"
#include "crypto/Encodings.hpp"
#include "opc/ztservices/Verification.hpp"
#include "xml/XmlCharacters.hpp"
#include "xml/XmlStreamReader.hpp"

namespace opc::ztservices {
namespace {

using foundation::crypto::Sha256;
using model::XmlAttributes;

constexpr std::u16string_view kXmlNamespace = u"http://www.w3.org/XML/1998/namespace";

/// Digests what a document says, event by event. Texts have lengths in front of them, so that no two sequences of
/// events have the same bytes.
class ContentDigest final : public model::XmlContentHandler {
 public:
  void startElement(std::u16string_view namespaceURI, std::u16string_view localName,
                    XmlAttributes const& attributes) override {
    endText(false);
    isLeaf_ = true;
    bool const outer = !keepsBlanks_.empty() && keepsBlanks_.back();
    keepsBlanks_.push_back(keepsBlanks(attributes, outer));
    mark('<');
    take(namespaceURI);
    take(localName);
    takeAttributes(attributes);
  }

  void endElement(std::u16string_view, std::u16string_view) override {
    endText(isLeaf_);
    isLeaf_ = false;
    keepsBlanks_.pop_back();
    mark('>');
  }

  /// One text may come in several pieces, whose boundaries must not matter.
  void characters(std::u16string_view text) override {
    hasText_ = true;
    isBlank_ = isBlank_ && text.find_first_not_of(model::kXmlWhiteSpace) == text.npos;
    text_.update(text.data(), text.size() * sizeof(char16_t));
  }

  std::string finish() { return foundation::crypto::utils::hexEncode(digest_.finish()); }

 private:
  static bool keepsBlanks(XmlAttributes const& attributes, bool outer) {
    for (std::size_t i = 0; i < attributes.size(); ++i)
      if (attributes.localName(i) == u"space" && attributes.namespaceURI(i) == kXmlNamespace)
        return attributes.value(i) == u"preserve";
    return outer;
  }

  /// White space between two tags is layout, but that of an element without elements is its text.
  void endText(bool isOfLeaf) {
    if (!hasText_) return;
    auto const bytes = text_.finish();
    if (!isBlank_ || isOfLeaf || (!keepsBlanks_.empty() && keepsBlanks_.back())) {
      mark('t');
      digest_.update(bytes.data(), bytes.size());
    }
    hasText_ = false;
    isBlank_ = true;
  }

  void takeAttributes(XmlAttributes const& attributes) {
    std::vector<std::size_t> order(attributes.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::sort(order, {},
                      [&](std::size_t i) { return std::tuple(attributes.namespaceURI(i), attributes.localName(i)); });
    for (std::size_t const i : order) {
      mark('@');
      take(attributes.namespaceURI(i));
      take(attributes.localName(i));
      take(attributes.value(i));
    }
  }

  void mark(char kind) { digest_.update(&kind, 1); }

  void take(std::u16string_view text) {
    std::uint64_t const length = text.size();
    digest_.update(&length, sizeof(length));
    digest_.update(text.data(), text.size() * sizeof(char16_t));
  }

  Sha256 digest_, text_;
  bool hasText_ = false;
  bool isBlank_ = true;            // the text so far
  bool isLeaf_ = true;             // the open element has no elements so far
  std::vector<bool> keepsBlanks_;  // for each open element, by xml:space
};

}  // namespace

std::string digestXml(model::Part const& part) {
  ContentDigest digest;
  model::XmlStreamReader reader;
  reader.read(*part.getInputStream(), digest);
  return digest.finish();
}

}  // namespace opc::ztservices
