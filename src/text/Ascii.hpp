// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

/// Questions about ASCII, asked of narrow text and of UTF-16 alike. They do not depend on the locale.
namespace opc::ascii {

template <typename Char>
constexpr bool isDigit(Char c) {
  return c >= Char('0') && c <= Char('9');
}

template <typename Char>
constexpr bool isLetter(Char c) {
  return (c >= Char('a') && c <= Char('z')) || (c >= Char('A') && c <= Char('Z'));
}

template <typename Char>
constexpr Char lower(Char c) {
  return c >= Char('A') && c <= Char('Z') ? static_cast<Char>(c + ('a' - 'A')) : c;
}

template <typename Char>
constexpr Char upper(Char c) {
  return c >= Char('a') && c <= Char('z') ? static_cast<Char>(c - ('a' - 'A')) : c;
}

inline std::string lowerCased(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), lower<char>);
  return result;
}

template <typename Char>
bool equalIgnoringCase(std::basic_string_view<Char> a, std::basic_string_view<Char> b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](Char x, Char y) { return lower(x) == lower(y); });
}

/// Number of ASCII characters at the front of `text`. Reads eight bytes at a time, because most text here is ASCII.
template <typename Char>
std::size_t prefixLength(std::basic_string_view<Char> text) {
  constexpr std::uint64_t kBeyondAscii = sizeof(Char) == 1 ? 0x8080808080808080U : 0xFF80FF80FF80FF80U;
  constexpr std::size_t kStep = sizeof(std::uint64_t) / sizeof(Char);
  std::size_t i = 0;
  for (; i + kStep <= text.size(); i += kStep) {
    std::uint64_t word;
    std::memcpy(&word, text.data() + i, sizeof word);
    if (word & kBeyondAscii) break;
  }
  while (i < text.size() && (text[i] & ~0x7F) == 0) ++i;
  return i;
}

template <typename Char>
bool isAscii(std::basic_string_view<Char> text) {
  return prefixLength(text) == text.size();
}

}  // namespace opc::ascii
