// SPDX-License-Identifier: Apache-2.0
#include "crypto/CryptoProvider.hpp"

#include <openssl/rand.h>

#include "crypto/OpenSSLError.hpp"
#include "text/Narrow.hpp"

namespace foundation::crypto::cryptopp {

void CryptoProvider::fillWithRandomBytes(std::span<unsigned char> bytes) {
  detail::check(RAND_bytes_ex(nullptr, bytes.data(), bytes.size(), 0), "Generating random bytes");
}

void CryptoProvider::mixIn(BytesView seed) { RAND_add(seed.data(), opc::narrow<int>(seed.size()), 0.0); }

}  // namespace foundation::crypto::cryptopp
