// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

/// Visible forms of what cannot be shown. escapeForDisplay of opc/Strings.hpp is the form for whole texts.
namespace opc::escape {

/// Appends `\u{HEX}`, the visible form of a code point.
void append(std::u16string& out, char32_t codePoint);

/// Bytes that are no text, for a message: printable ASCII as it is, a backslash doubled, everything else as \xHH.
/// Cuts off what exceeds the 4096 bytes that a message shows.
std::string bytes(std::string_view bytes);

}  // namespace opc::escape
