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

/// Parsers read on only when they have nothing left, so that what is refused among the bytes to come is
/// reported where the document stands.
inline constexpr XMLSize_t kXmlLowWaterMark = 1;

/// What is refused in every document on top of what the parser refuses: document types, other versions and
/// encodings, what lies outside the document, more than the limits allow. Both doors' parsers hold one and
/// tell it what they come across; so they agree on what passes and on every message.
class XmlDocumentCheck final : public xercesc::XMLEntityResolver {
 public:
  explicit XmlDocumentCheck(XmlLimits const& limits = {}, XmlSchemaLocations locations = XmlSchemaLocations::Ignore);

  XercesErrorHandler& errors() { return errors_; }
  xercesc::SecurityManager& securityManager() { return securityManager_; }
  /// Where the parser stands is asked of this, which the parser gives when its document begins: before that
  /// it would answer from the reader of a former document.
  void setLocator(xercesc::Locator const* locator) { locator_ = locator; }
  XmlPosition position() const;

  /// Runs `parse` on the source that stands for the stream, then throws the document's fault if it has one.
  void run(InputStream& input, std::function<void(xercesc::InputSource const&)> const& parse);

  void xmlDeclaration(std::u16string_view version, std::u16string_view encoding) const;
  [[noreturn]] void documentType() const;
  void startElement();
  void endElement() { --depth_; }
  /// True for an attribute that names schema locations; that it is there is a fault where they are refused.
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
