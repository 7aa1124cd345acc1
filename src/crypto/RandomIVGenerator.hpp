// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "foundation/crypto/CryptoPRNG.hpp"
#include "opc/ztservices/Encryption.hpp"

namespace opc::ztservices {

/// Every IV is drawn anew from the provider's generator. The seed, which may be empty, is mixed into it, so that
/// equal seeds do not give equal IVs.
class RandomIVGenerator final : public IVGenerator {
 public:
  RandomIVGenerator(std::shared_ptr<foundation::crypto::interfaces::ICryptoProvider> provider,
                    std::vector<unsigned char> const& seed);

  /// Throws CryptoError when the generator fails.
  std::vector<unsigned char> generate() override;

 private:
  std::uint64_t ivSize_;
  std::shared_ptr<foundation::crypto::interfaces::ICryptoProvider> provider_;
  foundation::crypto::CryptoPRNG prng_;
};

}  // namespace opc::ztservices
