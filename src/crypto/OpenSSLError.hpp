// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "crypto/CryptoErrors.hpp"

namespace foundation::crypto::detail {

/// Empties this thread's OpenSSL queue, whose errors would otherwise appear as reasons of the next failure.
void clearOpenSSLErrors() noexcept;

/// The message that the operation failed, with the oldest error of this thread's OpenSSL queue. Empties the queue.
std::string takeOpenSSLError(char const* operation);

/// Throws CryptoError with takeOpenSSLError().
[[noreturn]] void throwOpenSSLError(char const* operation);

/// Checks the result of an OpenSSL call that returns 1 for success.
inline void check(int result, char const* operation) {
  if (result != 1) throwOpenSSLError(operation);
}

}  // namespace foundation::crypto::detail
