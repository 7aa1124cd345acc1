// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Steps through UTF-8 and UTF-16. No function here throws for ill-formed text.
namespace opc::unicode {

constexpr char32_t kReplacement = 0xFFFD;

constexpr bool isHighSurrogate(char32_t c) { return (c & ~char32_t{0x3FF}) == 0xD800; }
constexpr bool isLowSurrogate(char32_t c) { return (c & ~char32_t{0x3FF}) == 0xDC00; }
constexpr bool isSurrogate(char32_t c) { return (c & ~char32_t{0x7FF}) == 0xD800; }

/// The code point of a high and a low surrogate.
constexpr char32_t combine(char32_t high, char32_t low) { return 0x10000 + ((high & 0x3FF) << 10) + (low & 0x3FF); }

/// Whether a byte of UTF-8 continues a sequence that an earlier byte begins.
constexpr bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

/// Removes the first code point of `text`, which is not empty. Returns a lone surrogate as itself.
constexpr char32_t takeCodePoint(std::u16string_view& text) {
  char32_t const first = text.front();
  bool const isPair = isHighSurrogate(first) && text.size() > 1 && isLowSurrogate(text[1]);
  char32_t const codePoint = isPair ? combine(first, text[1]) : first;
  text.remove_prefix(isPair ? 2 : 1);
  return codePoint;
}

/// Removes the first code point of UTF-8 `text`, which is not empty. Where no well-formed sequence stands in front,
/// removes an ill-formed piece (the first byte, and the continuation bytes that it asks for), sets `wellFormed` to
/// false and returns kReplacement.
char32_t takeCodePoint(std::string_view& text, bool& wellFormed);

/// The first `most` code units of `text`, or one fewer where the cut would separate a pair of surrogates.
std::u16string_view beginning(std::u16string_view text, std::size_t most);

/// Number of bytes at the front of `bytes` that are well-formed UTF-8 (Unicode 15, 3.9, table 3-7).
std::size_t utf8Prefix(std::string_view bytes);

void append(std::u16string& out, char32_t codePoint);

/// The most bytes of UTF-8 that one code unit of UTF-16 takes.
inline constexpr std::size_t kMostBytesPerUnit = 3;

/// Writes a code point, which is no surrogate, as one to four bytes of UTF-8. Returns the end of what it wrote.
constexpr char* encodeUTF8(char32_t codePoint, char* out) {
  auto const continuation = [](char32_t bits) { return static_cast<char>(0x80 | (bits & 0x3F)); };
  if (codePoint < 0x80) {
    *out++ = static_cast<char>(codePoint);
    return out;
  }
  if (codePoint < 0x800) {
    *out++ = static_cast<char>(0xC0 | codePoint >> 6);
  } else {
    if (codePoint < 0x10000) {
      *out++ = static_cast<char>(0xE0 | codePoint >> 12);
    } else {
      *out++ = static_cast<char>(0xF0 | codePoint >> 18);
      *out++ = continuation(codePoint >> 12);
    }
    *out++ = continuation(codePoint >> 6);
  }
  *out++ = continuation(codePoint);
  return out;
}

/// Appends `text` as UTF-8 up to its first lone surrogate. Returns whether there was none. Does not reallocate where
/// `out` has room for kMostBytesPerUnit bytes for each code unit.
bool appendUTF8(std::string& out, std::u16string_view text);

/// Appends UTF-8 `text` as UTF-16 up to its first ill-formed byte. Returns the number of bytes taken.
std::size_t appendUTF16(std::u16string& out, std::string_view text);

}  // namespace opc::unicode
