// SPDX-License-Identifier: Apache-2.0
#include "services/tree/ManifestSchemas.hpp"

#include "text/SchemaBaseURI.hpp"

namespace opc::ztservices {

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

}  // namespace opc::ztservices
