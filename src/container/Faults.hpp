// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "opc/model/ContainerExceptions.hpp"

/// What can be wrong with a container: stable codes, the receiver of faults, and the wording of all exceptions of this
/// layer.
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
  std::string finding{};  // a list shows it instead of the message, where a list can say more
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

namespace opc::model::zip {

/// Faults of one item, as the text behind its name in a message.
namespace fault {
inline constexpr char kEncrypted[] = "encrypted";
inline constexpr char kNoLocalHeader[] = "no local header where the directory says";
inline constexpr char kLocalHeaderDiffers[] = "its local header disagrees with the directory";
inline constexpr char kDescriptorDiffers[] = "its data descriptor disagrees with the directory";
inline constexpr char kOverlap[] = "its data run into what follows it";
inline constexpr char kExtraTooLong[] = "an extra field is longer than its place";
inline constexpr char kOtherName[] = "its Unicode path field gives it another name";
inline constexpr char kWrongLength[] = "wrong length";
inline constexpr char kWrongCrc[] = "wrong CRC";
inline constexpr char kDamagedData[] = "damaged compressed data";
inline constexpr char kBeyondFile[] = "it does not fit into the file";
inline constexpr char kLeftOver[] = "bytes left over behind its compressed data";
}  // namespace fault

/// An item's name for messages: escaped for display where it is UTF-8, otherwise its bytes escaped one by one.
std::string shownName(std::string_view rawName);

/// "1 byte", "2 bytes".
std::string bytesText(std::uint64_t count);

InvalidItem invalidItem(std::string_view rawName, std::string_view what);
InvalidItem unknownMethod(std::string_view rawName, unsigned method);

InvalidPackage notAnArchive(std::string_view what);
InvalidPackage damagedArchive(std::string_view what);
InvalidPackage damagedArchive(std::string_view rawName, std::string_view what);

/// `path` is UTF-8, `error` an errno value.
CouldNotOpenPackage couldNotOpen(std::string const& path, int error);
CouldNotSavePackage couldNotSave(std::string const& path, int error);
CouldNotSavePackage couldNotKeepOwner(std::string const& path);
PackageNotSynced packageNotSynced(std::string const& path, int error);
PackageHasChanged packageHasChanged(std::string const& path);
PackageIsBusy packageIsBusy(std::string const& path);
/// The format cannot hold the item.
CouldNotSavePackage couldNotSaveItem(std::string_view rawName, std::string_view what);

}  // namespace opc::model::zip
