// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>
#include <string>

#include "opc/Exception.hpp"
#include "opc/Export.hpp"

namespace foundation::crypto {

/// The cryptographic library refused an operation. The message names the operation and the library's reason.
class ZT_API CryptoError : public opc::Exception {
 public:
  using opc::Exception::Exception;
};

}  // namespace foundation::crypto

namespace foundation::crypto::utils {

/// A message could not be encrypted: its length or that of the initialization vector is not allowed, or the
/// cryptographic library refused.
class ZT_API CouldNotEncrypt : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A message could not be decrypted. The error is the same for every reason that trying finds (a wrong key or password,
/// a modified bit, a missing end, an initialization vector of wrong length), because a difference would help an
/// attacker.
class ZT_API CouldNotDecrypt : public std::runtime_error {
 public:
  CouldNotDecrypt() : std::runtime_error("The key is wrong or the content is damaged") {}
  /// For a reason that is known before anything is tried.
  explicit CouldNotDecrypt(std::string const& reason) : std::runtime_error(reason) {}
};

}  // namespace foundation::crypto::utils

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
