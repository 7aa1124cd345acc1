// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "opc/Streams.hpp"
#include "opc/model/CoreProperties.hpp"
#include "opc/model/PartName.hpp"
#include "package/OwnedPart.hpp"
#include "xml/XercesHelper.hpp"

/// The XML of the core-properties part (ECMA-376-2, 11).
namespace opc::model::detail {

inline constexpr char16_t kCoreNamespace[] = u"http://schemas.openxmlformats.org/package/2006/metadata/core-properties";
inline constexpr char16_t kDublinCoreNamespace[] = u"http://purl.org/dc/elements/1.1/";
inline constexpr char16_t kTermsNamespace[] = u"http://purl.org/dc/terms/";

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
  bool isTyped;  // W3CDTF with xsi:type="dcterms:W3CDTF"; otherwise an xsd:dateTime by the schema
  CoreProperties::Time (CoreProperties::*get)() const;
  void (CoreProperties::*set)(CoreProperties::Time);
};

inline constexpr TimeProperty kTimeProperties[] = {
    {kTermsNamespace, u"dcterms:created", true, &CoreProperties::getCreated, &CoreProperties::setCreated},
    {kCoreNamespace, u"cp:lastPrinted", false, &CoreProperties::getLastPrinted, &CoreProperties::setLastPrinted},
    {kTermsNamespace, u"dcterms:modified", true, &CoreProperties::getModified, &CoreProperties::setModified},
};

inline constexpr char16_t kCorePropertiesRelationshipType[] =
    u"http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties";
/// The part gets another name where a foreign part has this one.
inline constexpr OwnedPart kCorePropertiesPart = {u"/docProps/core.xml",
                                                  u"application/vnd.openxmlformats-package.core-properties+xml",
                                                  kCorePropertiesRelationshipType};

/// The UTC time of a W3CDTF text: YYYY, YYYY-MM, YYYY-MM-DD, or with a time hh:mm, hh:mm:ss or hh:mm:ss.fraction and a
/// zone Z, +hh:mm or -hh:mm. Missing months and days are the first, missing times zero. Not-a-date-time for other
/// texts.
boost::posix_time::ptime parseW3CDateTime(std::u16string const& text);

/// Throws InvalidPartContent, naming the part and the fault. With `faults`, appends the faults of single elements
/// instead and leaves the elements out.
CoreProperties readCoreProperties(InputStream& input, PartName const& part, std::vector<std::string>* faults = nullptr);

/// Does not close the stream. Throws InvalidXMLDocument for texts that XML cannot carry.
void writeCoreProperties(CoreProperties const& properties, OutputStream& output);
/// The same as bytes. Throws InvalidXMLDocument for a document that would be too long to be read, too.
std::vector<unsigned char> makeCorePropertiesDocument(CoreProperties const& properties);

}  // namespace opc::model::detail
