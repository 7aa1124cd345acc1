// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "opc/Export.hpp"

namespace opc::ztservices {

/// How initialization vectors are made. Random draws each from the cryptographic generator. Deterministic takes a fixed
/// portion, which the caller must never use twice under one key, and a counter. Every value other than Random means
/// Deterministic.
enum class IVMode : std::uint32_t { Random = 0, Deterministic = 1 };

/// A sequence of initialization vectors of 16 bytes that does not repeat. One thread at a time.
class ZT_API IVGenerator {
 public:
  virtual ~IVGenerator();
  /// The next vector. Throws opc::Exception where the cryptographic generator fails.
  virtual std::vector<unsigned char> generate() = 0;

 protected:
  IVGenerator() = default;
  IVGenerator(IVGenerator const&) = default;
  IVGenerator& operator=(IVGenerator const&) = default;
};

}  // namespace opc::ztservices
