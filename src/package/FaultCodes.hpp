// SPDX-License-Identifier: Apache-2.0
#pragma once

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
