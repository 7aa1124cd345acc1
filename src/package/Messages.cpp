// SPDX-License-Identifier: Apache-2.0
#include "package/Messages.hpp"

#include <cstddef>
#include <cstdint>

#include "opc/Strings.hpp"
#include "text/Unicode.hpp"

namespace opc::model::detail::messages {
namespace {

/// Much longer than honest names. Of longer names, which are made to fill the memory, messages show the beginning.
constexpr std::size_t kLongestShown = 8192, kBeginning = 1024;

}  // namespace

std::string shown(std::u16string_view text) {
  if (text.size() <= kLongestShown) return toUDEString(escapeForDisplay(text));
  return shown(unicode::beginning(text, kBeginning)) + "... (" + std::to_string(text.size()) + " UTF-16 code units)";
}

std::string shown(std::string_view name) { return shown(toString(std::string(name), false)); }

std::string invalidPackage(std::string_view path, std::string_view fault) {
  return "Invalid package: " + (path.empty() ? std::string() : shown(path) + ": ") + std::string(fault);
}

std::string invalidItem(std::string_view item, std::string_view fault) {
  return shown(item) + ": " + std::string(fault);
}

std::string invalidPartName(std::u16string_view name) { return "Invalid part name: " + shown(name); }

std::string reservedPartName(std::u16string_view name) {
  return "Part name is reserved for relationships: " + shown(name);
}

std::string partNameTooLong(std::u16string_view name) {
  return "Part name of " + std::to_string(name.size()) + " characters is too long: " + shown(name.substr(0, 64)) +
         "...";
}

std::string tooLongForMemory(std::u16string_view name, std::uint64_t size, std::uint64_t most) {
  return shown(name) + " has " + std::to_string(size) + " bytes; no more than " + std::to_string(most) +
         " may be read into memory";
}

std::string partNameClash(std::u16string_view name, std::u16string_view existing) {
  return "Part name " + shown(name) + " clashes with existing " + shown(existing);
}

std::string namesClash(std::string_view a, std::string_view b) {
  return "Names clash: " + shown(a) + " and " + shown(b);
}

std::string partNotFound(std::u16string_view name) { return "Part not found: " + shown(name); }

std::string invalidContentType(std::u16string_view text) { return "Invalid content type: " + shown(text); }

std::string parametersNotAllowed(std::u16string_view type) {
  return "This content type has no parameters: " + shown(type);
}

std::string invalidParameter(std::u16string_view name, std::u16string_view value) {
  return "Invalid content type parameter: " + shown(name) + "=" + shown(value);
}

std::string invalidURI(std::u16string_view text) { return "URI cannot be resolved to a part: " + shown(text); }

std::string relationshipNotFound(std::u16string_view id, std::u16string_view source) {
  return "Relationship not found: " + shown(id) + " of " + (source.empty() ? "the package" : shown(source));
}

std::string invalidRelationshipId(std::u16string_view id) { return "Invalid relationship id: " + shown(id); }

std::string relationshipIdTaken(std::u16string_view id) { return "Relationship id is taken: " + shown(id); }

std::string invalidRelationshipType(std::u16string_view type) { return "Invalid relationship type: " + shown(type); }

std::string invalidRelationshipTarget(std::u16string_view target) {
  return "Invalid relationship target: " + shown(target);
}

std::string relationshipsHaveNone(std::u16string_view source) {
  return "A relationships part has no relationships: " + shown(source);
}

std::string packageIsReadOnly(std::string_view path) {
  return "The package is read-only" + (path.empty() ? std::string() : ": " + shown(path));
}

std::string streamIsOpen(std::string_view name) { return "An output stream of the part is open: " + shown(name); }

std::string partIsPackagesOwn(std::u16string_view name) {
  return "A relationships part is written by its package alone: " + shown(name);
}

std::string invalidPartContent(std::u16string_view part, std::string_view fault) {
  return shown(part) + ": " + std::string(fault);
}

}  // namespace opc::model::detail::messages
