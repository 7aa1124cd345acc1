// SPDX-License-Identifier: Apache-2.0
#include "services/tree/NameRules.hpp"

#include "opc/Strings.hpp"
#include "opc/ztservices/Exceptions.hpp"

namespace opc::ztservices {
namespace {

constexpr std::size_t kShownUnits = 256;  // of a name that is too long

bool isHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool isLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

bool isControl(char16_t unit) { return unit < 0x20 && unit != u'\t' && unit != u'\n' && unit != u'\r'; }
bool isNonCharacter(char16_t unit) { return unit == 0xFFFE || unit == 0xFFFF; }

/// escapeForDisplay leaves the two non-characters as they are.
std::string shown(std::u16string_view text) {
  std::u16string escaped;
  for (char16_t const unit : escapeForDisplay(text)) {
    if (isNonCharacter(unit))
      escaped += unit == 0xFFFE ? u"\\u{FFFE}" : u"\\u{FFFF}";
    else
      escaped += unit;
  }
  return toUDEString(escaped);
}

}  // namespace

bool isCarriable(std::u16string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (isControl(text[i]) || isNonCharacter(text[i]) || isLowSurrogate(text[i])) return false;
    if (!isHighSurrogate(text[i])) continue;
    if (++i == text.size() || !isLowSurrogate(text[i])) return false;
  }
  return true;
}

void throwIfNotCarriable(std::u16string_view text) {
  if (text.size() > kMaximumNameUnits)
    throw InvalidEntryName("Name cannot be stored: " + shown(text.substr(0, kShownUnits)) + "... (it is too long)");
  if (!isCarriable(text))
    throw InvalidEntryName("Name cannot be stored: " + shown(text) + " (it holds a character that XML cannot carry)");
}

}  // namespace opc::ztservices
