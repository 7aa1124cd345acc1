// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "container/Faults.hpp"
#include "package/Messages.hpp"

/// Stable names of all faults. Programs rely on them, and docs/tool.md lists them.
namespace opc::ztservices::code {

using namespace model::code;

// The package.
inline constexpr char kSeveralCoreProperties[] = "several-core-properties";
inline constexpr char kInvalidCoreProperties[] = "invalid-core-properties";
inline constexpr char kOrphanedPart[] = "orphaned-part";

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

/// Whether it breaks no rule.
inline bool isNote(std::string_view code) { return code == kGrowthHint; }

}  // namespace opc::ztservices::code
