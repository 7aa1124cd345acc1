// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "package/OwnedPart.hpp"
#include "text/SchemaBaseURI.hpp"
#include "xml/XmlTextRecord.hpp"

/// The parts of the extended core properties, and the XML of the first two parts.
namespace opc::ztservices::extended_properties {

inline constexpr model::detail::OwnedPart kVendor = {
    u"/metadata/ztcoreProperties.xml", u"application/vnd.corvanta.package.coreProperties+xml",
    u"" ZT_SCHEMA_BASE_URI "/package/2012/relationships/coreProperties"};
inline constexpr model::detail::OwnedPart kExtension = {
    u"/metadata/ztcorePropertiesExtension.xml", u"application/vnd.corvanta.package.corePropertiesExtension+xml",
    u"" ZT_SCHEMA_BASE_URI "/package/2014/relationships/corePropertiesExtension"};
inline constexpr model::detail::OwnedPart kReleaseInfo = {
    u"/metadata/ztcorePropertiesReleaseInfo.xml", u"application/vnd.corvanta.package.corePropertiesReleaseInfo+xml",
    u"" ZT_SCHEMA_BASE_URI "/package/2019/relationships/corePropertiesReleaseInfo"};

inline constexpr char16_t kContentType[] = u"contentType";
inline constexpr char16_t kContentTypeFriendlyName[] = u"contentTypeFriendlyName";
inline constexpr char16_t kRelease[] = u"talbexRelease";
inline constexpr char16_t kUUID[] = u"uuid";

/// Content type, friendly name and release, validated against their schema.
std::unique_ptr<model::XmlTextRecord> makeVendor();
/// The UUID. Not validated, because the caller reports another root with its own message.
std::unique_ptr<model::XmlTextRecord> makeExtension();

}  // namespace opc::ztservices::extended_properties
