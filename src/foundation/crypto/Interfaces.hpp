// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <span>

#include "foundation/crypto/Bytes.hpp"

namespace foundation::crypto::interfaces {

/// What an engine takes from outside, which is randomness: ciphers and digests follow from their arguments
/// alone and have one implementation. May be used from any thread.
class ICryptoProvider {
 public:
  virtual ~ICryptoProvider() = default;
  /// Fills the bytes from a cryptographic generator or throws.
  virtual void fillWithRandomBytes(std::span<unsigned char> bytes) = 0;
  /// Mixes the seed into the generator, which it never makes predictable.
  virtual void mixIn(BytesView seed) = 0;
};

/// A source of random bytes.
class ICryptoPRNG {
 public:
  virtual ~ICryptoPRNG() = default;
  /// Throws CryptoError when the generator fails; never gives bytes that are not random.
  virtual Bytes generateByteArray(std::size_t count) = 0;
};

/// Encrypts whole messages.
class IEncryptor {
 public:
  virtual ~IEncryptor() = default;
  /// Appends the message to `out`, which must not hold `content` itself. Throws utils::CouldNotEncrypt, and then
  /// leaves `out` as it was.
  virtual void append(BytesView content, Bytes& out) = 0;
};

/// Decrypts whole messages.
class IDecryptor {
 public:
  virtual ~IDecryptor() = default;
  /// Appends the content to `out`, which must not hold `message` itself. Throws utils::CouldNotDecrypt, and then
  /// leaves `out` as it was and nothing of the content in its memory.
  virtual void append(BytesView message, Bytes& out) = 0;
};

}  // namespace foundation::crypto::interfaces
