// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <xercesc/parsers/DOMLSParserImpl.hpp>

#include "opc/Streams.hpp"
#include "xml/XmlDocumentCheck.hpp"

namespace opc::model {

/// The DOM parser of XercesHelper. It derives from the library's parser because only these virtual functions, and none
/// of its handlers, report a document type and the XML declaration.
class XmlDomParser final : public xercesc::DOMLSParserImpl {
 public:
  explicit XmlDomParser(XmlSchemaLocations locations);

  void loadSchema(char const* schema, char const* fileName);
  /// The two strings have the meaning that they have for XercesHelper::readDocumentFromStream.
  xercesc::DOMDocument* read(InputStream& input, bool validate, std::u16string const& rootNamespace,
                             std::u16string const& rootName);

  void startDocument() override;
  void XMLDecl(XMLCh const* version, XMLCh const* encoding, XMLCh const* standalone, XMLCh const* actual) override;
  void doctypeDecl(xercesc::DTDElementDecl const& element, XMLCh const* publicId, XMLCh const* systemId,
                   bool hasInternalSubset, bool hasExternalSubset) override;
  void startElement(xercesc::XMLElementDecl const& element, unsigned int uri, XMLCh const* prefix,
                    xercesc::RefVectorOf<xercesc::XMLAttr> const& attributes, XMLSize_t attributeCount, bool isEmpty,
                    bool isRoot) override;
  void endElement(xercesc::XMLElementDecl const& element, unsigned int uri, bool isRoot, XMLCh const* prefix) override;

 private:
  void checkRoot(std::u16string_view foundNamespace, std::u16string_view foundName);

  XmlDocumentCheck check_;
  std::u16string rootNamespace_;
  std::u16string rootName_;
};

}  // namespace opc::model
