// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "opc/Time.hpp"
#include "package/CorePropertiesPart.hpp"
#include "package/CorePropertiesXml.hpp"
#include "xml/XercesObjects.hpp"
#include "xml/XmlCharacters.hpp"

namespace opc::model::detail {
namespace {

using xercesc::DOMElement;

DOMElement* append(DOMElement* parent, char16_t const* namespaceURI, char16_t const* qualifiedName) {
  return XercesHelper::appendElementNS(parent, XercesString(namespaceURI), XercesString(qualifiedName));
}

void setAttribute(DOMElement* element, char16_t const* namespaceURI, char16_t const* qualifiedName,
                  std::u16string const& value) {
  XercesHelper::setElementAttributeNS(element, XercesString(namespaceURI), XercesString(qualifiedName), value);
}

DOMElement* appendRoot(xercesc::DOMDocument* document) {
  DOMElement* const root =
      XercesHelper::appendElementNS(document, XercesString(kCoreNamespace), XercesString(u"cp:coreProperties"));
  setAttribute(root, kDeclarationNamespace, u"xmlns:cp", kCoreNamespace);
  setAttribute(root, kDeclarationNamespace, u"xmlns:dc", kDublinCoreNamespace);
  setAttribute(root, kDeclarationNamespace, u"xmlns:dcterms", kTermsNamespace);
  setAttribute(root, kDeclarationNamespace, u"xmlns:xsi", kInstanceNamespace);
  return root;
}

void appendTime(DOMElement* root, TimeProperty const& property, CoreProperties const& properties) {
  auto const time = (properties.*property.get)();
  if (time.is_special()) return;
  DOMElement* const element = append(root, property.namespaceURI, property.qualifiedName);
  if (property.isTyped) setAttribute(element, kInstanceNamespace, u"xsi:type", u"dcterms:W3CDTF");
  XercesHelper::setElementText(element, convertTimeToString(time));
}

void appendKeyword(DOMElement* element, CoreProperties::Keyword const& keyword) {
  auto const& [text, language] = keyword;
  if (!language.empty()) setAttribute(element, kXmlNamespace, u"xml:lang", language);
  XercesHelper::setElementText(element, text);
}

/// A single keyword stands by itself, as most producers write it; one that is blank would then be nothing.
void appendKeywords(DOMElement* root, std::vector<CoreProperties::Keyword> const& keywords) {
  if (keywords.empty()) return;
  DOMElement* const element = append(root, kCoreNamespace, u"cp:keywords");
  bool const isPlain =
      keywords.size() == 1 && keywords.front().first.find_first_not_of(kXmlWhiteSpace) != std::u16string::npos;
  if (isPlain) return appendKeyword(element, keywords.front());
  for (auto const& keyword : keywords) appendKeyword(append(element, kCoreNamespace, u"cp:value"), keyword);
}

}  // namespace

void writeCoreProperties(CoreProperties const& properties, OutputStream& output) {
  XercesGuard const guard;
  DomDocumentOwner const document(XercesHelper::createDocument());
  DOMElement* const root = appendRoot(document.get());
  for (TextProperty const& property : kTextProperties) {
    std::u16string const& text = (properties.*property.get)();
    if (!text.empty()) XercesHelper::setElementText(append(root, property.namespaceURI, property.qualifiedName), text);
  }
  for (TimeProperty const& property : kTimeProperties) appendTime(root, property, properties);
  appendKeywords(root, properties.getKeywords());
  std::unique_ptr<xercesc::DOMLSSerializer, ReleaseDom> const writer(XercesHelper::createPrettyPrintingWriter());
  XercesHelper::writeDocumentToStream(writer.get(), document.get(), output);
}

}  // namespace opc::model::detail
