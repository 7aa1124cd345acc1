// SPDX-License-Identifier: Apache-2.0
#include "crypto/RandomIVGenerator.hpp"

#include <utility>

#include "foundation/crypto/CryptoEngine.hpp"

namespace opc::ztservices {

using foundation::crypto::CryptoEngine;

RandomIVGenerator::RandomIVGenerator(std::shared_ptr<foundation::crypto::interfaces::ICryptoProvider> provider,
                                     std::vector<unsigned char> const& seed)
    : ivSize_(CryptoEngine::getAESBlockSizeInBytes()),
      provider_(std::move(provider)),
      prng_(CryptoEngine(provider_).createDefaultCryptoPRNG(seed)) {}

std::vector<unsigned char> RandomIVGenerator::generate() { return prng_.generateByteArray(ivSize_); }

}  // namespace opc::ztservices
