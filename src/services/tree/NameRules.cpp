// SPDX-License-Identifier: Apache-2.0
#include "services/tree/NameRules.hpp"

#include "opc/Strings.hpp"
#include "opc/ztservices/Exceptions.hpp"
#include "text/Unicode.hpp"
#include "xml/XmlCharacters.hpp"

namespace opc::ztservices {
namespace {

constexpr std::size_t kShownUnits = 256;  // of a name that is too long

std::string shown(std::u16string_view text) { return toUDEString(escapeForDisplay(text)); }

}  // namespace

void throwIfNotCarriable(std::u16string_view text) {
  if (text.size() > kMaximumNameUnits)
    throw InvalidEntryName("Name cannot be stored: " + shown(unicode::beginning(text, kShownUnits)) +
                           "... (it is too long)");
  if (!model::isXmlText(text))
    throw InvalidEntryName("Name cannot be stored: " + shown(text) + " (it holds a character that XML cannot carry)");
}

}  // namespace opc::ztservices
