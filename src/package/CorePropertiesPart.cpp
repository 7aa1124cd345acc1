// SPDX-License-Identifier: Apache-2.0
#include "package/CorePropertiesPart.hpp"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "opc/Time.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/MarkupCompatibility.hpp"
#include "package/Messages.hpp"
#include "text/Ascii.hpp"
#include "xml/XercesObjects.hpp"
#include "xml/XmlCharacters.hpp"
#include "xml/XmlFault.hpp"
#include "xml/XmlLimits.hpp"

namespace opc::model::detail {
namespace {

using xercesc::DOMElement;
using xercesc::DOMNode;

constexpr char16_t kInstanceNamespace[] = u"http://www.w3.org/2001/XMLSchema-instance";
constexpr char16_t kXmlNamespace[] = u"http://www.w3.org/XML/1998/namespace";
constexpr char16_t kDeclarationNamespace[] = u"http://www.w3.org/2000/xmlns/";

std::u16string_view localName(std::u16string_view qualifiedName) {
  return qualifiedName.substr(qualifiedName.find(u':') + 1);
}

struct ReleaseDom {
  template <typename T>
  void operator()(T* object) const {
    object->release();
  }
};
using DomDocumentOwner = std::unique_ptr<xercesc::DOMDocument, ReleaseDom>;

/// Whether the text begins with the form, in which "0" stands for any digit.
bool hasForm(std::u16string_view text, std::u16string_view form) {
  if (text.size() < form.size()) return false;
  for (std::size_t i = 0; i < form.size(); ++i)
    if (form[i] == u'0' ? !ascii::isDigit(text[i]) : text[i] != form[i]) return false;
  return true;
}

bool isForm(std::u16string_view text, std::u16string_view form) {
  return text.size() == form.size() && hasForm(text, form);
}

bool isZone(std::u16string_view text) { return text == u"Z" || isForm(text, u"+00:00") || isForm(text, u"-00:00"); }

/// The forms of xsd:dateTime alone; convertStringToTime reads others too.
boost::posix_time::ptime parseXsdDateTime(std::u16string const& text) {
  constexpr std::u16string_view kTime = u"00:00:00";
  std::size_t const begin = text.find(u'T') + 1;
  std::u16string_view const time = std::u16string_view(text).substr(begin);
  if (begin == 0 || !hasForm(time, kTime)) return {};
  std::u16string_view zone = time.substr(kTime.size());
  if (zone.starts_with(u'.')) zone.remove_prefix(std::min(zone.find_first_not_of(u"0123456789", 1), zone.size()));
  return zone.empty() || isZone(zone) ? convertStringToTime(text) : boost::posix_time::ptime();
}

/// W3CDTF requires the zone, which xsd:dateTime may leave out.
bool endsInZone(std::u16string_view text) {
  constexpr std::size_t kOffsetSize = 6;
  return text.ends_with(u'Z') || (text.size() > kOffsetSize && isZone(text.substr(text.size() - kOffsetSize)));
}

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

/// Writes a single keyword as plain text, like most producers, unless it is blank, which would be no keyword.
void appendKeywords(DOMElement* root, std::vector<CoreProperties::Keyword> const& keywords) {
  if (keywords.empty()) return;
  DOMElement* const element = append(root, kCoreNamespace, u"cp:keywords");
  bool const isPlain =
      keywords.size() == 1 && keywords.front().first.find_first_not_of(kXmlWhiteSpace) != std::u16string::npos;
  if (isPlain) return appendKeyword(element, keywords.front());
  for (auto const& keyword : keywords) appendKeyword(append(element, kCoreNamespace, u"cp:value"), keyword);
}

std::u16string_view viewOf(XMLCh const* text) { return text ? std::u16string_view(text) : std::u16string_view(); }

bool isText(DOMNode const& node) {
  return node.getNodeType() == DOMNode::TEXT_NODE || node.getNodeType() == DOMNode::CDATA_SECTION_NODE;
}

bool isBlank(std::u16string_view text) { return text.find_first_not_of(kXmlWhiteSpace) == std::u16string_view::npos; }

std::u16string trimmed(std::u16string const& text) {
  std::size_t const begin = text.find_first_not_of(kXmlWhiteSpace);
  if (begin == std::u16string::npos) return {};
  return text.substr(begin, text.find_last_not_of(kXmlWhiteSpace) - begin + 1);
}

std::u16string languageOf(DOMElement const& element) {
  return std::u16string(viewOf(element.getAttributeNS(kXmlNamespace, u"lang")));
}

/// The attributes that an element may have besides namespace declarations.
enum class Allowed { Nothing, Type, Language };

class Reader {
 public:
  Reader(PartName const& part, std::vector<std::string>* faults) : part_(part), faults_(faults) {}

  CoreProperties read(InputStream& input) {
    XercesGuard const guard;
    std::unique_ptr<xercesc::DOMLSParser, ReleaseDom> const parser(XercesHelper::createParser());
    DomDocumentOwner document;
    try {
      document.reset(
          XercesHelper::readDocumentFromStream(parser.get(), input, false, kCoreNamespace, u"coreProperties"));
    } catch (InvalidXMLDocument const& error) {
      fail(error.what());
    }
    DOMElement const& root = *document->getDocumentElement();
    attempt([&] {
      requireAttributes(root, Allowed::Nothing);
      requireNoText(root);
    });
    for (DOMElement* child = root.getFirstElementChild(); child; child = child->getNextElementSibling())
      attempt([&] { readProperty(*child); });
    return std::move(properties_);
  }

 private:
  template <typename Call>
  void attempt(Call const& call) {
    try {
      call();
    } catch (InvalidPartContent const& fault) {
      if (!faults_) throw;
      faults_->emplace_back(fault.what());
    }
  }

  [[noreturn]] void fail(std::string const& fault) const {
    throw InvalidPartContent(messages::invalidPartContent(part_.toString(), fault));
  }

  [[noreturn]] void failAt(std::string const& fault, DOMElement const& element) const {
    fail(fault + ": " + messages::shown(viewOf(element.getNodeName())));
  }

  void requireAttributes(DOMElement const& element, Allowed allowed) const {
    if (viewOf(element.getNamespaceURI()) == kCompatibilityNamespace)
      failAt("Markup compatibility is not allowed", element);
    auto const* const attributes = element.getAttributes();
    for (XMLSize_t i = 0; i < attributes->getLength(); ++i) requireAttribute(*attributes->item(i), element, allowed);
  }

  void requireAttribute(DOMNode const& attribute, DOMElement const& element, Allowed allowed) const {
    std::u16string_view const uri = viewOf(attribute.getNamespaceURI());
    std::u16string_view const name = viewOf(attribute.getLocalName());
    bool const isDeclaration = uri == kDeclarationNamespace;
    if (uri == kCompatibilityNamespace ||
        (isDeclaration && viewOf(attribute.getNodeValue()) == kCompatibilityNamespace))
      failAt("Markup compatibility is not allowed", element);
    bool const isType = allowed == Allowed::Type && uri == kInstanceNamespace && name == u"type";
    bool const isLanguage = allowed == Allowed::Language && uri == kXmlNamespace && name == u"lang";
    if (!isDeclaration && !isType && !isLanguage)
      failAt("Unexpected attribute " + messages::shown(viewOf(attribute.getNodeName())), element);
  }

  void requireNoText(DOMElement const& element) const {
    for (DOMNode* node = element.getFirstChild(); node; node = node->getNextSibling())
      if (isText(*node) && !isBlank(viewOf(node->getNodeValue()))) failAt("Unexpected text", element);
  }

  std::u16string textOf(DOMElement const& element) const {
    if (element.getFirstElementChild()) failAt("Unexpected element", *element.getFirstElementChild());
    std::u16string text;
    XercesHelper::getElementText(&element, text);
    return text;
  }

  void readProperty(DOMElement const& element) {
    std::u16string_view const uri = viewOf(element.getNamespaceURI()), name = viewOf(element.getLocalName());
    auto const matches = [&](auto const& property) {
      return uri == property.namespaceURI && name == localName(property.qualifiedName);
    };
    if (!seen_.emplace(uri, name).second) failAt("Repeated element", element);
    for (TextProperty const& property : kTextProperties)
      if (matches(property)) return readText(element, property);
    for (TimeProperty const& property : kTimeProperties)
      if (matches(property)) return readTime(element, property);
    if (uri != kCoreNamespace || name != u"keywords") failAt("Unexpected element", element);
    readKeywords(element);
  }

  void readText(DOMElement const& element, TextProperty const& property) {
    requireAttributes(element, Allowed::Nothing);
    (properties_.*property.set)(textOf(element));
  }

  void readTime(DOMElement const& element, TimeProperty const& property) {
    requireAttributes(element, property.isTyped ? Allowed::Type : Allowed::Nothing);
    if (property.isTyped && !isW3CDTF(element)) failAt("xsi:type must be dcterms:W3CDTF", element);
    std::u16string const text = trimmed(textOf(element));
    auto const time = property.isTyped ? parseW3CDateTime(text) : parseXsdDateTime(text);
    if (time.is_special()) failAt("Invalid time \"" + messages::shown(text) + "\"", element);
    (properties_.*property.set)(time);
  }

  static bool isW3CDTF(DOMElement const& element) {
    std::u16string const type = trimmed(std::u16string(viewOf(element.getAttributeNS(kInstanceNamespace, u"type"))));
    if (localName(type) != u"W3CDTF") return false;
    std::size_t const colon = type.find(u':');
    std::u16string const prefix = colon == std::u16string::npos ? std::u16string() : type.substr(0, colon);
    return viewOf(element.lookupNamespaceURI(prefix.empty() ? nullptr : prefix.c_str())) == kTermsNamespace;
  }

  /// Text and value elements may be mixed; each text between them is a keyword.
  void readKeywords(DOMElement const& element) {
    requireAttributes(element, Allowed::Language);
    std::vector<CoreProperties::Keyword> keywords;
    std::u16string text;
    auto const endText = [&] {
      if (!isBlank(text)) keywords.emplace_back(text, languageOf(element));
      text.clear();
    };
    for (DOMNode* node = element.getFirstChild(); node; node = node->getNextSibling()) {
      if (isText(*node)) text += viewOf(node->getNodeValue());
      if (node->getNodeType() != DOMNode::ELEMENT_NODE) continue;
      endText();
      keywords.push_back(readKeyword(static_cast<DOMElement const&>(*node), languageOf(element)));
    }
    endText();
    properties_.setKeywords(keywords);
  }

  CoreProperties::Keyword readKeyword(DOMElement const& element, std::u16string const& language) const {
    if (viewOf(element.getNamespaceURI()) != kCoreNamespace || viewOf(element.getLocalName()) != u"value")
      failAt("Unexpected element", element);
    requireAttributes(element, Allowed::Language);
    return {textOf(element), element.hasAttributeNS(kXmlNamespace, u"lang") ? languageOf(element) : language};
  }

  PartName const& part_;
  std::vector<std::string>* faults_;  // null: the first fault ends the reading
  CoreProperties properties_;
  std::set<std::pair<std::u16string, std::u16string>> seen_;
};

}  // namespace

boost::posix_time::ptime parseW3CDateTime(std::u16string const& text) {
  if (isForm(text, u"0000")) return convertStringToTime(text + u"-01-01T00:00:00Z");
  if (isForm(text, u"0000-00")) return convertStringToTime(text + u"-01T00:00:00Z");
  if (isForm(text, u"0000-00-00")) return convertStringToTime(text + u"T00:00:00Z");
  constexpr std::u16string_view kToMinutes = u"0000-00-00T00:00";
  if (!hasForm(text, kToMinutes)) return {};
  std::u16string const rest = text.substr(kToMinutes.size());
  if (isZone(rest)) return convertStringToTime(text.substr(0, kToMinutes.size()) + u":00" + rest);
  return endsInZone(rest) ? parseXsdDateTime(text) : boost::posix_time::ptime();
}

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

CoreProperties readCoreProperties(InputStream& input, PartName const& part, std::vector<std::string>* faults) {
  return Reader(part, faults).read(input);
}

std::vector<unsigned char> makeCorePropertiesDocument(CoreProperties const& properties) {
  std::vector<unsigned char> bytes;
  ByteArrayOutAdaptor document(bytes);
  writeCoreProperties(properties, document);
  if (bytes.size() > kXmlDomDocumentBytes) throw InvalidXMLDocument(xml_text::documentTooLong(kXmlDomDocumentBytes));
  return bytes;
}

}  // namespace opc::model::detail
