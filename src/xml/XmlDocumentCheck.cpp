// SPDX-License-Identifier: Apache-2.0
#include "xml/XmlDocumentCheck.hpp"

#include <algorithm>
#include <xercesc/util/XMLResourceIdentifier.hpp>

#include "opc/Strings.hpp"
#include "xml/XercesErrors.hpp"
#include "xml/XercesInput.hpp"

namespace opc::model {
namespace {

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

/// An import within a schema gets no source, so that it finds what was loaded before; a parser without a
/// resolver of its own would open files. Nothing else may ask for anything.
xercesc::InputSource* XmlDocumentCheck::resolveEntity(xercesc::XMLResourceIdentifier* resource) {
  if (resource->getResourceIdentifierType() == xercesc::XMLResourceIdentifier::SchemaImport) return nullptr;
  XMLCh const* const systemId = resource->getSystemId();
  XMLCh const* const location = resource->getSchemaLocation();
  throw xmlFault(position(), xml_text::unreadResource(systemId ? systemId : location ? location : u""));
}

}  // namespace opc::model
