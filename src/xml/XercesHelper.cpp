// SPDX-License-Identifier: Apache-2.0
#include "xml/XercesHelper.hpp"

#include <cstddef>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/framework/Wrapper4InputSource.hpp>
#include <xercesc/framework/XMLAttr.hpp>
#include <xercesc/framework/XMLElementDecl.hpp>
#include <xercesc/framework/XMLFormatter.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/parsers/DOMLSParserImpl.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xercesc/validators/DTD/DTDElementDecl.hpp>

#include "opc/Streams.hpp"
#include "opc/model/InvalidState.hpp"
#include "xml/XercesFaults.hpp"
#include "xml/XercesObjects.hpp"
#include "xml/XmlCharacters.hpp"
#include "xml/XmlDocumentCheck.hpp"
#include "xml/XmlGrammars.hpp"

namespace opc::model {
namespace {

constexpr std::size_t kSerializedPiece = 65'536;

/// Passes the output of a Xerces writer to a stream, in larger pieces. Keeps an exception of the stream and drops all
/// later output; finish() throws it, because the writer may not pass exceptions on.
class XercesOutput final : public xercesc::XMLFormatTarget {
 public:
  explicit XercesOutput(OutputStream& output) : output_(output) {}

  void writeChars(XMLByte const* bytes, XMLSize_t count, xercesc::XMLFormatter* formatter) override;
  /// Writes the rest. Does not close the stream.
  void finish();

 private:
  void handOver();

  OutputStream& output_;
  std::string buffer_;
  std::exception_ptr thrown_;
};

void XercesOutput::writeChars(XMLByte const* bytes, XMLSize_t count, xercesc::XMLFormatter*) {
  if (thrown_) return;
  try {
    buffer_.append(reinterpret_cast<char const*>(bytes), count);
    if (buffer_.size() >= kSerializedPiece) handOver();
  } catch (...) {
    thrown_ = std::current_exception();
  }
}

void XercesOutput::finish() {
  if (thrown_) std::rethrow_exception(thrown_);
  handOver();
}

void XercesOutput::handOver() {
  output_.write(buffer_.data(), buffer_.size());
  buffer_.clear();
}

using xercesc::DOMElement;
using xercesc::XMLUni;

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

XmlLimits domLimits() {
  XmlLimits limits;
  limits.documentBytes = kXmlDomDocumentBytes;
  return limits;
}

XmlDomParser::XmlDomParser(XmlSchemaLocations locations) : check_(domLimits(), locations) {
  setParameter(XMLUni::fgDOMErrorHandler, static_cast<xercesc::DOMErrorHandler*>(&check_.errors()));
  setParameter(XMLUni::fgXercesEntityResolver, static_cast<xercesc::XMLEntityResolver*>(&check_));
  setParameter(XMLUni::fgXercesDisableDefaultEntityResolution, true);
  setParameter(XMLUni::fgXercesLoadExternalDTD, false);
  setParameter(XMLUni::fgXercesLoadSchema, false);
  setParameter(XMLUni::fgXercesContinueAfterFatalError, false);
  setParameter(XMLUni::fgXercesCacheGrammarFromParse, false);
  setParameter(XMLUni::fgXercesUseCachedGrammarInParse, true);
  setParameter(XMLUni::fgXercesDoXInclude, false);
  setParameter(XMLUni::fgDOMNamespaces, true);
  setParameter(XMLUni::fgDOMValidateIfSchema, false);
  setSecurityManager(&check_.securityManager());
  setLowWaterMark(kXmlLowWaterMark);
}

void XmlDomParser::loadSchema(char const* schema, char const* fileName) {
  loadXmlSchema({fileName, schema}, check_.errors(), [this](xercesc::InputSource& source) {
    xercesc::Wrapper4InputSource const input(&source, false);
    return DOMLSParserImpl::loadGrammar(&input, xercesc::Grammar::SchemaGrammarType, true) != nullptr;
  });
}

xercesc::DOMDocument* XmlDomParser::read(InputStream& input, bool validate, std::u16string const& rootNamespace,
                                         std::u16string const& rootName) {
  setParameter(XMLUni::fgDOMValidate, validate);
  setParameter(XMLUni::fgXercesSchema, validate);
  rootNamespace_ = rootNamespace;
  rootName_ = rootName;
  try {
    check_.run(input, [this](xercesc::InputSource const& source) { AbstractDOMParser::parse(source); });
  } catch (...) {
    setParseInProgress(false);  // the parser stays busy if memory runs out
    resetDocumentPool();
    throw;
  }
  return adoptDocument();
}

void XmlDomParser::startDocument() {
  check_.setLocator(getScanner()->getLocator());
  DOMLSParserImpl::startDocument();
}

void XmlDomParser::XMLDecl(XMLCh const* version, XMLCh const* encoding, XMLCh const* standalone, XMLCh const* actual) {
  check_.xmlDeclaration(version, encoding);
  DOMLSParserImpl::XMLDecl(version, encoding, standalone, actual);
}

void XmlDomParser::doctypeDecl(xercesc::DTDElementDecl const&, XMLCh const*, XMLCh const*, bool, bool) {
  check_.documentType();
}

void XmlDomParser::startElement(xercesc::XMLElementDecl const& element, unsigned int uri, XMLCh const* prefix,
                                xercesc::RefVectorOf<xercesc::XMLAttr> const& attributes, XMLSize_t attributeCount,
                                bool isEmpty, bool isRoot) {
  check_.startElement();
  if (isRoot) checkRoot(getURIText(uri), element.getBaseName());
  for (XMLSize_t i = 0; i < attributeCount; ++i) {
    xercesc::XMLAttr const& attribute = *attributes.elementAt(i);
    check_.takeSchemaLocation(getURIText(attribute.getURIId()), attribute.getName());
  }
  DOMLSParserImpl::startElement(element, uri, prefix, attributes, attributeCount, isEmpty, isRoot);
  if (isEmpty) check_.endElement();
}

void XmlDomParser::endElement(xercesc::XMLElementDecl const& element, unsigned int uri, bool isRoot,
                              XMLCh const* prefix) {
  check_.endElement();
  DOMLSParserImpl::endElement(element, uri, isRoot, prefix);
}

/// A wrong root counts as an invalid place, as with a schema, and not as a document that is not well formed.
void XmlDomParser::checkRoot(std::u16string_view foundNamespace, std::u16string_view foundName) {
  bool const isWanted =
      (rootNamespace_.empty() || foundNamespace == rootNamespace_) && (rootName_.empty() || foundName == rootName_);
  if (isWanted) return;
  check_.errors().addFault(check_.position(),
                           xml_text::documentElement(foundNamespace, foundName, rootNamespace_, rootName_));
}

xercesc::DOMImplementation& implementation() {
  xercesc::DOMImplementation* const found = xercesc::DOMImplementationRegistry::getDOMImplementation(u"LS");
  if (!found) throw InvalidState("Xerces has no implementation of DOM Load and Save");
  return *found;
}

XmlDomParser& parserOf(xercesc::DOMLSParser* parser) {
  if (auto* const ours = dynamic_cast<XmlDomParser*>(parser)) return *ours;
  throw std::invalid_argument("The XML parser does not come from XercesHelper::createParser()");
}

DOMElement* append(xercesc::DOMDocument* document, xercesc::DOMNode* parent, XercesString const& namespaceURI,
                   XercesString const& qualifiedName) {
  return callXerces([&] {
    DOMElement* const element = document->createElementNS(namespaceURI.c_str(), qualifiedName.c_str());
    parent->appendChild(element);
    return element;
  });
}

/// The local name. Elements that were created without a namespace have only a tag name.
std::u16string_view localNameOf(DOMElement const& element) {
  XMLCh const* const name = element.getLocalName();
  return name ? name : element.getTagName();
}

std::u16string_view namespaceOf(DOMElement const& element) {
  XMLCh const* const uri = element.getNamespaceURI();
  return uri ? std::u16string_view(uri) : std::u16string_view();
}

}  // namespace

xercesc::DOMLSParser* XercesHelper::createParser(XmlSchemaLocations locations) {
  return callXerces([&]() -> xercesc::DOMLSParser* { return new XmlDomParser(locations); });
}

void XercesHelper::loadSchema(xercesc::DOMLSParser* parser, char const* schema, char const* fileName) {
  parserOf(parser).loadSchema(schema, fileName);
}

xercesc::DOMLSSerializer* XercesHelper::createPrettyPrintingWriter() {
  return callXerces([] {
    XercesOwned<xercesc::DOMLSSerializer> writer(implementation().createLSSerializer());
    writer->setNewLine(u"\n");
    writer->getDomConfig()->setParameter(XMLUni::fgDOMWRTFormatPrettyPrint, true);
    return writer.release();
  });
}

xercesc::DOMDocument* XercesHelper::createDocument() {
  return callXerces([] { return implementation().createDocument(); });
}

DOMElement* XercesHelper::appendElementNS(xercesc::DOMDocument* document, XercesString const& namespaceURI,
                                          XercesString const& qualifiedName) {
  return append(document, document, namespaceURI, qualifiedName);
}

DOMElement* XercesHelper::appendElementNS(DOMElement* parent, XercesString const& namespaceURI,
                                          XercesString const& qualifiedName) {
  return append(parent->getOwnerDocument(), parent, namespaceURI, qualifiedName);
}

void XercesHelper::setElementText(DOMElement* element, std::u16string const& text) {
  requireXmlCharacters(text);
  callXerces([&] { element->setTextContent(text.c_str()); });
}

void XercesHelper::setElementAttribute(DOMElement* element, XercesString const& name, std::u16string const& value) {
  requireXmlCharacters(value);
  callXerces([&] { element->setAttribute(name.c_str(), value.c_str()); });
}

void XercesHelper::setElementAttributeNS(DOMElement* element, XercesString const& namespaceURI,
                                         XercesString const& qualifiedName, std::u16string const& value) {
  requireXmlCharacters(value);
  callXerces([&] { element->setAttributeNS(namespaceURI.c_str(), qualifiedName.c_str(), value.c_str()); });
}

DOMElement* XercesHelper::getElement(DOMElement const* parent, XercesString const& name) {
  for (DOMElement* child = parent->getFirstElementChild(); child; child = child->getNextElementSibling())
    if (localNameOf(*child) == name.toString()) return child;
  return nullptr;
}

DOMElement* XercesHelper::getElementNS(DOMElement const* parent, XercesString const& namespaceURI,
                                       XercesString const& name) {
  for (DOMElement* child = parent->getFirstElementChild(); child; child = child->getNextElementSibling())
    if (localNameOf(*child) == name.toString() && namespaceOf(*child) == namespaceURI.toString()) return child;
  return nullptr;
}

std::vector<DOMElement*> XercesHelper::getElements(DOMElement const* parent, XercesString const& name) {
  std::vector<DOMElement*> found;
  for (DOMElement* child = parent->getFirstElementChild(); child; child = child->getNextElementSibling())
    if (localNameOf(*child) == name.toString()) found.push_back(child);
  return found;
}

void XercesHelper::getElementText(DOMElement const* element, std::u16string& text) {
  callXerces([&] { text = element->getTextContent(); });
}

void XercesHelper::getElementAttribute(DOMElement const* element, XercesString const& name, std::u16string& value) {
  callXerces([&] { value = element->getAttribute(name.c_str()); });
}

xercesc::DOMDocument* XercesHelper::readDocumentFromStream(xercesc::DOMLSParser* parser, InputStream& input,
                                                           bool validate, std::u16string const& rootNamespace,
                                                           std::u16string const& rootName) {
  return parserOf(parser).read(input, validate, rootNamespace, rootName);
}

void XercesHelper::writeDocumentToStream(xercesc::DOMLSSerializer* writer, xercesc::DOMDocument* document,
                                         OutputStream& output) {
  callXerces([&] {
    XercesOwned<xercesc::DOMLSOutput> const target(implementation().createLSOutput());
    XercesOutput bytes(output);
    target->setByteStream(&bytes);
    target->setEncoding(u"UTF-8");
    bool const isWritten = writer->write(document, target.get());
    bytes.finish();
    if (!isWritten) throw InvalidXMLDocument("The XML document could not be written");
  });
}

}  // namespace opc::model
