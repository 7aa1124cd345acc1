// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "container/Faults.hpp"
#include "opc/ztservices/Verification.hpp"
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
inline constexpr char kBadLinkTarget[] = "bad-link-target";
inline constexpr char kMissingPart[] = "missing-part";
inline constexpr char kForeignPart[] = "foreign-part";
inline constexpr char kSharedPart[] = "shared-part";
inline constexpr char kUnreferencedPart[] = "unreferenced-part";
inline constexpr char kTruncatedEncryption[] = "truncated-encryption";
inline constexpr char kShrunkEncryption[] = "shrunk-encryption";
inline constexpr char kNotAuthentic[] = "not-authentic";
inline constexpr char kPlainContent[] = "plain-content";
inline constexpr char kChangedMark[] = "changed-mark";
inline constexpr char kInvalidCipherData[] = "invalid-cipher-data";

inline constexpr char kMoreFaults[] = "more-faults";

/// Whether it breaks no rule.
inline bool isNote(std::string_view code) { return code == kGrowthHint; }

}  // namespace opc::ztservices::code

namespace opc::ztservices {

/// Collects faults, up to a number.
class FaultList final : public model::Faults {
 public:
  explicit FaultList(std::size_t maximum) : maximum_(maximum) {}

  void refuse(model::Fault const& fault) override;
  void refuseContent(std::string const& message) override;
  void tolerate(model::Fault const& fault) override;
  bool listsAll() const override { return true; }

  void add(char const* code, std::u16string item, std::string message);
  /// A fault of an item of the container, listed under the name of the part that it would be.
  void addItem(char const* code, std::string_view rawName, std::string message);
  /// The list, with one more fault that counts those beyond the number.
  std::vector<VerificationFault> take();

 private:
  std::size_t maximum_;
  std::uint64_t dropped_ = 0;
  bool hasDroppedNotesAlone_ = true;
  std::vector<VerificationFault> faults_;
};

}  // namespace opc::ztservices
