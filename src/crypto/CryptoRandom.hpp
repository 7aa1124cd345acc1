// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <span>

#include "crypto/Interfaces.hpp"

namespace foundation::crypto {

/// A provider's generator, into which the caller's seed is mixed; the seed may be empty. The object has no state of its
/// own, so that copies never repeat each other.
class CryptoPRNG final : public interfaces::ICryptoPRNG {
 public:
  CryptoPRNG(std::shared_ptr<interfaces::ICryptoProvider> provider, BytesView seed);

  Bytes generateByteArray(std::size_t count) override;

 private:
  std::shared_ptr<interfaces::ICryptoProvider> provider_;
};

}  // namespace foundation::crypto

namespace foundation::crypto::cryptopp {

/// The process's cryptographic generator, which the operating system seeds. The namespace is part of the interface; it
/// does not name the library in use.
class CryptoProvider final : public interfaces::ICryptoProvider {
 public:
  /// Throws CryptoError where the generator fails.
  void fillWithRandomBytes(std::span<unsigned char> bytes) override;
  /// Adds the seed to the generator's state and does not count it as entropy, so that equal seeds never give equal
  /// bytes.
  void mixIn(BytesView seed) override;
};

}  // namespace foundation::crypto::cryptopp
