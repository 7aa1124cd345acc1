// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace opc::model {

/// Takes the character that begins at `at` and moves on behind it. Throws InvalidXMLDocument that names
/// the character where XML 1.0 cannot carry it: controls but tab, line feed and carriage return, lone
/// surrogates, U+FFFE and U+FFFF. `at` must be before `end`.
char32_t takeXmlCharacter(char16_t const*& at, char16_t const* end);

/// Throws for the first character of the text that takeXmlCharacter refuses.
void requireXmlCharacters(std::u16string_view text);

}  // namespace opc::model
