// SPDX-License-Identifier: Apache-2.0
#include "services/properties/ExtendedPropertyParts.hpp"

#include "text/SchemaBaseURI.hpp"

#define ZT_VENDOR_NAMESPACE ZT_SCHEMA_BASE_URI "/package/2012/coreProperties"
#define ZT_EXTENSION_NAMESPACE ZT_SCHEMA_BASE_URI "/package/2014/corePropertiesExtension"

namespace opc::ztservices::extended_properties {
namespace {

constexpr char16_t kRoot[] = u"ztcoreProperties";

// Some writers add talbexVersion.
constexpr model::XmlSchemaText kVendorSchema = {"ztcoreProperties.xsd", R"(<?xml version="1.0" encoding="UTF-8"?>
<xsd:schema xmlns:xsd="http://www.w3.org/2001/XMLSchema"
            xmlns=")" ZT_VENDOR_NAMESPACE R"("
            targetNamespace=")" ZT_VENDOR_NAMESPACE R"("
            elementFormDefault="qualified" attributeFormDefault="unqualified" blockDefault="#all">
  <xsd:element name="ztcoreProperties">
    <xsd:complexType>
      <xsd:sequence>
        <xsd:element name="contentType" type="xsd:string"/>
        <xsd:element name="contentTypeFriendlyName" type="xsd:string"/>
        <xsd:element name="talbexRelease" type="xsd:string"/>
        <xsd:element name="talbexVersion" type="xsd:string" minOccurs="0"/>
      </xsd:sequence>
    </xsd:complexType>
  </xsd:element>
</xsd:schema>
)"};

}  // namespace

std::unique_ptr<model::XmlTextRecord> makeVendor() {
  return std::make_unique<model::XmlTextRecord>(u"" ZT_VENDOR_NAMESPACE, kRoot, kVendorSchema);
}

std::unique_ptr<model::XmlTextRecord> makeExtension() {
  return std::make_unique<model::XmlTextRecord>(u"" ZT_EXTENSION_NAMESPACE, kRoot);
}

}  // namespace opc::ztservices::extended_properties
