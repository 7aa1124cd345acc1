// SPDX-License-Identifier: Apache-2.0
#include "opc/Strings.hpp"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <unicode/uchar.h>

#include "opc/Text.hpp"
#include "text/Ascii.hpp"
#include "text/Escape.hpp"
#include "text/PosixError.hpp"
#include "text/Unicode.hpp"

namespace opc {
namespace {

bool isWhitespace(char16_t c) {
  return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
         (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F || c == 0x3000;
}

char32_t foldedCase(char32_t codePoint) {
  return static_cast<char32_t>(u_foldCase(static_cast<UChar32>(codePoint), U_FOLD_CASE_DEFAULT));
}

std::u16string replaceIllFormed(std::string_view utf8) {
  std::u16string text;
  while (true) {
    utf8.remove_prefix(unicode::appendUTF16(text, utf8));
    if (utf8.empty()) return text;
    bool wellFormed = false;
    unicode::append(text, unicode::takeCodePoint(utf8, wellFormed));
  }
}

}  // namespace

std::u16string toString(std::string const& utf8, bool strict) { return detail::toStringFromUTF8String(utf8, strict); }

std::string toUTF8String(std::u16string_view text) {
  std::string utf8;
  if (!unicode::appendUTF8(utf8, text))
    throw InvalidText("Text holds a lone surrogate: " + toUDEString(escapeForDisplay(text)), posixError(EILSEQ));
  return utf8;
}

std::wstring toWideString(std::u16string const& text) {
  static_assert(sizeof(wchar_t) == sizeof(char32_t));
  std::wstring wide;
  wide.reserve(text.size());
  for (std::u16string_view rest = text; !rest.empty();) {
    char32_t const codePoint = unicode::takeCodePoint(rest);
    wide += static_cast<wchar_t>(unicode::isSurrogate(codePoint) ? unicode::kReplacement : codePoint);
  }
  return wide;
}

std::string toASCIIString(std::u16string const& text) {
  std::string ascii;
  ascii.reserve(text.size());
  for (std::u16string_view rest = text; !rest.empty();) {
    std::u16string shown;
    if (char32_t const codePoint = unicode::takeCodePoint(rest); codePoint < 0x80)
      shown += static_cast<char16_t>(codePoint);
    else
      escape::append(shown, codePoint);
    ascii.append(shown.begin(), shown.end());
  }
  return ascii;
}

bool caselessCompare(std::u16string_view a, std::u16string_view b) {
  std::size_t const plain = std::min(ascii::prefixLength(a), ascii::prefixLength(b));
  if (!ascii::equalIgnoringCase(a.substr(0, plain), b.substr(0, plain))) return false;
  a.remove_prefix(plain);
  b.remove_prefix(plain);
  while (!a.empty() && !b.empty())
    if (foldedCase(unicode::takeCodePoint(a)) != foldedCase(unicode::takeCodePoint(b))) return false;
  return a.empty() && b.empty();
}

bool hasWhitespace(std::u16string_view text) { return std::any_of(text.begin(), text.end(), isWhitespace); }

bool PathLess::operator()(std::u16string_view a, std::u16string_view b) const noexcept {
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                      [](char16_t x, char16_t y) { return pathRank(x) < pathRank(y); });
}

bool isBelowPath(std::u16string_view path, std::u16string_view folder) noexcept {
  return path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == u'/';
}

std::u16string detail::toStringFromUTF8String(std::string const& utf8, bool strict) {
  return strict ? fromUTF8(utf8) : replaceIllFormed(utf8);
}

std::u16string detail::fromUTF8(std::string_view utf8) {
  std::u16string text;
  std::size_t const taken = unicode::appendUTF16(text, utf8);
  if (taken != utf8.size())
    throw InvalidText("Text is not valid UTF-8 at byte " + std::to_string(taken) + ": " + escape::bytes(utf8),
                      posixError(EILSEQ));
  return text;
}

std::u16string detail::getFilename(std::u16string const& path) {
  std::size_t const slash = path.rfind(u'/');
  return path == u"/" || slash == std::u16string::npos ? path : path.substr(slash + 1);
}

std::u16string detail::getParentPath(std::u16string const& path) {
  std::size_t const slash = path.rfind(u'/');
  if (slash == std::u16string::npos || path == u"/") return {};
  return path.substr(0, slash == 0 ? 1 : slash);
}

}  // namespace opc
