// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "opc/Export.hpp"

namespace opc::ztservices {

/// The origin of initialization vectors (NIST SP 800-38D, 8.2). Random draws each vector from the cryptographic
/// generator. Deterministic puts a sequence behind a fixed part, which the caller must never use twice under one key;
/// any value other than Random selects it.
enum class IVMode : std::uint32_t { Random = 0, Deterministic = 1 };

/// The longest content that AES-256-GCM can encrypt as one message, in bytes (NIST SP 800-38D, 5.2.1.1).
inline constexpr std::uint64_t kLongestEncryptedContent = (std::uint64_t{1} << 36) - 32;

/// Whether contents are compressed before they are encrypted. The length of what is compressed says something about a
/// content beside its length; see docs/threat-model.md.
enum class Compression : std::uint32_t { None = 0, Deflate = 1 };

/// A sequence of initialization vectors; deterministic ones repeat after 2^64 - 1 vectors. One thread at a time.
class ZT_API IVGenerator {
 public:
  virtual ~IVGenerator();
  /// The next vector of the sequence. Throws where the generator of random numbers fails.
  virtual std::vector<unsigned char> generate() = 0;

 protected:
  IVGenerator() = default;
  IVGenerator(IVGenerator const&) = default;
  IVGenerator& operator=(IVGenerator const&) = default;
};

}  // namespace opc::ztservices
