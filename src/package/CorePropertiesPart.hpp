// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opc/Streams.hpp"
#include "opc/model/CoreProperties.hpp"
#include "opc/model/PartName.hpp"
#include "package/OwnedPart.hpp"

/// The XML of the core-properties part (ECMA-376-2, 11).
namespace opc::model::detail {

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
