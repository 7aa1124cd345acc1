// SPDX-License-Identifier: Apache-2.0
#include "xml/XmlCharacters.hpp"

#include "xml/XmlFault.hpp"

namespace opc::model {
namespace {

bool isHighSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
bool isLowSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

/// Whether the unit is a character of XML by itself.
bool isXmlCharacter(char16_t unit) {
  if (unit < 0x20) return unit == u'\t' || unit == u'\n' || unit == u'\r';
  return unit < 0xD800 || (unit > 0xDFFF && unit < 0xFFFE);
}

}  // namespace

char32_t takeXmlCharacter(char16_t const*& at, char16_t const* end) {
  char16_t const unit = *at;
  if (isXmlCharacter(unit)) {
    ++at;
    return unit;
  }
  if (!isHighSurrogate(unit) || end - at < 2 || !isLowSurrogate(at[1]))
    throw InvalidXMLDocument(xml_text::unwritableCharacter(unit));
  char32_t const high = static_cast<char32_t>(unit) - 0xD800;
  char32_t const low = static_cast<char32_t>(at[1]) - 0xDC00;
  at += 2;
  return 0x10000 + (high << 10) + low;
}

void requireXmlCharacters(std::u16string_view text) {
  char16_t const* at = text.data();
  char16_t const* const end = at + text.size();
  while (at != end)
    if (*at >= 0x20 && *at < 0xD800)
      ++at;
    else
      takeXmlCharacter(at, end);
}

}  // namespace opc::model
