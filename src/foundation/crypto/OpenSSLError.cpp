// SPDX-License-Identifier: Apache-2.0
#include "foundation/crypto/OpenSSLError.hpp"

#include <array>
#include <openssl/err.h>
#include <string>

namespace foundation::crypto::detail {

void throwOpenSSLError(char const* operation) {
  unsigned long const code = ERR_get_error();
  ERR_clear_error();  // what is left would be blamed on the next failure
  std::array<char, 256> text{};
  ERR_error_string_n(code, text.data(), text.size());
  throw CryptoError(std::string(operation) + " failed: " + (code ? text.data() : "no reason given"));
}

}  // namespace foundation::crypto::detail
