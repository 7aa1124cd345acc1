// SPDX-License-Identifier: Apache-2.0
#include "services/tree/ManifestReader.hpp"

#include <charconv>
#include <cstdint>
#include <string>
#include <system_error>

#include "opc/Strings.hpp"
#include "opc/Time.hpp"
#include "opc/model/Exceptions.hpp"
#include "services/tree/ManifestNames.hpp"
#include "text/SchemaBaseURI.hpp"

namespace opc::ztservices {
namespace {

using boost::posix_time::ptime;

constexpr std::uint16_t kReadWriteExecute = 0777;

std::u16string text(model::XmlAttributes const& attributes, std::u16string_view name) {
  return std::u16string(attributes.find(name).value_or(std::u16string_view()));
}

/// The number that the text begins with; what follows its digits is not looked at.
std::uint16_t leadingNumber(std::string const& digits, int base) {
  std::uint16_t number = 0;
  if (std::from_chars(digits.data(), digits.data() + digits.size(), number, base).ec != std::errc())
    throw model::InvalidPartContent("Permissions are not valid value");
  return number;
}

ptime readTime(model::XmlAttributes const& attributes) {
  std::u16string const date = text(attributes, manifest::kDate);
  if (date.empty()) return boost::posix_time::not_a_date_time;
  ptime const time = convertStringToTime(date);
  if (time.is_not_a_date_time()) throw model::InvalidPartContent("Last modified date/time is not valid");
  return time;
}

}  // namespace

model::XmlSchemaText const kManifestSchema = {"filesystemManifest.xsd", R"(<?xml version="1.0" encoding="UTF-8"?>
<xsd:schema xmlns:xsd="http://www.w3.org/2001/XMLSchema"
            xmlns=")" ZT_SCHEMA_BASE_URI R"(/package/2013/filesystemManifest"
            targetNamespace=")" ZT_SCHEMA_BASE_URI R"(/package/2013/filesystemManifest"
            elementFormDefault="qualified" attributeFormDefault="unqualified" blockDefault="#all">
  <xsd:element name="fileEntries">
    <xsd:complexType>
      <xsd:sequence>
        <xsd:element name="fileEntry" type="FileEntry" minOccurs="0" maxOccurs="unbounded"/>
      </xsd:sequence>
      <xsd:attribute name="createdByEncoding" type="xsd:string" use="required"/>
      <xsd:attribute name="createdByPlatform" type="xsd:string" use="required"/>
      <xsd:attribute name="version" type="xsd:decimal" use="required"/>
    </xsd:complexType>
  </xsd:element>
  <xsd:complexType name="FileEntry">
    <xsd:simpleContent>
      <xsd:extension base="xsd:string">
        <xsd:attribute name="name" type="xsd:string" use="required"/>
        <xsd:attribute name="content" type="xsd:string" use="required"/>
        <xsd:attribute name="type" type="EntryType" use="required"/>
        <xsd:attribute name="date" type="xsd:dateTime"/>
        <xsd:attribute name="permissions" type="xsd:string"/>
      </xsd:extension>
    </xsd:simpleContent>
  </xsd:complexType>
  <xsd:simpleType name="EntryType">
    <xsd:restriction base="xsd:string">
      <xsd:enumeration value="SymLink"/>
      <xsd:enumeration value="File"/>
      <xsd:enumeration value="Folder"/>
    </xsd:restriction>
  </xsd:simpleType>
</xsd:schema>
)"};

model::XmlSchemaText const kManifestSchemaV1 = {"fileManifest.xsd", R"(<?xml version="1.0" encoding="UTF-8"?>
<xsd:schema xmlns:xsd="http://www.w3.org/2001/XMLSchema"
            xmlns=")" ZT_SCHEMA_BASE_URI R"(/talbex/compiler/2011/fileManifest"
            targetNamespace=")" ZT_SCHEMA_BASE_URI R"(/talbex/compiler/2011/fileManifest"
            elementFormDefault="qualified" attributeFormDefault="unqualified" blockDefault="#all">
  <xsd:element name="fileEntries">
    <xsd:complexType>
      <xsd:sequence>
        <xsd:element name="fileEntry" type="FileEntry" minOccurs="0" maxOccurs="unbounded"/>
      </xsd:sequence>
      <xsd:attribute name="platform" type="xsd:string" use="required"/>
      <xsd:attribute name="encoding" type="xsd:string" use="required"/>
    </xsd:complexType>
  </xsd:element>
  <xsd:complexType name="FileEntry">
    <xsd:simpleContent>
      <xsd:extension base="xsd:string">
        <xsd:attribute name="name" type="xsd:string" use="required"/>
        <xsd:attribute name="content" type="xsd:anyURI" use="required"/>
        <xsd:attribute name="type" type="EntryType" use="required"/>
        <xsd:attribute name="date" type="xsd:dateTime"/>
        <xsd:attribute name="permissions" type="xsd:string"/>
      </xsd:extension>
    </xsd:simpleContent>
  </xsd:complexType>
  <xsd:simpleType name="EntryType">
    <xsd:restriction base="xsd:string">
      <xsd:enumeration value="SymLink"/>
      <xsd:enumeration value="File"/>
      <xsd:enumeration value="Folder"/>
    </xsd:restriction>
  </xsd:simpleType>
</xsd:schema>
)"};

void ManifestReader::startElement(std::u16string_view, std::u16string_view localName,
                                  model::XmlAttributes const& attributes) {
  if (localName == manifest::kEntries)
    readRoot(attributes);
  else
    readEntry(attributes);
}

void ManifestReader::readRoot(model::XmlAttributes const& attributes) {
  tree_.setVersion(std::u16string(attributes.find(manifest::kVersion).value_or(manifest::kVersion1)));
  isVersion1_ = tree_.getVersion() == manifest::kVersion1;
  tree_.setPlatform(text(attributes, isVersion1_ ? manifest::kPlatformV1 : manifest::kPlatform));
  tree_.setEncoding(text(attributes, isVersion1_ ? manifest::kEncodingV1 : manifest::kEncoding));
}

void ManifestReader::readEntry(model::XmlAttributes const& attributes) {
  std::u16string const name = readName(attributes);
  std::u16string const type = text(attributes, manifest::kType);
  Perms::Perms_tag const permissions = readPermissions(attributes);
  ptime const time = readTime(attributes);
  if (type == manifest::kFile)
    tree_.addNode(makeFileNode(name, text(attributes, manifest::kContent), permissions, time));
  else if (type == manifest::kFolder)
    tree_.addNode(makeFolderNode(name, permissions, time));
  else if (type == manifest::kLink)
    tree_.addNode(makeLinkNode(name, text(attributes, manifest::kContent), permissions, time));
}

std::u16string ManifestReader::readName(model::XmlAttributes const& attributes) const {
  std::u16string const name = text(attributes, manifest::kName);
  return isVersion1_ && !name.starts_with(u'/') ? u"/" + name : name;
}

Perms::Perms_tag ManifestReader::readPermissions(model::XmlAttributes const& attributes) const {
  std::string const digits = toASCIIString(text(attributes, manifest::kPermissions));
  if (digits.empty()) return kUnknownPermissions;
  bool const hasLeadingZero = digits.front() == '0';
  if (isVersion1_ && hasLeadingZero) throw model::InvalidPartContent("Permissions are not a valid decimal value");
  if (!isVersion1_ && !hasLeadingZero) throw model::InvalidPartContent("Permissions are not a valid octal value");
  return Perms::Perms_tag{leadingNumber(digits, isVersion1_ ? 10 : 8) & std::uint32_t{kReadWriteExecute}};
}

}  // namespace opc::ztservices
