// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <string_view>
#include <xercesc/sax/InputSource.hpp>
#include <xercesc/sax/Locator.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/XMLEntityResolver.hpp>

#include "opc/Streams.hpp"
#include "xml/XercesFaults.hpp"
#include "xml/XmlLimits.hpp"
#include "xml/XmlMarkupMeter.hpp"

namespace opc::model {

/// Parsers read on only when they have no bytes left, so that a refusal is reported at the current position of the
/// document.
inline constexpr XMLSize_t kXmlLowWaterMark = 1;

/// Refuses what the parser accepts: document types, other versions and encodings, external resources, and documents
/// beyond the limits. The parsers of both doors report to one, so that they accept the same documents with the same
/// messages.
class XmlDocumentCheck final : public xercesc::XMLEntityResolver {
 public:
  explicit XmlDocumentCheck(XmlLimits const& limits = {}, XmlSchemaLocations locations = XmlSchemaLocations::Ignore);

  XercesErrorHandler& errors() { return errors_; }
  xercesc::SecurityManager& securityManager() { return securityManager_; }
  /// The parser's own source of its position. The parser sets it when its document begins; before that it would return
  /// the position in a former document.
  void setLocator(xercesc::Locator const* locator) { locator_ = locator; }
  XmlPosition position() const;

  /// Runs `parse` on a source over the stream, then throws the document's fault if there is one.
  void run(InputStream& input, std::function<void(xercesc::InputSource const&)> const& parse);

  void xmlDeclaration(std::u16string_view version, std::u16string_view encoding) const;
  [[noreturn]] void documentType() const;
  void startElement();
  void endElement() { --depth_; }
  /// Whether the attribute names schema locations. Adds a fault if they are refused.
  bool takeSchemaLocation(std::u16string_view namespaceURI, std::u16string_view localName);
  xercesc::InputSource* resolveEntity(xercesc::XMLResourceIdentifier* resource) override;

 private:
  XmlLimits limits_;
  XmlSchemaLocations locations_;
  XercesErrorHandler errors_;
  XmlMarkupMeter meter_;
  xercesc::SecurityManager securityManager_;
  xercesc::Locator const* locator_ = nullptr;
  std::size_t depth_ = 0;
};

}  // namespace opc::model
