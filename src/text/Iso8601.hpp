// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string_view>

#include "text/EpochTime.hpp"

namespace opc {

/// Reads the lexical form of xsd:dateTime, white space at its ends aside. Empty where the text has not that
/// form, names no day or time of day, or is far outside the years of the time type.
std::optional<EpochTime> parseIso8601(std::u16string_view text);

}  // namespace opc
