// SPDX-License-Identifier: Apache-2.0
#include "crypto/Bytes.hpp"

#include <openssl/crypto.h>

namespace foundation::crypto {

void wipe(void* memory, std::size_t count) noexcept { OPENSSL_cleanse(memory, count); }

bool isEqualSecret(BytesView a, BytesView b) noexcept {
  return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace foundation::crypto
