// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "opc/Export.hpp"
#include "opc/model/Part.hpp"

namespace opc::ztservices {

/// SHA-256 of the part's bytes as stored (before any decryption), as 64 lower-case hexadecimal digits.
/// Reads the whole part; throws what reading it throws.
ZT_API std::string digestPart(model::Part const& part);

}  // namespace opc::ztservices
