// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "crypto/CryptoErrors.hpp"

namespace foundation::crypto::detail {

/// Empties this thread's OpenSSL queue: what is left in it would be blamed on the next failure.
void clearOpenSSLErrors() noexcept;

/// Says that the operation failed, with the oldest error of this thread's OpenSSL queue, and empties the queue.
std::string takeOpenSSLError(char const* operation);

/// Throws CryptoError with takeOpenSSLError().
[[noreturn]] void throwOpenSSLError(char const* operation);

/// What every call of OpenSSL that answers 1 for success goes through.
inline void check(int result, char const* operation) {
  if (result != 1) throwOpenSSLError(operation);
}

}  // namespace foundation::crypto::detail
