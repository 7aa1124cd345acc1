// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "opc/Export.hpp"

namespace opc::ztservices {

/// Where initialization vectors come from. Random draws each from the cryptographic generator. Deterministic
/// counts them behind a fixed portion that the caller must never use twice under one key; any value but
/// Random means it.
enum class IVMode : std::uint32_t { Random = 0, Deterministic = 1 };

/// A sequence of initialization vectors that does not repeat. One thread at a time.
class ZT_API IVGenerator {
 public:
  virtual ~IVGenerator();
  /// The next one.
  virtual std::vector<unsigned char> generate() = 0;

 protected:
  IVGenerator() = default;
  IVGenerator(IVGenerator const&) = default;
  IVGenerator& operator=(IVGenerator const&) = default;
};

}  // namespace opc::ztservices
