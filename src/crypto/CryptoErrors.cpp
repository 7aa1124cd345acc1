// SPDX-License-Identifier: Apache-2.0
#include "crypto/CryptoErrors.hpp"

#include <array>
#include <openssl/err.h>

namespace foundation::crypto::detail {

void clearOpenSSLErrors() noexcept { ERR_clear_error(); }

std::string takeOpenSSLError(char const* operation) {
  unsigned long const code = ERR_get_error();
  clearOpenSSLErrors();
  std::array<char, 256> text{};
  ERR_error_string_n(code, text.data(), text.size());
  return std::string(operation) + " failed: " + (code ? text.data() : "no reason given");
}

void throwOpenSSLError(char const* operation) { throw CryptoError(takeOpenSSLError(operation)); }

}  // namespace foundation::crypto::detail
