// SPDX-License-Identifier: Apache-2.0
#include "text/Escape.hpp"

#include <cstddef>

#include "opc/Strings.hpp"
#include "text/Unicode.hpp"

namespace opc {
namespace {

constexpr std::size_t kLongestShown = 4096;

bool isControl(char32_t c) { return c < 0x20 || (c >= 0x7F && c <= 0x9F); }

// The characters of the Unicode bidirectional algorithm that are not seen themselves.
bool steersDirection(char32_t c) {
  return c == 0x061C || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

bool separatesLines(char32_t c) { return c == 0x2028 || c == 0x2029; }

// XML cannot carry these two, so that names which hold them appear in messages.
bool isNonCharacter(char32_t c) { return c == 0xFFFE || c == 0xFFFF; }

bool isUnsafe(char32_t c) {
  return isControl(c) || steersDirection(c) || separatesLines(c) || isNonCharacter(c) || unicode::isSurrogate(c);
}

// Whether a backslash in front of `rest` would be read as the beginning of an escape.
bool readsAsEscape(std::u16string_view rest) {
  if (rest.empty()) return false;
  if (rest.starts_with(u"u{") || std::u16string_view(u"tnr\\").find(rest.front()) != std::u16string_view::npos)
    return true;
  return isUnsafe(unicode::takeCodePoint(rest));
}

void appendUnsafe(std::u16string& shown, char32_t c) {
  if (c == U'\t')
    shown += u"\\t";
  else if (c == U'\n')
    shown += u"\\n";
  else if (c == U'\r')
    shown += u"\\r";
  else
    escape::append(shown, c);
}

}  // namespace

std::u16string escapeForDisplay(std::u16string_view text) {
  std::u16string shown;
  shown.reserve(text.size());
  while (!text.empty()) {
    char32_t const c = unicode::takeCodePoint(text);
    if (isUnsafe(c))
      appendUnsafe(shown, c);
    else if (c == U'\\' && readsAsEscape(text))
      shown += u"\\\\";
    else
      unicode::append(shown, c);
  }
  return shown;
}

void escape::append(std::u16string& out, char32_t codePoint) {
  out += u"\\u{";
  int shift = 20;
  while (shift > 0 && (codePoint >> shift) == 0) shift -= 4;
  for (; shift >= 0; shift -= 4) out += static_cast<char16_t>(upperHexDigit((codePoint >> shift) & 0xF));
  out += u'}';
}

std::string escape::bytes(std::string_view bytes) {
  std::string shown;
  for (char const c : bytes.substr(0, kLongestShown)) {
    auto const byte = static_cast<unsigned char>(c);
    if (c == '\\')
      shown += "\\\\";
    else if (byte >= 0x20 && byte < 0x7F)
      shown += c;
    else
      shown += {'\\', 'x', upperHexDigit(byte >> 4), upperHexDigit(byte & 0xF)};
  }
  if (bytes.size() > kLongestShown) shown += "...";
  return shown;
}

}  // namespace opc
