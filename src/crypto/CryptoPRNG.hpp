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
