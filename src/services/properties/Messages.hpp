// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "opc/Strings.hpp"

/// The messages of this layer.
namespace opc::ztservices::messages {

inline constexpr char kContentType[] =
    "Content type must have the format: application/vnd.corvanta.<product>.<package-type>";
inline constexpr char kFriendlyName[] = "Content type friendly name must be a non-empty string";
inline constexpr char kCreatedTime[] = "Created time is not a valid value";
inline constexpr char kModifiedTime[] = "Modified time is not a valid value";
// The spelling stays, because programs compare with it.
inline constexpr char kUUID[] =
    "UUID must have the format: hhhhhhhh-hhhh-hhhh-hhhh-hhhhhhhhhhhh where h is a hexidecimal digit";
inline constexpr char kUUIDIsSet[] = "UUID is already set. It can not be overwritten";
inline constexpr char kRelease[] = "TALBEX release must have the format: R<four-digit-year>(a|b)";

inline constexpr char kNotAllSet[] = "Not all required core properties are set";
inline constexpr char kNoExtensionRoot[] = "The expected extended core properties root element is not present";
inline constexpr char kNoReleaseInfo[] = "Could not construct a ReleaseInfo from the given XML";
inline constexpr char kInvalidReleaseInfo[] = "ReleaseInfo is invalid";

inline std::string missingElement(std::u16string const& name) {
  return "The expected element " + toUDEString(name) + " is not present";
}

}  // namespace opc::ztservices::messages
