// SPDX-License-Identifier: Apache-2.0
#include "xml/XercesHelper.hpp"

#include <cstddef>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>
#include <xercesc/framework/XMLFormatter.hpp>
#include <xercesc/util/XMLUni.hpp>

#include "opc/Streams.hpp"
#include "opc/model/InvalidState.hpp"
#include "xml/XercesFaults.hpp"
#include "xml/XercesObjects.hpp"
#include "xml/XmlCharacters.hpp"
#include "xml/XmlDomParser.hpp"

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
    writer->getDomConfig()->setParameter(xercesc::XMLUni::fgDOMWRTFormatPrettyPrint, true);
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
