// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "crypto/Interfaces.hpp"

namespace foundation::crypto::cryptopp {

/// The process's cryptographic generator, seeded by the operating system. The namespace is part of the interface
/// and says nothing about what stands behind it.
class CryptoProvider final : public interfaces::ICryptoProvider {
 public:
  /// Throws CryptoError when the generator fails.
  void fillWithRandomBytes(std::span<unsigned char> bytes) override;
  /// Adds the seed to the generator's state without counting it as entropy, so that equal seeds never give
  /// equal bytes.
  void mixIn(BytesView seed) override;
};

}  // namespace foundation::crypto::cryptopp
