// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

/// The regular expressions of the extended core properties, each matched against a whole text. Letters and
/// digits are those of the classic locale, whatever the program's is: ASCII alone.
namespace opc::ztservices::patterns {

bool matchesSubType(std::u16string const& text);
bool matchesUUID(std::u16string const& text);
bool matchesRelease(std::u16string const& text);

}  // namespace opc::ztservices::patterns
