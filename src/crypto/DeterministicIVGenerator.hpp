// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "opc/ztservices/Encryption.hpp"

namespace opc::ztservices {

/// Eight fixed bytes, then the eight bytes of a register, least significant first (the deterministic construction
/// of NIST SP 800-38D, 8.2.1). The register is a 64-bit Galois shift register with a primitive polynomial:
/// from 1 it goes through every value but 0 before one comes again.
class DeterministicIVGenerator final : public IVGenerator {
 public:
  static constexpr std::size_t kFixedBytes = 8;

  /// Takes the first eight of the bytes, of which there are at least so many.
  explicit DeterministicIVGenerator(std::vector<unsigned char> const& fixedBytes);

  std::vector<unsigned char> generate() override;

 private:
  static constexpr std::uint64_t kInitialValue = 1;
  static constexpr std::uint64_t kFeedbackMask = 0xD800000000000000;

  std::vector<unsigned char> fixedPortion_;
  std::uint64_t counter_ = kInitialValue;  // never 0
};

}  // namespace opc::ztservices
