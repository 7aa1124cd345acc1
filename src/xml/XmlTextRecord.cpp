// SPDX-License-Identifier: Apache-2.0
#include "xml/XmlTextRecord.hpp"

#include "xml/XmlFault.hpp"
#include "xml/XmlLimits.hpp"

namespace opc::model {
namespace {

std::u16string toText(XMLCh const* text) { return text ? text : u""; }

}  // namespace

XmlTextRecord::XmlTextRecord(std::u16string const& namespaceURI, std::u16string const& rootName,
                             std::optional<XmlSchemaText> const& schema)
    : namespaceURI_(namespaceURI),
      rootName_(rootName),
      validates_(schema.has_value()),
      parser_(XercesHelper::createParser()),
      writer_(XercesHelper::createPrettyPrintingWriter()) {
  if (schema) XercesHelper::loadSchema(parser_.get(), schema->text, schema->fileName);
}

std::optional<std::map<std::u16string, std::u16string>> XmlTextRecord::read(InputStream& input) {
  Document const document(XercesHelper::readDocumentFromStream(parser_.get(), input, validates_, {}, {}));
  auto const* const root = document->getDocumentElement();
  if (toText(root->getLocalName()) != rootName_.toString() ||
      toText(root->getNamespaceURI()) != namespaceURI_.toString())
    return std::nullopt;
  std::map<std::u16string, std::u16string> texts;
  for (auto const* element = root->getFirstElementChild(); element; element = element->getNextElementSibling()) {
    if (toText(element->getNamespaceURI()) != namespaceURI_.toString()) continue;
    std::u16string text;
    XercesHelper::getElementText(element, text);
    texts.emplace(toText(element->getLocalName()), std::move(text));
  }
  return texts;
}

void XmlTextRecord::write(std::vector<std::pair<char16_t const*, std::u16string>> const& texts, OutputStream& output) {
  Document const document(XercesHelper::createDocument());
  auto* const root = XercesHelper::appendElementNS(document.get(), namespaceURI_, rootName_);
  for (auto const& [name, text] : texts)
    XercesHelper::setElementText(XercesHelper::appendElementNS(root, namespaceURI_, XercesString(name)), text);
  std::vector<unsigned char> bytes;
  ByteArrayOutAdaptor buffer(bytes);
  XercesHelper::writeDocumentToStream(writer_.get(), document.get(), buffer);
  if (bytes.size() > kXmlDomDocumentBytes) throw InvalidXMLDocument(xml_text::documentTooLong(kXmlDomDocumentBytes));
  output.write(bytes.data(), bytes.size());
}

}  // namespace opc::model
