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

/// Eight fixed bytes, then the eight bytes of a register, least significant first (the deterministic construction
/// of NIST SP 800-38D, 8.2.1). The register is a 64-bit Galois shift register with a primitive polynomial:
/// from 1 it goes through every value but 0 before one comes again.
class DeterministicIVGenerator final : public IVGenerator {
 public:
  static constexpr std::size_t kFixedBytes = 8;

  /// Takes the first eight of the bytes, of which there are at least so many.
  explicit DeterministicIVGenerator(std::vector<unsigned char> const& fixedBytes);

  std::vector<unsigned char> generate() override;

 private:
  static constexpr std::uint64_t kInitialValue = 1;
  static constexpr std::uint64_t kFeedbackMask = 0xD800000000000000;

  std::vector<unsigned char> fixedPortion_;
  std::uint64_t counter_ = kInitialValue;  // never 0
};

/// Every IV is drawn from the provider's generator, which is asked for many at once: each call takes far longer than
/// the bytes. The seed, which may be empty, is mixed into it, so that equal seeds do not give equal IVs. A process that
/// is forked does not go on with those that its parent has drawn.
class RandomIVGenerator final : public IVGenerator {
 public:
  RandomIVGenerator(std::shared_ptr<foundation::crypto::interfaces::ICryptoProvider> provider,
                    std::vector<unsigned char> const& seed);

  RandomIVGenerator(RandomIVGenerator const&) = delete;  // two would go on with the same ones
  RandomIVGenerator& operator=(RandomIVGenerator const&) = delete;

  /// Throws CryptoError when the generator fails.
  std::vector<unsigned char> generate() override;

 private:
  std::uint64_t ivSize_;
  std::shared_ptr<foundation::crypto::interfaces::ICryptoProvider> provider_;
  foundation::crypto::CryptoPRNG prng_;
  std::vector<unsigned char> drawn_{};
  std::size_t used_ = 0;  // bytes of those
  pid_t drawnBy_ = 0;
};

/// The generator of a mode. The bytes are the fixed portion of a deterministic sequence, of which the first eight
/// count, or the seed of a random one, which may be empty. Throws InvalidIVBytesSize for fewer than eight.
std::shared_ptr<IVGenerator> createIVGenerator(IVMode mode, std::vector<unsigned char> const& bytes);

}  // namespace opc::ztservices
