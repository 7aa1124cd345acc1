// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <string_view>

#include "container/Faults.hpp"

/// What faults are called. The words are stable: programs rely on them, and docs/tool.md lists them.
namespace opc::ztservices::code {

using namespace model::code;

// The package.
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
inline constexpr char kSeveralCoreProperties[] = "several-core-properties";
inline constexpr char kInvalidCoreProperties[] = "invalid-core-properties";
inline constexpr char kOrphanedPart[] = "orphaned-part";
inline constexpr char kInvalidPackage[] = "invalid-package";

// The file system.
inline constexpr char kSeveralManifests[] = "several-manifests";
inline constexpr char kManifestType[] = "manifest-type";
inline constexpr char kInvalidManifest[] = "invalid-manifest";
inline constexpr char kInvalidEntry[] = "invalid-entry";
inline constexpr char kDuplicateEntry[] = "duplicate-entry";
inline constexpr char kUnsafePath[] = "unsafe-path";
inline constexpr char kUnclearPath[] = "unclear-path";
inline constexpr char kBelowFile[] = "below-file";
inline constexpr char kBelowLink[] = "below-link";
inline constexpr char kMissingPart[] = "missing-part";
inline constexpr char kSharedPart[] = "shared-part";
inline constexpr char kUnreferencedPart[] = "unreferenced-part";
inline constexpr char kTruncatedEncryption[] = "truncated-encryption";
inline constexpr char kShrunkEncryption[] = "shrunk-encryption";
inline constexpr char kNotAuthentic[] = "not-authentic";
inline constexpr char kPlainContent[] = "plain-content";
inline constexpr char kInvalidCipherData[] = "invalid-cipher-data";

inline constexpr char kMoreFaults[] = "more-faults";

/// Whether readers have to put up with it: the package is one all the same.
inline bool isTolerated(std::string_view code) {
  constexpr std::string_view kTolerated[] = {
      kPrefixBytes,    kGap,        kGrowthHint,   kUntypedItem,   kInvalidPartName, kInvalidContentType,
      kTypeParameters, kFolderMark, kMissingPiece, kMissingTarget, kBackslashTarget, kSeveralCoreProperties,
      kOrphanedPart};
  return std::ranges::find(kTolerated, code) != std::end(kTolerated);
}

/// Whether it is told without being a breach of any rule.
inline bool isNote(std::string_view code) { return code == kGrowthHint; }

}  // namespace opc::ztservices::code
