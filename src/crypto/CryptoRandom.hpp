// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "crypto/Interfaces.hpp"

namespace foundation::crypto {

/// A provider's generator with a seed of the caller mixed in, which may be empty. Nothing is kept here, so that
/// copies never repeat each other.
class CryptoPRNG final : public interfaces::ICryptoPRNG {
 public:
  CryptoPRNG(std::shared_ptr<interfaces::ICryptoProvider> provider, BytesView seed);

  Bytes generateByteArray(std::size_t count) override;

 private:
  std::shared_ptr<interfaces::ICryptoProvider> provider_;
};

}  // namespace foundation::crypto

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
