// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

/// The characters of XML 1.0.
namespace opc::model {

inline constexpr std::u16string_view kXmlWhiteSpace = u" \t\n\r";

/// Whether XML can carry the text: no controls except tab, line feed and carriage return, no lone surrogates, neither
/// U+FFFE nor U+FFFF.
bool isXmlText(std::u16string_view text);

/// Takes the character at `at`, which is before `end`, and moves behind it. Throws InvalidXMLDocument, which names the
/// character, where XML cannot carry it.
char32_t takeXmlCharacter(char16_t const*& at, char16_t const* end);

/// Throws for the first character of the text that takeXmlCharacter refuses.
void requireXmlCharacters(std::u16string_view text);

/// Whether the text is an XML name without colons.
bool isNCName(std::u16string_view text);

}  // namespace opc::model
