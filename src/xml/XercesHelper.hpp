// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>
#include <xercesc/dom/DOM.hpp>

#include "opc/Streams.hpp"
#include "xml/XercesObjects.hpp"
#include "xml/XmlLimits.hpp"

namespace opc::model {

/// The DOM door to XML, for small documents of fixed size. The caller owns parsers, writers and documents, releases
/// them with release(), and holds a XercesGuard while it has any. Xerces exceptions become InvalidXMLDocument with the
/// parser's message. Each object is used by one thread at a time.
class XercesHelper {
 public:
  /// A parser without DTD, network, external entities or schema locations, for XML 1.0 in UTF-8 or UTF-16,
  /// within the default XmlLimits. `locations`: whether a document may name schema locations, which are
  /// never followed.
  static xercesc::DOMLSParser* createParser(XmlSchemaLocations locations = XmlSchemaLocations::Ignore);
  /// Loads a schema held in memory into the parser, under `fileName`, for validating reads. A schema that
  /// imports another is loaded after that one.
  /// Throws InvalidXMLSchema: "Schema could not be loaded: " and the parser's message.
  static void loadSchema(xercesc::DOMLSParser* parser, char const* schema, char const* fileName);
  /// A writer that pretty-prints in UTF-8.
  static xercesc::DOMLSSerializer* createPrettyPrintingWriter();
  static xercesc::DOMDocument* createDocument();

  /// Creates the document element and returns it; the document owns it.
  static xercesc::DOMElement* appendElementNS(xercesc::DOMDocument* document, XercesString const& namespaceURI,
                                              XercesString const& qualifiedName);
  static xercesc::DOMElement* appendElementNS(xercesc::DOMElement* parent, XercesString const& namespaceURI,
                                              XercesString const& qualifiedName);
  /// This and setElementAttribute throw InvalidXMLDocument for characters that XML 1.0 cannot carry.
  static void setElementText(xercesc::DOMElement* element, std::u16string const& text);
  static void setElementAttribute(xercesc::DOMElement* element, XercesString const& name, std::u16string const& value);
  /// The same for an attribute with a prefix, a namespace declaration among them.
  static void setElementAttributeNS(xercesc::DOMElement* element, XercesString const& namespaceURI,
                                    XercesString const& qualifiedName, std::u16string const& value);

  /// The first child element of that local name, in whatever namespace, or null.
  static xercesc::DOMElement* getElement(xercesc::DOMElement const* parent, XercesString const& name);
  static xercesc::DOMElement* getElementNS(xercesc::DOMElement const* parent, XercesString const& namespaceURI,
                                           XercesString const& name);
  /// All child elements of that local name, in document order.
  static std::vector<xercesc::DOMElement*> getElements(xercesc::DOMElement const* parent, XercesString const& name);
  static void getElementText(xercesc::DOMElement const* element, std::u16string& text);
  /// Empty where there is no such attribute; hasAttribute() of the element distinguishes that from an empty value.
  static void getElementAttribute(xercesc::DOMElement const* element, XercesString const& name, std::u16string& value);

  /// Parses the whole stream with a parser of createParser(). `validate`: whether faults against the loaded
  /// schema are errors (then a document that no loaded schema describes is one). The two strings, where not
  /// empty, are the namespace and local name that the document element must have. Throws InvalidXMLDocument
  /// with line and column. Exceptions of the stream pass through. The caller releases the document.
  static xercesc::DOMDocument* readDocumentFromStream(xercesc::DOMLSParser* parser, InputStream& input, bool validate,
                                                      std::u16string const& rootNamespace,
                                                      std::u16string const& rootName);
  /// Serialises the document in UTF-8; does not close the stream. Exceptions of the stream pass through.
  static void writeDocumentToStream(xercesc::DOMLSSerializer* writer, xercesc::DOMDocument* document,
                                    OutputStream& output);
};

}  // namespace opc::model
