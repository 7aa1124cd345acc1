// SPDX-License-Identifier: Apache-2.0
#include "crypto/CryptoRandom.hpp"

#include <cstddef>
#include <openssl/rand.h>
#include <span>
#include <utility>

#include "crypto/CryptoErrors.hpp"
#include "text/Narrow.hpp"

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

namespace foundation::crypto::cryptopp {

void CryptoProvider::fillWithRandomBytes(std::span<unsigned char> bytes) {
  detail::check(RAND_bytes_ex(nullptr, bytes.data(), bytes.size(), 0), "Generating random bytes");
}

void CryptoProvider::mixIn(BytesView seed) { RAND_add(seed.data(), opc::narrow<int>(seed.size()), 0.0); }

}  // namespace foundation::crypto::cryptopp
