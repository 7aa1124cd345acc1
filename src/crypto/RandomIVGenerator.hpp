// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "crypto/CryptoPRNG.hpp"
#include "opc/ztservices/Encryption.hpp"

namespace opc::ztservices {

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

}  // namespace opc::ztservices
