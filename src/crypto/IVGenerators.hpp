// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "crypto/CryptoRandom.hpp"
#include "opc/ztservices/Encryption.hpp"

namespace opc::ztservices {

/// Each vector is eight fixed bytes and the eight bytes of a register, least significant first (the deterministic
/// construction of NIST SP 800-38D, 8.2.1). The register is a 64-bit Galois shift register with a primitive polynomial:
/// from 1 it takes every value except 0 before it repeats one.
class DeterministicIVGenerator final : public IVGenerator {
 public:
  static constexpr std::size_t kFixedBytes = 8;

  /// Takes the first eight bytes. There must be as many.
  explicit DeterministicIVGenerator(std::vector<unsigned char> const& fixedBytes);

  std::vector<unsigned char> generate() override;

 private:
  static constexpr std::uint64_t kInitialValue = 1;
  static constexpr std::uint64_t kFeedbackMask = 0xD800000000000000;

  std::vector<unsigned char> fixedPortion_;
  std::uint64_t counter_ = kInitialValue;  // never 0
};

/// Draws each vector from the provider's generator, 16 at once, because a call costs far more than its bytes. Before
/// each draw it mixes fresh entropy of the system into the generator, so that two processes with a copy of one memory
/// share 15 vectors at most. The seed, which may be empty, is mixed into the generator, so that equal seeds do not give
/// equal vectors. A forked process discards the vectors that its parent has drawn.
class RandomIVGenerator final : public IVGenerator {
 public:
  RandomIVGenerator(std::shared_ptr<foundation::crypto::interfaces::ICryptoProvider> provider,
                    std::vector<unsigned char> const& seed);

  RandomIVGenerator(RandomIVGenerator const&) = delete;  // a copy would repeat the drawn vectors
  RandomIVGenerator& operator=(RandomIVGenerator const&) = delete;

  /// Throws CryptoError where the generator fails.
  std::vector<unsigned char> generate() override;

 private:
  std::size_t ivSize_;
  std::shared_ptr<foundation::crypto::interfaces::ICryptoProvider> provider_;
  foundation::crypto::CryptoPRNG prng_;
  std::vector<unsigned char> drawn_{};
  std::size_t used_ = 0;  // bytes of drawn_
  std::uint64_t drawnBehind_ = 0;
};

/// Makes the generator of a mode. The bytes are the fixed portion of a deterministic sequence, whose first eight count,
/// or the seed of a random one, which may be empty. Throws InvalidIVBytesSize for fewer than eight.
std::shared_ptr<IVGenerator> createIVGenerator(IVMode mode, std::vector<unsigned char> const& bytes);

}  // namespace opc::ztservices
