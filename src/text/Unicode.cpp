// SPDX-License-Identifier: Apache-2.0
#include "text/Unicode.hpp"

#include <boost/locale/utf.hpp>
#include <iterator>

namespace opc::unicode {
namespace {

using UTF8 = boost::locale::utf::utf_traits<char>;
using UTF16 = boost::locale::utf::utf_traits<char16_t>;

constexpr char kHexDigits[] = "0123456789ABCDEF";
constexpr std::size_t kLongestShown = 4096;

// The first byte and the continuation bytes behind it, as many as it asks for.
std::size_t illFormedLength(std::string_view text) {
  int const wanted = UTF8::trail_length(text.front());
  std::size_t length = 1;
  while (length < text.size() && static_cast<int>(length) <= wanted && UTF8::is_trail(text[length])) ++length;
  return length;
}

}  // namespace

char32_t takeCodePoint(std::u16string_view& text) {
  char16_t const first = text.front();
  bool const pair = UTF16::is_first_surrogate(first) && text.size() > 1 && UTF16::is_second_surrogate(text[1]);
  char32_t const codePoint = pair ? UTF16::combine_surrogate(first, text[1]) : first;
  text.remove_prefix(pair ? 2 : 1);
  return codePoint;
}

char32_t takeCodePoint(std::string_view& text, bool& wellFormed) {
  char const* position = text.data();
  auto const codePoint = UTF8::decode(position, text.data() + text.size());
  wellFormed = codePoint != boost::locale::utf::illegal && codePoint != boost::locale::utf::incomplete;
  text.remove_prefix(wellFormed ? static_cast<std::size_t>(position - text.data()) : illFormedLength(text));
  return wellFormed ? codePoint : kReplacement;
}

void append(std::u16string& out, char32_t codePoint) { UTF16::encode(codePoint, std::back_inserter(out)); }

bool appendUTF8(std::string& out, std::u16string_view text) {
  out.reserve(out.size() + text.size());
  while (true) {
    std::size_t const ascii = asciiPrefix(text);
    out.append(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(ascii));
    text.remove_prefix(ascii);
    if (text.empty()) return true;
    char32_t const codePoint = takeCodePoint(text);
    if (isSurrogate(codePoint)) return false;
    UTF8::encode(codePoint, std::back_inserter(out));
  }
}

std::size_t appendUTF16(std::u16string& out, std::string_view text) {
  std::size_t const size = text.size();
  out.reserve(out.size() + size);
  while (true) {
    std::size_t const ascii = asciiPrefix(text);
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

void appendEscaped(std::u16string& out, char32_t codePoint) {
  out += u"\\u{";
  int shift = 20;
  while (shift > 0 && (codePoint >> shift) == 0) shift -= 4;
  for (; shift >= 0; shift -= 4) out += static_cast<char16_t>(kHexDigits[(codePoint >> shift) & 0xF]);
  out += u'}';
}

std::string escapeBytes(std::string_view bytes) {
  std::string shown;
  for (char const c : bytes.substr(0, kLongestShown)) {
    auto const byte = static_cast<unsigned char>(c);
    if (c == '\\') {
      shown += "\\\\";
    } else if (byte >= 0x20 && byte < 0x7F) {
      shown += c;
    } else {
      shown += {'\\', 'x', kHexDigits[byte >> 4], kHexDigits[byte & 0xF]};
    }
  }
  if (bytes.size() > kLongestShown) shown += "...";
  return shown;
}

}  // namespace opc::unicode
