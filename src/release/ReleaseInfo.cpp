// SPDX-License-Identifier: Apache-2.0
#include "foundation/release_info/ReleaseInfo.hpp"

#include <istream>
#include <vector>

#include "opc/Streams.hpp"
#include "opc/Strings.hpp"
#include "release/RunningRelease.hpp"
#include "text/SchemaBaseURI.hpp"
#include "xml/XmlTextRecord.hpp"

#define ZT_RELEASE_NAMESPACE ZT_SCHEMA_BASE_URI "/package/2019/releaseInfo"

namespace foundation::release_info {
namespace {

using opc::model::XmlTextRecord;

constexpr char16_t kRoot[] = u"releaseInfo";
constexpr char16_t kFamily[] = u"releaseFamily";
constexpr char16_t kVersion[] = u"version";
constexpr char16_t kDescription[] = u"description";
constexpr char16_t kDate[] = u"date";

constexpr opc::model::XmlSchemaText kSchema = {"releaseInfo.xsd", R"(<?xml version="1.0" encoding="UTF-8"?>
<xsd:schema xmlns:xsd="http://www.w3.org/2001/XMLSchema"
            xmlns=")" ZT_RELEASE_NAMESPACE R"("
            targetNamespace=")" ZT_RELEASE_NAMESPACE R"("
            elementFormDefault="qualified" attributeFormDefault="unqualified" blockDefault="#all">
  <xsd:element name="releaseInfo">
    <xsd:complexType>
      <xsd:sequence>
        <xsd:element name="releaseFamily" type="xsd:string"/>
        <xsd:element name="version" type="xsd:string"/>
        <xsd:element name="description" type="xsd:string"/>
        <xsd:element name="date" type="xsd:string"/>
      </xsd:sequence>
    </xsd:complexType>
  </xsd:element>
</xsd:schema>
)"};

XmlTextRecord makeRecord() { return XmlTextRecord(u"" ZT_RELEASE_NAMESPACE, kRoot, kSchema); }

}  // namespace

ReleaseInfo::ReleaseInfo() : ReleaseInfo(running::kFamily, running::kVersion, running::kDescription, running::kDate) {}

ReleaseInfo::ReleaseInfo(std::string const& family) : family_(family) {}

ReleaseInfo::ReleaseInfo(std::string const& family, std::string const& version, std::string const& description,
                         std::string const& date)
    : family_(family), version_(version), description_(description), date_(date) {}

ReleaseInfo::ReleaseInfo(std::istream& versionInfo) {
  opc::StdIStreamAdaptor input(versionInfo);
  auto texts = makeRecord().read(input).value();  // the schema refuses every other root
  family_ = opc::toUTF8String(texts[kFamily]);
  version_ = opc::toUTF8String(texts[kVersion]);
  description_ = opc::toUTF8String(texts[kDescription]);
  date_ = opc::toUTF8String(texts[kDate]);
}

std::string ReleaseInfo::getVersionInfo() const {
  std::vector<unsigned char> bytes;
  opc::ByteArrayOutAdaptor output(bytes);
  makeRecord().write({{kFamily, opc::toString(family_)},
                      {kVersion, opc::toString(version_)},
                      {kDescription, opc::toString(description_)},
                      {kDate, opc::toString(date_)}},
                     output);
  return {bytes.begin(), bytes.end()};
}

}  // namespace foundation::release_info
