// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "opc/Strings.hpp"

/// Everything that is said of cipher data.
namespace opc::ztservices::cipher_messages {

inline constexpr char kHashIsEmpty[] = "Input password hash is empty.";
inline constexpr char kSaltIsEmpty[] = "Input salt is empty.";
inline constexpr char kIVIsEmpty[] = "Input IV is empty.";

inline constexpr char kCouldNotCreate[] = "Unable to create cipher entry. ";
inline constexpr char kIsPresent[] =
    "Unable to create cipher entry. This is likely because the relationshipSelector is already present.";
inline constexpr char kNotFound[] = "No cipher data found for the given RelationshipSelector.";
inline constexpr char kIsRepeated[] = "Cipher data in the package has multiple entries with the same values.";

// The name in the message of the value's attribute is what programs know and compare with.
inline constexpr char kNoSourceURI[] = "RelationshipSelector xml element missing SourceURI attribute.";
inline constexpr char kNoSelectorType[] = "RelationshipSelector xml element missing SelectorType attribute.";
inline constexpr char kNoValue[] = "RelationshipSelector xml element missing SelectorValue attribute.";

inline std::string elementFault(std::u16string const& name, char const* fault) {
  return "XML signature: " + toUDEString(name) + fault;
}
inline std::string elementNotPresent(std::u16string const& name) { return elementFault(name, " is not present."); }
inline std::string elementEmpty(std::u16string const& name) { return elementFault(name, " is empty."); }
inline std::string elementNotBase64(std::u16string const& name) { return elementFault(name, " is not base64."); }

}  // namespace opc::ztservices::cipher_messages
