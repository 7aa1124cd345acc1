// SPDX-License-Identifier: Apache-2.0
#include "crypto/CipherDataXml.hpp"

#include <string>
#include <string_view>
#include <utility>

#include "crypto/CryptoErrors.hpp"
#include "crypto/Encodings.hpp"
#include "opc/model/Exceptions.hpp"
#include "text/SchemaBaseURI.hpp"
#include "xml/XmlFault.hpp"
#include "xml/XmlLimits.hpp"

#define ZT_CIPHER_NAMESPACE ZT_SCHEMA_BASE_URI "/package/2018/cipherData"

namespace opc::ztservices {
namespace {

namespace utils = foundation::crypto::utils;
using model::InvalidPartContent;
using model::RelationshipSelector;
using model::RelationshipSelectorType;
using model::XercesHelper;
using model::XercesString;
using xercesc::DOMElement;
using Bytes = std::vector<unsigned char>;

XercesString const kNamespace(u"" ZT_CIPHER_NAMESPACE);
XercesString const kCipherData(u"CipherData");
XercesString const kCipherEntry(u"CipherEntry");
XercesString const kRelationshipSelector(u"RelationshipSelector");
XercesString const kSourceURI(u"SourceURI");
XercesString const kSelectorType(u"SelectorType");
XercesString const kValue(u"Value");
XercesString const kHash(u"Hash");
XercesString const kSalt(u"Salt");
XercesString const kIV(u"IV");

constexpr char16_t kByID[] = u"ByID";
constexpr char16_t kByType[] = u"ByType";

// Hash, salt and IV are strings in the schema, because the reader reports an empty one by its name.
constexpr char kSchemaName[] = "ztCipherData.xsd";
constexpr char kSchema[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<xsd:schema xmlns:xsd="http://www.w3.org/2001/XMLSchema"
            xmlns=")" ZT_CIPHER_NAMESPACE R"("
            targetNamespace=")" ZT_CIPHER_NAMESPACE R"("
            elementFormDefault="qualified" attributeFormDefault="unqualified" blockDefault="#all">
  <xsd:element name="CipherData">
    <xsd:complexType>
      <xsd:sequence>
        <xsd:element name="CipherEntry" type="CipherEntry" maxOccurs="unbounded"/>
      </xsd:sequence>
    </xsd:complexType>
  </xsd:element>
  <xsd:complexType name="CipherEntry">
    <xsd:sequence>
      <!-- The presence of RelationshipSelector, and of its attributes, is enforced in code. -->
      <xsd:element name="RelationshipSelector" type="RelationshipSelector" minOccurs="0"/>
      <xsd:element name="Hash" type="xsd:string"/>
      <xsd:element name="Salt" type="xsd:string"/>
      <xsd:element name="IV" type="xsd:string"/>
      <!-- Reserved for later versions, which may put anything into it. -->
      <xsd:element name="NewEntry" type="NewEntry" minOccurs="0"/>
    </xsd:sequence>
  </xsd:complexType>
  <xsd:complexType name="RelationshipSelector">
    <xsd:attribute name="SourceURI" type="xsd:string"/>
    <xsd:attribute name="SelectorType" type="SelectorType"/>
    <xsd:attribute name="Value" type="xsd:string"/>
  </xsd:complexType>
  <xsd:simpleType name="SelectorType">
    <xsd:restriction base="xsd:string">
      <xsd:enumeration value="ByID"/>
      <xsd:enumeration value="ByType"/>
    </xsd:restriction>
  </xsd:simpleType>
  <xsd:complexType name="NewEntry" mixed="true">
    <xsd:sequence>
      <xsd:any namespace="##any" processContents="lax" minOccurs="0" maxOccurs="unbounded"/>
    </xsd:sequence>
    <xsd:anyAttribute namespace="##any" processContents="lax"/>
  </xsd:complexType>
</xsd:schema>
)";

// ---- reading

std::u16string requiredAttribute(DOMElement const& element, XercesString const& name, char const* message) {
  if (!element.hasAttribute(name.c_str())) throw InvalidPartContent(message);
  std::u16string value;
  XercesHelper::getElementAttribute(&element, name, value);
  return value;
}

DOMElement const& requiredElement(DOMElement const& entry, XercesString const& name) {
  DOMElement const* const element = XercesHelper::getElementNS(&entry, kNamespace, name);
  if (!element) throw InvalidPartContent(cipher_messages::elementNotPresent(name.toString()));
  return *element;
}

std::u16string requiredText(DOMElement const& entry, XercesString const& name) {
  std::u16string text;
  XercesHelper::getElementText(&requiredElement(entry, name), text);
  if (text.empty()) throw InvalidPartContent(cipher_messages::elementEmpty(name.toString()));
  return text;
}

// Some writers break the digits into several lines.
Bytes requiredBytes(DOMElement const& entry, XercesString const& name) {
  std::u16string text = requiredText(entry, name);
  std::erase_if(text, [](char16_t c) { return c == u' ' || c == u'\t' || c == u'\n' || c == u'\r'; });
  if (text.empty()) throw InvalidPartContent(cipher_messages::elementEmpty(name.toString()));
  try {
    return utils::base64Decode(toUTF8String(text));
  } catch (foundation::crypto::CryptoError const&) {
    throw InvalidPartContent(cipher_messages::elementNotBase64(name.toString()));
  }
}

RelationshipSelector readSelector(DOMElement const& element) {
  std::u16string const source = requiredAttribute(element, kSourceURI, cipher_messages::kNoSourceURI);
  std::u16string const type = requiredAttribute(element, kSelectorType, cipher_messages::kNoSelectorType);
  std::u16string const value = requiredAttribute(element, kValue, cipher_messages::kNoValue);
  return {model::URI(source), type == kByID ? RelationshipSelectorType::ByID : RelationshipSelectorType::ByType, value};
}

CipherEntry readEntry(DOMElement const& entry) {
  RelationshipSelector selector = readSelector(requiredElement(entry, kRelationshipSelector));
  Bytes hash = requiredBytes(entry, kHash);
  std::u16string salt = requiredText(entry, kSalt);
  Bytes iv = requiredBytes(entry, kIV);
  return {std::move(selector), std::move(hash), std::move(salt), std::move(iv)};
}

// ---- writing

void appendText(DOMElement* parent, XercesString const& name, std::u16string const& text) {
  XercesHelper::setElementText(XercesHelper::appendElementNS(parent, kNamespace, name), text);
}

void appendBytes(DOMElement* parent, XercesString const& name, Bytes const& bytes) {
  appendText(parent, name, toString(utils::base64Encode(bytes)));
}

void appendSelector(DOMElement* entry, RelationshipSelector const& selector) {
  DOMElement* const element = XercesHelper::appendElementNS(entry, kNamespace, kRelationshipSelector);
  bool const byID = selector.getSelectorType() == RelationshipSelectorType::ByID;
  XercesHelper::setElementAttribute(element, kSourceURI, selector.getSourceURI().toString());
  XercesHelper::setElementAttribute(element, kSelectorType, byID ? kByID : kByType);
  XercesHelper::setElementAttribute(element, kValue, selector.getSelectionCriteria());
}

void appendEntry(DOMElement* root, CipherEntry const& entry) {
  DOMElement* const element = XercesHelper::appendElementNS(root, kNamespace, kCipherEntry);
  appendSelector(element, entry.getRelationshipSelector());
  appendBytes(element, kHash, entry.getHash());
  appendText(element, kSalt, entry.getSalt());
  appendBytes(element, kIV, entry.getIV());
}

}  // namespace

CipherDataXml::CipherDataXml()
    : parser_(XercesHelper::createParser()), writer_(XercesHelper::createPrettyPrintingWriter()) {
  XercesHelper::loadSchema(parser_.get(), kSchema, kSchemaName);
}

std::vector<CipherEntry> CipherDataXml::read(InputStream& input) {
  model::XercesOwned<xercesc::DOMDocument> const document(
      XercesHelper::readDocumentFromStream(parser_.get(), input, true, {}, {}));
  std::vector<CipherEntry> entries;
  for (DOMElement const* element : XercesHelper::getElements(document->getDocumentElement(), kCipherEntry))
    entries.push_back(readEntry(*element));
  return entries;
}

std::vector<unsigned char> CipherDataXml::write(std::vector<CipherEntry> const& entries) {
  model::XercesOwned<xercesc::DOMDocument> const document(XercesHelper::createDocument());
  DOMElement* const root = XercesHelper::appendElementNS(document.get(), kNamespace, kCipherData);
  for (CipherEntry const& entry : entries) appendEntry(root, entry);
  Bytes bytes;
  ByteArrayOutAdaptor buffer(bytes);
  XercesHelper::writeDocumentToStream(writer_.get(), document.get(), buffer);
  if (bytes.size() > model::kXmlDomDocumentBytes)
    throw model::InvalidXMLDocument(model::xml_text::documentTooLong(model::kXmlDomDocumentBytes));
  return bytes;
}

}  // namespace opc::ztservices
