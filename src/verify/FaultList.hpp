// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "container/Faults.hpp"
#include "opc/ztservices/Verification.hpp"

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
