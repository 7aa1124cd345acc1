// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Stable names of the faults of a package. Programs rely on them, and docs/tool.md lists them.
namespace opc::model::code {

inline constexpr char kNoContentTypes[] = "no-content-types";
inline constexpr char kSeveralContentTypes[] = "several-content-types";
inline constexpr char kInvalidContentTypes[] = "invalid-content-types";
inline constexpr char kUntypedItem[] = "untyped-item";
inline constexpr char kInvalidPartName[] = "invalid-part-name";
inline constexpr char kInvalidContentType[] = "invalid-content-type";
inline constexpr char kTypeParameters[] = "type-parameters";
inline constexpr char kFolderMark[] = "folder-mark";
inline constexpr char kNamesClash[] = "names-clash";
inline constexpr char kDerivedName[] = "derived-name";
inline constexpr char kDuplicatePiece[] = "duplicate-piece";
inline constexpr char kMissingPiece[] = "missing-piece";
inline constexpr char kRelationshipsType[] = "relationships-type";
inline constexpr char kRelationshipsOfRelationships[] = "relationships-of-relationships";
inline constexpr char kInvalidRelationships[] = "invalid-relationships";
inline constexpr char kMissingTarget[] = "missing-target";
inline constexpr char kBackslashTarget[] = "backslash-target";
inline constexpr char kInvalidPackage[] = "invalid-package";

}  // namespace opc::model::code

/// The wording of all exceptions of this layer. Names are passed unescaped and shown escaped.
namespace opc::model::detail::messages {

/// A part name or item name (UTF-8, or other bytes of a foreign archive), escaped for display.
std::string shown(std::string_view name);
std::string shown(std::u16string_view text);

std::string invalidPackage(std::string_view path, std::string_view fault);
std::string invalidItem(std::string_view item, std::string_view fault);
std::string invalidPartName(std::u16string_view name);
std::string reservedPartName(std::u16string_view name);
std::string partNameTooLong(std::u16string_view name);
/// Of a part, or of a file of a package's file system.
std::string tooLongForMemory(std::u16string_view name, std::uint64_t size, std::uint64_t most);
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
