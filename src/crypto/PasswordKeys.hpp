// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "crypto/Bytes.hpp"

namespace foundation::crypto {

/// PBKDF2 with HMAC-SHA256 (RFC 8018, 5.2) of any bytes.
SecretBytes pbkdf2HMACSHA256(BytesView password, BytesView salt, int iterations, std::size_t count);

/// The cost of scrypt: the base-2 logarithm of its N, its r and its p.
struct ScryptCost {
  unsigned logN;
  unsigned blockSize;
  unsigned parallelism;

  /// Whether scrypt is defined for it (RFC 7914, 2), and it can be computed at all.
  bool isPossible() const;
  /// What deriving takes: bytes of memory, and time in units that do not depend on the machine.
  std::uint64_t memory() const;
  std::uint64_t work() const;
};

/// scrypt (RFC 7914) of any bytes. Throws CryptoError for a cost that is not possible, and where memory is missing.
SecretBytes scrypt(BytesView password, BytesView salt, ScryptCost const& cost, std::size_t count);

/// The expansion of HKDF with SHA-256 (RFC 5869, 2.3): independent keys, one for each `info`.
SecretBytes hkdfExpandSHA256(BytesView key, std::string_view info, std::size_t count);

/// The key and the verifier of a password. PBKDF2-HMAC-SHA256 or scrypt of its UTF-8 form, salted with the UTF-8 form
/// of the salt text followed by the IV, gives 32 bytes; HKDF expands them into both. The verifier may be stored: it
/// verifies a password and reveals nothing about the key.
class PasswordKeys {
 public:
  static constexpr int kMaximalIterations = 10'000'000;
  static constexpr std::size_t kMinimalSaltBytes = 8;  // text and IV together
  static constexpr std::size_t kMaximalSaltBytes = 1024;
  static constexpr std::size_t kVerifierBytes = 32;
  static constexpr int kMaximalKeyBytes = 255 * 32;  // the most that HKDF gives

  /// Throws CryptoError for iterations, a salt or a key length out of bounds, and for a password or salt that is not
  /// valid UTF-16. No message quotes either.
  PasswordKeys(std::u16string const& password, std::u16string const& salt, BytesView iv, int iterations, int keyBytes);

  /// The same by scrypt. Throws CryptoError for a cost that is not possible too.
  PasswordKeys(std::u16string const& password, std::u16string const& salt, BytesView iv, ScryptCost const& cost,
               int keyBytes);

  SecretBytes key() const;
  SecretBytes verifier() const;

 private:
  SecretBytes root_;
  std::size_t keyBytes_;
};

}  // namespace foundation::crypto
