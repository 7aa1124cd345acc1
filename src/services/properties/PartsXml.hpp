// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "xml/XmlTextRecord.hpp"

/// The XML of the two parts that hold extended core properties, and its names.
namespace opc::ztservices::parts_xml {

inline constexpr char16_t kContentType[] = u"contentType";
inline constexpr char16_t kContentTypeFriendlyName[] = u"contentTypeFriendlyName";
inline constexpr char16_t kRelease[] = u"talbexRelease";
inline constexpr char16_t kUUID[] = u"uuid";

/// Content type, friendly name and release, validated against their schema.
std::unique_ptr<model::XmlTextRecord> makeVendor();
/// The UUID. Not validated: a document with another root gets a message of its own.
std::unique_ptr<model::XmlTextRecord> makeExtension();

}  // namespace opc::ztservices::parts_xml
