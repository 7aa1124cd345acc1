// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "opc/Streams.hpp"
#include "opc/model/CoreProperties.hpp"
#include "opc/model/PartName.hpp"
#include "package/OwnedPart.hpp"
#include "xml/XercesHelper.hpp"

/// What reading and writing of core properties share.
/// The XML of the core-properties part (ECMA-376-2, 11).
namespace opc::model::detail {

inline constexpr char16_t kCoreNamespace[] = u"http://schemas.openxmlformats.org/package/2006/metadata/core-properties";
inline constexpr char16_t kDublinCoreNamespace[] = u"http://purl.org/dc/elements/1.1/";
inline constexpr char16_t kTermsNamespace[] = u"http://purl.org/dc/terms/";
inline constexpr char16_t kInstanceNamespace[] = u"http://www.w3.org/2001/XMLSchema-instance";
inline constexpr char16_t kXmlNamespace[] = u"http://www.w3.org/XML/1998/namespace";
inline constexpr char16_t kDeclarationNamespace[] = u"http://www.w3.org/2000/xmlns/";

struct TextProperty {
  char16_t const* namespaceURI;
  char16_t const* qualifiedName;
  std::u16string const& (CoreProperties::*get)() const;
  void (CoreProperties::*set)(std::u16string const&);
};

inline constexpr TextProperty kTextProperties[] = {
    {kCoreNamespace, u"cp:category", &CoreProperties::getCategory, &CoreProperties::setCategory},
    {kCoreNamespace, u"cp:contentStatus", &CoreProperties::getContentStatus, &CoreProperties::setContentStatus},
    // Only the first edition of the standard has it.
    {kCoreNamespace, u"cp:contentType", &CoreProperties::getContentType, &CoreProperties::setContentType},
    {kDublinCoreNamespace, u"dc:creator", &CoreProperties::getCreator, &CoreProperties::setCreator},
    {kDublinCoreNamespace, u"dc:description", &CoreProperties::getDescription, &CoreProperties::setDescription},
    {kDublinCoreNamespace, u"dc:identifier", &CoreProperties::getIdentifier, &CoreProperties::setIdentifier},
    {kDublinCoreNamespace, u"dc:language", &CoreProperties::getLanguage, &CoreProperties::setLanguage},
    {kCoreNamespace, u"cp:lastModifiedBy", &CoreProperties::getLastModifiedBy, &CoreProperties::setLastModifiedBy},
    {kCoreNamespace, u"cp:revision", &CoreProperties::getRevision, &CoreProperties::setRevision},
    {kDublinCoreNamespace, u"dc:subject", &CoreProperties::getSubject, &CoreProperties::setSubject},
    {kDublinCoreNamespace, u"dc:title", &CoreProperties::getTitle, &CoreProperties::setTitle},
    {kCoreNamespace, u"cp:version", &CoreProperties::getVersion, &CoreProperties::setVersion},
};

struct TimeProperty {
  char16_t const* namespaceURI;
  char16_t const* qualifiedName;
  bool isTyped;  // a W3CDTF text under xsi:type="dcterms:W3CDTF"; the other is an xsd:dateTime by the schema
  CoreProperties::Time (CoreProperties::*get)() const;
  void (CoreProperties::*set)(CoreProperties::Time);
};

inline constexpr TimeProperty kTimeProperties[] = {
    {kTermsNamespace, u"dcterms:created", true, &CoreProperties::getCreated, &CoreProperties::setCreated},
    {kCoreNamespace, u"cp:lastPrinted", false, &CoreProperties::getLastPrinted, &CoreProperties::setLastPrinted},
    {kTermsNamespace, u"dcterms:modified", true, &CoreProperties::getModified, &CoreProperties::setModified},
};

inline std::u16string_view localName(std::u16string_view qualifiedName) {
  return qualifiedName.substr(qualifiedName.find(u':') + 1);
}

struct ReleaseDom {
  template <typename T>
  void operator()(T* object) const {
    object->release();
  }
};
using DomDocumentOwner = std::unique_ptr<xercesc::DOMDocument, ReleaseDom>;

inline constexpr char16_t kCorePropertiesRelationshipType[] =
    u"http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties";
/// Under another name where a foreign part has this one.
inline constexpr OwnedPart kCorePropertiesPart = {u"/docProps/core.xml",
                                                  u"application/vnd.openxmlformats-package.core-properties+xml",
                                                  kCorePropertiesRelationshipType};

/// Throws InvalidPartContent, naming the part and the fault.
CoreProperties readCoreProperties(InputStream& input, PartName const& part);

/// Does not close the stream. Throws InvalidXMLDocument for texts that XML cannot carry.
void writeCoreProperties(CoreProperties const& properties, OutputStream& output);

}  // namespace opc::model::detail
