// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "opc/model/ContainerExceptions.hpp"

namespace opc::model {

/// Stable names of the faults of a container. Programs rely on them, and docs/tool.md lists them.
namespace code {
inline constexpr char kNoEndRecord[] = "no-end-record";
inline constexpr char kDamagedEndRecord[] = "damaged-end-record";
inline constexpr char kTrailingData[] = "trailing-data";
inline constexpr char kDamagedDirectory[] = "damaged-directory";
inline constexpr char kDamagedEntry[] = "damaged-entry";
inline constexpr char kPrefixBytes[] = "prefix-bytes";
inline constexpr char kOverlap[] = "overlap";
inline constexpr char kGap[] = "gap";
inline constexpr char kBadLocalHeader[] = "bad-local-header";
inline constexpr char kBadDescriptor[] = "bad-descriptor";
inline constexpr char kUnreadableItem[] = "unreadable-item";
inline constexpr char kDamagedContent[] = "damaged-content";
inline constexpr char kGrowthHint[] = "growth-hint";
}  // namespace code

/// One fault that a reader finds.
struct Fault {
  char const* code;
  std::string item;       // a slash and the raw name of an item; "/" for the package, empty for the container
  std::string message;    // thrown by opening
  std::string finding{};  // shown by a list instead of the message, when a list can say more
};

/// The name of an item in a Fault.
inline std::string faultItem(std::string_view rawName) { return std::string("/").append(rawName); }

/// Receives the faults that a reader finds and decides whether the reader continues. Opening a package throws at the
/// first fault; verification collects all of them, and the reader recovers what it can after each.
class Faults {
 public:
  virtual ~Faults() = default;

  /// A fault that makes a package unusable. When this returns, the reader continues behind the fault.
  virtual void refuse(Fault const& fault) = 0;
  /// The package itself depends on an item that cannot be read. A list gets that fault from the pass over all contents.
  virtual void refuseContent(std::string const& message) = 0;
  /// A fault that readers tolerate. Reported only while listsAll().
  virtual void tolerate(Fault const& fault) = 0;
  /// Whether the reader looks for faults that readers tolerate.
  virtual bool listsAll() const = 0;
};

/// Throws InvalidPackage at the first fault.
class ThrowingFaults final : public Faults {
 public:
  void refuse(Fault const& fault) override { throw InvalidPackage(fault.message); }
  void refuseContent(std::string const& message) override { throw InvalidPackage(message); }
  void tolerate(Fault const&) override {}
  bool listsAll() const override { return false; }
};

}  // namespace opc::model
