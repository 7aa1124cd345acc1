// SPDX-License-Identifier: Apache-2.0
#include "crypto/RandomIVGenerator.hpp"

#include <unistd.h>

#include <utility>

#include "crypto/CryptoEngine.hpp"

namespace opc::ztservices {

using foundation::crypto::CryptoEngine;

namespace {

constexpr std::uint64_t kDrawnAtOnce = 256;

}  // namespace

RandomIVGenerator::RandomIVGenerator(std::shared_ptr<foundation::crypto::interfaces::ICryptoProvider> provider,
                                     std::vector<unsigned char> const& seed)
    : ivSize_(CryptoEngine::getAESBlockSizeInBytes()),
      provider_(std::move(provider)),
      prng_(CryptoEngine(provider_).createDefaultCryptoPRNG(seed)) {}

std::vector<unsigned char> RandomIVGenerator::generate() {
  if (used_ == drawn_.size() || drawnBy_ != getpid()) {
    drawn_ = prng_.generateByteArray(kDrawnAtOnce * ivSize_);
    used_ = 0;
    drawnBy_ = getpid();
  }
  auto const begin = drawn_.begin() + static_cast<std::ptrdiff_t>(used_);
  used_ += ivSize_;
  return {begin, begin + static_cast<std::ptrdiff_t>(ivSize_)};
}

}  // namespace opc::ztservices
