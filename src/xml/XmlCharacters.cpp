// SPDX-License-Identifier: Apache-2.0
#include "xml/XmlCharacters.hpp"

#include <cstddef>

#include "text/Unicode.hpp"
#include "xml/XmlFault.hpp"

namespace opc::model {
namespace {

struct Range {
  char32_t first, last;
};

// XML 1.0 (fifth edition), [4] and [4a], without the colon.
constexpr Range kStart[] = {{'A', 'Z'},       {'_', '_'},       {'a', 'z'},       {0xC0, 0xD6},     {0xD8, 0xF6},
                            {0xF8, 0x2FF},    {0x370, 0x37D},   {0x37F, 0x1FFF},  {0x200C, 0x200D}, {0x2070, 0x218F},
                            {0x2C00, 0x2FEF}, {0x3001, 0xD7FF}, {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}, {0x10000, 0xEFFFF}};
constexpr Range kFurther[] = {{'-', '.'}, {'0', '9'}, {0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040}};

template <std::size_t count>
bool isIn(Range const (&ranges)[count], char32_t c) {
  for (Range const& range : ranges)
    if (c >= range.first && c <= range.last) return true;
  return false;
}

// Every code point from U+10000 on is a character of XML.
bool isXmlCharacter(char32_t c) {
  if (c < 0x20) return c == '\t' || c == '\n' || c == '\r';
  return c < 0xFFFE ? !unicode::isSurrogate(c) : c > 0xFFFF;
}

/// Moves `at` over code units that are characters of XML by themselves.
void skipPlain(char16_t const*& at, char16_t const* end) {
  while (at != end && *at >= 0x20 && *at < 0xD800) ++at;
}

char32_t takeCodePoint(char16_t const*& at, char16_t const* end) {
  std::u16string_view rest(at, end);
  char32_t const c = unicode::takeCodePoint(rest);
  at = end - rest.size();
  return c;
}

}  // namespace

bool isXmlText(std::u16string_view text) {
  char16_t const* at = text.data();
  char16_t const* const end = at + text.size();
  for (skipPlain(at, end); at != end; skipPlain(at, end))
    if (!isXmlCharacter(takeCodePoint(at, end))) return false;
  return true;
}

char32_t takeXmlCharacter(char16_t const*& at, char16_t const* end) {
  char16_t const* behind = at;
  char32_t const c = takeCodePoint(behind, end);
  if (!isXmlCharacter(c)) throw InvalidXMLDocument(xml_text::unwritableCharacter(*at));
  at = behind;
  return c;
}

void requireXmlCharacters(std::u16string_view text) {
  char16_t const* at = text.data();
  char16_t const* const end = at + text.size();
  for (skipPlain(at, end); at != end; skipPlain(at, end)) takeXmlCharacter(at, end);
}

bool isNCName(std::u16string_view text) {
  if (text.empty() || !isIn(kStart, unicode::takeCodePoint(text))) return false;
  while (!text.empty()) {
    char32_t const c = unicode::takeCodePoint(text);
    if (!isIn(kStart, c) && !isIn(kFurther, c)) return false;
  }
  return true;
}

}  // namespace opc::model
