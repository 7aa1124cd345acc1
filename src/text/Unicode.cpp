// SPDX-License-Identifier: Apache-2.0
#include "text/Unicode.hpp"

#include <algorithm>

#include "text/Ascii.hpp"

namespace opc::unicode {
namespace {

using Byte = unsigned char;

constexpr std::size_t kUnitsAtOnce = 16'384;  // their UTF-8 stays in the cache

constexpr bool isWithin(Byte byte, unsigned first, unsigned last) { return byte - first <= last - first; }
constexpr bool continues(Byte byte) { return isWithin(byte, 0x80, 0xBF); }

/// Length of the sequence that a first byte asks for (Unicode 15, 3.9, table 3-7). 1 for a byte that begins none.
std::size_t wantedLength(Byte first) {
  if (isWithin(first, 0xC2, 0xDF)) return 2;
  if (isWithin(first, 0xE0, 0xEF)) return 3;
  return isWithin(first, 0xF0, 0xF4) ? 4 : 1;
}

/// Length of the well-formed sequence beyond ASCII in front of `left` bytes, by the same table. 0 for none.
std::size_t sequenceLength(Byte const* at, std::size_t left) {
  if (left >= 2 && isWithin(at[0], 0xC2, 0xDF)) return continues(at[1]) ? 2 : 0;
  if (left >= 3 && isWithin(at[0], 0xE0, 0xEF)) {
    bool const second = isWithin(at[1], at[0] == 0xE0 ? 0xA0 : 0x80, at[0] == 0xED ? 0x9F : 0xBF);
    return second && continues(at[2]) ? 3 : 0;
  }
  if (left >= 4 && isWithin(at[0], 0xF0, 0xF4)) {
    bool const second = isWithin(at[1], at[0] == 0xF0 ? 0x90 : 0x80, at[0] == 0xF4 ? 0x8F : 0xBF);
    return second && continues(at[2]) && continues(at[3]) ? 4 : 0;
  }
  return 0;
}

std::size_t illFormedLength(std::string_view text) {
  std::size_t const most = std::min(text.size(), wantedLength(static_cast<Byte>(text.front())));
  std::size_t length = 1;
  while (length < most && isContinuation(text[length])) ++length;
  return length;
}

char32_t decode(Byte const* sequence, std::size_t length) {
  constexpr Byte kBitsOfFirst[] = {0, 0, 0x1F, 0x0F, 0x07};
  char32_t codePoint = sequence[0] & kBitsOfFirst[length];
  for (std::size_t i = 1; i < length; ++i) codePoint = codePoint << 6 | (sequence[i] & 0x3F);
  return codePoint;
}

/// Writes `text` as UTF-8 up to its first lone surrogate, and removes the written part from `text`.
char* encodeUTF8(std::u16string_view& text, char* out) {
  char16_t const* at = text.data();
  char16_t const* const end = at + text.size();
  while (at != end) {
    char32_t codePoint = *at;
    while (codePoint < 0x800) {  // most alphabets have no more
      out = unicode::encodeUTF8(codePoint, out);
      if (++at == end) break;
      codePoint = *at;
    }
    if (at == end) break;
    if (isSurrogate(codePoint)) {
      if (!isHighSurrogate(codePoint) || end - at < 2 || !isLowSurrogate(at[1])) break;
      codePoint = combine(codePoint, *++at);
    }
    out = unicode::encodeUTF8(codePoint, out);
    ++at;
  }
  text = {at, end};
  return out;
}

}  // namespace

char32_t takeCodePoint(std::string_view& text, bool& wellFormed) {
  auto const* const bytes = reinterpret_cast<Byte const*>(text.data());
  std::size_t const length = bytes[0] < 0x80 ? 1 : sequenceLength(bytes, text.size());
  wellFormed = length != 0;
  char32_t const codePoint = !wellFormed ? kReplacement : length == 1 ? bytes[0] : decode(bytes, length);
  text.remove_prefix(wellFormed ? length : illFormedLength(text));
  return codePoint;
}

std::u16string_view beginning(std::u16string_view text, std::size_t most) {
  if (text.size() <= most) return text;
  return text.substr(0, most > 0 && isHighSurrogate(text[most - 1]) ? most - 1 : most);
}

std::size_t utf8Prefix(std::string_view bytes) {
  auto const* const data = reinterpret_cast<Byte const*>(bytes.data());
  std::size_t position = 0;
  while (position < bytes.size()) {
    position += ascii::prefixLength(bytes.substr(position));
    while (position < bytes.size() && data[position] >= 0x80) {
      std::size_t const length = sequenceLength(data + position, bytes.size() - position);
      if (length == 0) return position;
      position += length;
    }
  }
  return position;
}

void append(std::u16string& out, char32_t codePoint) {
  if (codePoint < 0x10000) {
    out += static_cast<char16_t>(codePoint);
    return;
  }
  out += static_cast<char16_t>(0xD800 + ((codePoint - 0x10000) >> 10));
  out += static_cast<char16_t>(0xDC00 + (codePoint & 0x3FF));
}

bool appendUTF8(std::string& out, std::u16string_view text) {
  out.reserve(out.size() + text.size());
  while (!text.empty()) {
    std::u16string_view piece = beginning(text, kUnitsAtOnce);
    text.remove_prefix(piece.size());
    std::size_t const size = out.size();
    out.resize(size + piece.size() * kMostBytesPerUnit);
    out.resize(static_cast<std::size_t>(encodeUTF8(piece, out.data() + size) - out.data()));
    if (!piece.empty()) return false;
  }
  return true;
}

std::size_t appendUTF16(std::u16string& out, std::string_view text) {
  std::size_t const size = text.size();
  out.reserve(out.size() + size);
  while (true) {
    std::size_t const ascii = ascii::prefixLength(text);
    out.append(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(ascii));
    text.remove_prefix(ascii);
    if (text.empty()) return size;
    std::size_t const taken = size - text.size();
    bool wellFormed = false;
    char32_t const codePoint = takeCodePoint(text, wellFormed);
    if (!wellFormed) return taken;
    append(out, codePoint);
  }
}

}  // namespace opc::unicode
