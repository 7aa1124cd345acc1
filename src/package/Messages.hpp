// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

/// The wording of everything that this layer throws. Names come in as they are and are shown escaped.
namespace opc::model::detail::messages {

/// A part name or item name (UTF-8, or what a foreign archive took for it) as it can be shown.
std::string shown(std::string_view name);
std::string shown(std::u16string_view text);

std::string invalidPackage(std::string_view path, std::string_view fault);
std::string invalidItem(std::string_view item, std::string_view fault);
std::string invalidPartName(std::u16string_view name);
std::string reservedPartName(std::u16string_view name);
std::string partNameTooLong(std::u16string_view name);
std::string partNameClash(std::u16string_view name, std::u16string_view existing);
std::string namesClash(std::string_view a, std::string_view b);
std::string partNotFound(std::u16string_view name);
std::string invalidContentType(std::u16string_view text);
std::string parametersNotAllowed(std::u16string_view type);
std::string invalidParameter(std::u16string_view name, std::u16string_view value);
std::string invalidURI(std::u16string_view text);
std::string relationshipNotFound(std::u16string_view id, std::u16string_view source);
std::string invalidRelationshipId(std::u16string_view id);
std::string relationshipIdTaken(std::u16string_view id);
std::string invalidRelationshipType(std::u16string_view type);
std::string invalidRelationshipTarget(std::u16string_view target);
std::string relationshipsHaveNone(std::u16string_view source);
std::string packageIsReadOnly(std::string_view path);
std::string streamIsOpen(std::string_view name);
std::string partIsPackagesOwn(std::u16string_view name);
std::string invalidPartContent(std::u16string_view part, std::string_view fault);

inline constexpr char kSecondCoreProperties[] = "The package already has a core-properties relationship";
inline constexpr char kPackageIsGone[] = "The package is gone";
inline constexpr char kBeingSaved[] = "The package is being saved";

}  // namespace opc::model::detail::messages
