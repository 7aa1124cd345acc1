// SPDX-License-Identifier: Apache-2.0
#include "opc/Strings.hpp"
#include "text/Unicode.hpp"

namespace opc {
namespace {

bool isControl(char32_t c) { return c < 0x20 || (c >= 0x7F && c <= 0x9F); }

// The characters of the Unicode bidirectional algorithm that are not seen themselves.
bool steersDirection(char32_t c) {
  return c == 0x061C || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

bool isUnsafe(char32_t c) {
  return isControl(c) || steersDirection(c) || c == 0x2028 || c == 0x2029 || unicode::isSurrogate(c);
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
    unicode::appendEscaped(shown, c);
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

}  // namespace opc
