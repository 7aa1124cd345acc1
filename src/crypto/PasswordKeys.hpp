// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "crypto/SecretBytes.hpp"

namespace foundation::crypto {

/// PBKDF2 with HMAC-SHA256 (RFC 8018, 5.2) of any bytes.
SecretBytes pbkdf2HMACSHA256(BytesView password, BytesView salt, int iterations, std::size_t count);

/// The expansion of HKDF with SHA-256 (RFC 5869, 2.3): keys that tell nothing about each other, one for each `info`.
SecretBytes hkdfExpandSHA256(BytesView key, std::string_view info, std::size_t count);

/// What a password is turned into: PBKDF2-HMAC-SHA256 of its UTF-8 form, salted with the salt text's UTF-8 form
/// followed by the IV, gives 32 bytes; HKDF expands them into a key and a verifier. The verifier may be stored:
/// it tells whether a password is right and nothing about the key.
class PasswordKeys {
 public:
  static constexpr int kMaximalIterations = 10'000'000;
  static constexpr std::size_t kMinimalSaltBytes = 8;  // text and IV together
  static constexpr std::size_t kMaximalSaltBytes = 1024;
  static constexpr std::size_t kVerifierBytes = 32;
  static constexpr int kMaximalKeyBytes = 255 * 32;  // all that HKDF gives

  /// Throws CryptoError for iterations, a salt or a key length out of bounds and for a password or salt that is no
  /// Unicode text; no message quotes either.
  PasswordKeys(std::u16string const& password, std::u16string const& salt, BytesView iv, int iterations, int keyBytes);

  SecretBytes key() const;
  SecretBytes verifier() const;

 private:
  SecretBytes root_;
  std::size_t keyBytes_;
};

}  // namespace foundation::crypto
