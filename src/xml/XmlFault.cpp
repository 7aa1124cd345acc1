// SPDX-License-Identifier: Apache-2.0
#include "xml/XmlFault.hpp"

#include <array>
#include <cstdio>

#include "opc/Strings.hpp"

namespace opc::model {
namespace {

std::string narrow(std::u16string_view text) { return toUDEString(std::u16string(text)); }

std::string quoted(std::u16string_view text) { return std::string(1, '\'').append(narrow(text)).append(1, '\''); }

std::string bytes(std::uint64_t limit) { return std::to_string(limit) + " bytes"; }

}  // namespace

InvalidXMLDocument xmlFault(XmlPosition const& where, std::string const& text) {
  return InvalidXMLDocument("line " + std::to_string(where.line) + ", column " + std::to_string(where.column) + ": " +
                            text);
}

namespace xml_text {

std::string documentType() { return "A document type declaration is not allowed"; }

std::string version(std::u16string_view version) { return "XML version " + quoted(version) + " is not supported"; }

std::string encoding(std::u16string_view encoding) { return "Encoding " + quoted(encoding) + " is not supported"; }

std::string encodingContradicted(std::u16string_view encoding) {
  return "The document is not in the encoding " + quoted(encoding) + " that it declares";
}

std::string notUnicode() { return "The document is neither in UTF-8 nor in UTF-16"; }

std::string nul() { return "The document holds the character U+0000"; }

std::string halfCharacter() { return "The document ends within a character"; }

std::string tooDeep(std::size_t limit) { return "Elements are nested more than " + std::to_string(limit) + " deep"; }

std::string attributeTooLong(std::size_t limit) { return "An attribute is longer than " + bytes(limit); }

std::string tooManyAttributes(std::size_t limit) {
  return "An element has more than " + std::to_string(limit) + " attributes";
}

std::string markupTooLong(std::size_t limit) {
  return "A tag, comment, processing instruction or CDATA section is longer than " + bytes(limit);
}

std::string documentTooLong(std::uint64_t limit) { return "The document is longer than " + bytes(limit); }

std::string schemaLocation(std::u16string_view attribute) {
  return "The attribute " + quoted(attribute) + " is not allowed";
}

std::string documentElement(std::u16string_view foundNamespace, std::u16string_view foundName,
                            std::u16string_view wantedNamespace, std::u16string_view wantedName) {
  std::string text = "The document element is '{";
  text.append(narrow(foundNamespace)).append("}").append(narrow(foundName)).append("' instead of '");
  if (!wantedNamespace.empty()) text.append("{").append(narrow(wantedNamespace)).append("}");
  return text.append(wantedName.empty() ? "*" : narrow(wantedName)).append("'");
}

std::string unreadResource(std::u16string_view systemId) {
  return "The resource " + quoted(systemId) + " outside the document is not read";
}

std::string unwritableCharacter(char16_t unit) {
  std::array<char, 8> code{};
  std::snprintf(code.data(), code.size(), "U+%04X", static_cast<unsigned>(unit));
  return std::string("The character ") + code.data() + " cannot stand in an XML document";
}

}  // namespace xml_text
}  // namespace opc::model
