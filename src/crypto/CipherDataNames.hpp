// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "package/OwnedPart.hpp"
#include "text/SchemaBaseURI.hpp"

/// How a package leads to its cipher data.
namespace opc::ztservices::cipher_data {

inline constexpr model::detail::OwnedPart kPart = {u"/metadata/ztCipherData.xml",
                                                   u"application/vnd.corvanta.package.cipherData+xml",
                                                   u"" ZT_SCHEMA_BASE_URI "/package/2018/relationships/cipherData"};

}  // namespace opc::ztservices::cipher_data
