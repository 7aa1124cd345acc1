// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

/// Steps through UTF-8 and UTF-16 that the conversions of this folder share. None of them throws for
/// ill-formed text.
namespace opc::unicode {

constexpr char32_t kReplacement = 0xFFFD;

constexpr bool isSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDFFF; }

/// Number of characters at the front of `text` that are ASCII, found eight bytes at a time: most text here is.
template <typename Char>
std::size_t asciiPrefix(std::basic_string_view<Char> text) {
  constexpr std::uint64_t kBeyondASCII = sizeof(Char) == 1 ? 0x8080808080808080U : 0xFF80FF80FF80FF80U;
  constexpr std::size_t kStep = sizeof(std::uint64_t) / sizeof(Char);
  std::size_t i = 0;
  for (; i + kStep <= text.size(); i += kStep) {
    std::uint64_t word;
    std::memcpy(&word, text.data() + i, sizeof word);
    if (word & kBeyondASCII) break;
  }
  while (i < text.size() && (text[i] & ~0x7F) == 0) ++i;
  return i;
}

/// Removes the first code point of `text`, which is not empty; a lone surrogate comes as itself.
char32_t takeCodePoint(std::u16string_view& text);

/// Removes the first code point of UTF-8 `text`, which is not empty. Where it begins with no well-formed
/// sequence, an ill-formed piece (its first byte and what could have continued it) is removed and
/// kReplacement returned with `wellFormed` false.
char32_t takeCodePoint(std::string_view& text, bool& wellFormed);

void append(std::u16string& out, char32_t codePoint);

/// Appends `text` as UTF-8 up to its first lone surrogate; whether there was none.
bool appendUTF8(std::string& out, std::u16string_view text);

/// Appends UTF-8 `text` as UTF-16 up to its first ill-formed byte; the number of bytes taken.
std::size_t appendUTF16(std::u16string& out, std::string_view text);

/// Appends `\u{HEX}`, the visible form of a code point that cannot be shown.
void appendEscaped(std::u16string& out, char32_t codePoint);

/// Bytes for a message: printable ASCII as it is, a backslash doubled, everything else as \xHH; cut where it
/// grows beyond what a message can hold.
std::string escapeBytes(std::string_view bytes);

}  // namespace opc::unicode
