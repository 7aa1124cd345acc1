// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "opc/Streams.hpp"
#include "package/OwnedPart.hpp"
#include "package/PackageReader.hpp"
#include "verify/FaultList.hpp"

namespace opc::ztservices {

using CheckedPart = model::detail::ReadPart;

/// The parts that our managers keep in packages.
std::span<model::detail::OwnedPart const> ownedParts();

/// The parts of a package that is being verified, whatever else is wrong with it, and the faults of the parts that the
/// package's own rules concern beyond those that its reader reports.
class PackageCheck {
 public:
  /// The reader has identified the parts.
  PackageCheck(model::detail::PackageReader const& reader, model::OpenOptions const& limits, FaultList& faults);

  /// Checks core properties, and orphans under the names and of the content types of our managers. The items and the
  /// relationships have been read.
  void check(std::span<model::detail::OwnedPart const> owned);

  model::OpenOptions const& limits() const { return limits_; }
  std::size_t itemCount() const { return archive_.size(); }
  /// By name, without regard to ASCII case.
  std::vector<CheckedPart> const& parts() const { return parts_; }
  /// The part of exactly that name, or null.
  CheckedPart const* find(std::u16string const& name) const;
  bool isSound(CheckedPart const& part) const { return reader_.isSound(part); }
  std::uint64_t sizeOf(CheckedPart const& part) const;
  std::uint64_t storedSizeOf(CheckedPart const& part) const;
  /// Throws InvalidItem.
  std::unique_ptr<InputStream> open(CheckedPart const& part) const { return reader_.open(part); }
  /// Hands out the content of a part in steps, with little memory. Throws InvalidItem.
  using ContentSink = std::function<void(std::span<unsigned char const> bytes)>;
  void read(CheckedPart const& part, ContentSink const& take) const;
  /// Parts that relationships of the package with that type lead to, the missing ones left out.
  std::vector<CheckedPart const*> targetsOf(std::u16string_view type) const;
  /// For each part whether a relationship of any type and source leads to it.
  std::vector<bool> allTargets() const;

 private:
  CheckedPart const* findEquivalent(std::string_view name) const;
  void checkCoreProperties();
  void checkOrphan(model::detail::OwnedPart const& owned);

  model::detail::PackageReader const& reader_;
  model::zip::Archive const& archive_;
  model::OpenOptions limits_;
  FaultList& faults_;
  std::vector<CheckedPart> parts_;
};

}  // namespace opc::ztservices
