// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace opc::ztservices {

/// More UTF-16 code units than this no path or link target may have: written with every character
/// escaped, it is still an attribute that the manifest reader takes.
inline constexpr std::size_t kMaximumNameUnits = 131'072;

/// Whether the manifest can carry the text: characters of XML 1.0 only (no controls but tab, line feed and
/// carriage return, no lone surrogates, neither U+FFFE nor U+FFFF).
bool isCarriable(std::u16string_view text);

/// For a path or link target that is about to enter the tree: throws InvalidEntryName, showing it escaped,
/// when it is not carriable or too long, so that no manifest is ever written that cannot be read back.
void throwIfNotCarriable(std::u16string_view text);

}  // namespace opc::ztservices
