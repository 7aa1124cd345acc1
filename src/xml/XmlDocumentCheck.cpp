// SPDX-License-Identifier: Apache-2.0
#include "xml/XmlDocumentCheck.hpp"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <xercesc/sax/InputSource.hpp>
#include <xercesc/util/BinInputStream.hpp>
#include <xercesc/util/XMLResourceIdentifier.hpp>

#include "opc/Streams.hpp"
#include "opc/Strings.hpp"
#include "xml/XercesFaults.hpp"
#include "xml/XmlFault.hpp"
#include "xml/XmlMarkupMeter.hpp"

namespace opc::model {
namespace {

constexpr std::size_t kSignatureBytes = 4;  // they show the encoding

/// Lets a Xerces parser read from a stream, within limits. Exceptions of the stream pass through the parser. A limit is
/// reported at the position of the parser after it has read everything within the limit, so that an earlier fault of
/// the document is reported first. Stream, meter and limits outlive the source.
class XercesInput final : public xercesc::InputSource {
 public:
  using Position = std::function<XmlPosition()>;

  XercesInput(InputStream& input, XmlMarkupMeter& meter, XmlLimits const& limits, Position position);
  xercesc::BinInputStream* makeStream() const override;

 private:
  class Stream;

  InputStream& input_;
  XmlMarkupMeter& meter_;
  XmlLimits const& limits_;
  Position position_;
};

class XercesInput::Stream final : public xercesc::BinInputStream {
 public:
  explicit Stream(XercesInput const& source) : source_(source) {}

  XMLFilePos curPos() const override { return delivered_; }
  XMLCh const* getContentType() const override { return nullptr; }

  XMLSize_t readBytes(XMLByte* bytes, XMLSize_t count) override {
    if (!refusal_.empty()) throw xmlFault(source_.position_(), refusal_);
    std::size_t const got = fill(bytes, count);
    if (delivered_ == 0) recognise(bytes, got);
    if (got == 0) source_.meter_.end();
    std::size_t const admitted = withinLimits(bytes, got);
    if (admitted == 0 && !refusal_.empty()) throw xmlFault(source_.position_(), refusal_);
    delivered_ += admitted;
    return admitted;
  }

 private:
  /// Reads at least one byte except at the end, and at the beginning enough bytes to show the encoding.
  std::size_t fill(XMLByte* bytes, std::size_t count) {
    std::size_t const wanted = delivered_ == 0 ? std::min(kSignatureBytes, count) : 1;
    std::size_t got = 0;
    while (got < wanted) {
      std::size_t const now = source_.input_.read(bytes + got, count - got);
      got += now;
      if (now == 0 && source_.input_.isEnd()) break;
    }
    return got;
  }

  void recognise(XMLByte const* bytes, std::size_t count) {
    source_.meter_.begin(bytes, count);
    if (source_.meter_.encoding() == XmlEncoding::Other) throw xmlFault({}, xml_text::notUnicode());
  }

  std::size_t withinLimits(XMLByte const* bytes, std::size_t count) {
    std::uint64_t const room = source_.limits_.documentBytes - delivered_;
    std::size_t const admitted =
        source_.meter_.admit(bytes, static_cast<std::size_t>(std::min<std::uint64_t>(count, room)));
    refusal_ = source_.meter_.refusal();
    if (refusal_.empty() && count > room) refusal_ = xml_text::documentTooLong(source_.limits_.documentBytes);
    return admitted;
  }

  XercesInput const& source_;
  std::uint64_t delivered_ = 0;  // never above the document's limit
  std::string refusal_;          // why no more bytes are delivered
};

XercesInput::XercesInput(InputStream& input, XmlMarkupMeter& meter, XmlLimits const& limits, Position position)
    : input_(input), meter_(meter), limits_(limits), position_(std::move(position)) {}

xercesc::BinInputStream* XercesInput::makeStream() const { return new Stream(*this); }

constexpr std::u16string_view kInstanceNamespace = u"http://www.w3.org/2001/XMLSchema-instance";

}  // namespace

XmlDocumentCheck::XmlDocumentCheck(XmlLimits const& limits, XmlSchemaLocations locations)
    : limits_(limits), locations_(locations), meter_(limits) {
  securityManager_.setEntityExpansionLimit(0);
}

XmlPosition XmlDocumentCheck::position() const {
  if (!locator_) return {};
  return {std::max<std::uint64_t>(locator_->getLineNumber(), 1),
          std::max<std::uint64_t>(locator_->getColumnNumber(), 1)};
}

void XmlDocumentCheck::run(InputStream& input, std::function<void(xercesc::InputSource const&)> const& parse) {
  errors_.resetErrors();
  locator_ = nullptr;
  depth_ = 0;
  XercesInput const source(input, meter_, limits_, [this] { return position(); });
  callXerces([&] { parse(source); });
  errors_.throwFault();
}

void XmlDocumentCheck::xmlDeclaration(std::u16string_view version, std::u16string_view encoding) const {
  if (version != u"1.0") throw xmlFault(position(), xml_text::version(version));
  if (encoding.empty()) return;
  bool const isUtf16 = caselessCompare(encoding, u"UTF-16");
  if (!isUtf16 && !caselessCompare(encoding, u"UTF-8")) throw xmlFault(position(), xml_text::encoding(encoding));
  if (isUtf16 != (meter_.encoding() == XmlEncoding::Utf16))
    throw xmlFault(position(), xml_text::encodingContradicted(encoding));
}

void XmlDocumentCheck::documentType() const { throw xmlFault(position(), xml_text::documentType()); }

void XmlDocumentCheck::startElement() {
  if (++depth_ > limits_.depth) throw xmlFault(position(), xml_text::tooDeep(limits_.depth));
}

bool XmlDocumentCheck::takeSchemaLocation(std::u16string_view namespaceURI, std::u16string_view localName) {
  if (localName != u"schemaLocation" && localName != u"noNamespaceSchemaLocation") return false;
  if (namespaceURI != kInstanceNamespace) return false;
  if (locations_ == XmlSchemaLocations::Refuse) errors_.addFault(position(), xml_text::schemaLocation(localName));
  return true;
}

/// An import within a schema gets no source, so that it finds the schema that was loaded before; a parser without this
/// resolver would open files. Every other request is refused.
xercesc::InputSource* XmlDocumentCheck::resolveEntity(xercesc::XMLResourceIdentifier* resource) {
  if (resource->getResourceIdentifierType() == xercesc::XMLResourceIdentifier::SchemaImport) return nullptr;
  XMLCh const* const systemId = resource->getSystemId();
  XMLCh const* const location = resource->getSchemaLocation();
  throw xmlFault(position(), xml_text::unreadResource(systemId ? systemId : location ? location : u""));
}

}  // namespace opc::model
