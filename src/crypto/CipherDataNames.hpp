// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "text/SchemaBaseURI.hpp"

/// How a package leads to its cipher data.
namespace opc::ztservices::cipher_data {

inline constexpr char16_t kPartName[] = u"/metadata/ztCipherData.xml";
inline constexpr char16_t kContentType[] = u"application/vnd.corvanta.package.cipherData+xml";
inline constexpr char16_t kRelationshipType[] = u"" ZT_SCHEMA_BASE_URI "/package/2018/relationships/cipherData";

}  // namespace opc::ztservices::cipher_data
