// SPDX-License-Identifier: Apache-2.0
#include "crypto/CryptoPRNG.hpp"

#include <utility>

namespace foundation::crypto {

CryptoPRNG::CryptoPRNG(std::shared_ptr<interfaces::ICryptoProvider> provider, BytesView seed)
    : provider_(std::move(provider)) {
  if (!seed.empty()) provider_->mixIn(seed);
}

Bytes CryptoPRNG::generateByteArray(std::size_t count) {
  Bytes bytes(count);
  provider_->fillWithRandomBytes(bytes);
  return bytes;
}

}  // namespace foundation::crypto
