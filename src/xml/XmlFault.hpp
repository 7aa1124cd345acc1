// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "opc/model/XmlExceptions.hpp"

/// The messages about XML documents that this layer refuses. Faults that the parser finds have the parser's text.
namespace opc::model {

/// Counted from 1.
struct XmlPosition {
  std::uint64_t line = 1;
  std::uint64_t column = 1;
};

/// "line 3, column 7: text".
InvalidXMLDocument xmlFault(XmlPosition const& where, std::string const& text);

namespace xml_text {

std::string documentType();
std::string version(std::u16string_view version);
std::string encoding(std::u16string_view encoding);
std::string encodingContradicted(std::u16string_view encoding);
std::string notUnicode();
std::string nul();
std::string halfCharacter();
std::string tooDeep(std::size_t limit);
std::string attributeTooLong(std::size_t limit);
std::string tooManyAttributes(std::size_t limit);
std::string markupTooLong(std::size_t limit);
std::string documentTooLong(std::uint64_t limit);
std::string schemaLocation(std::u16string_view attribute);
std::string documentElement(std::u16string_view foundNamespace, std::u16string_view foundName,
                            std::u16string_view wantedNamespace, std::u16string_view wantedName);
std::string unreadResource(std::u16string_view systemId);
std::string unwritableCharacter(char16_t unit);

}  // namespace xml_text
}  // namespace opc::model
