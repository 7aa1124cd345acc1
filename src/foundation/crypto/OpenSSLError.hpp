// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "foundation/crypto/CryptoError.hpp"

namespace foundation::crypto::detail {

/// Throws CryptoError with the oldest error of this thread's OpenSSL queue, and empties the queue.
[[noreturn]] void throwOpenSSLError(char const* operation);

/// What every call of OpenSSL that answers 1 for success goes through.
inline void check(int result, char const* operation) {
  if (result != 1) throwOpenSSLError(operation);
}

}  // namespace foundation::crypto::detail
