// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <span>

#include "crypto/Bytes.hpp"

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
  /// Puts the message behind the first `at` bytes of `out`, which ends with it then and must not hold `content`
  /// itself. What is behind them already is overwritten, so that a buffer can be used again. Throws
  /// utils::CouldNotEncrypt, and then leaves those `at` bytes.
  virtual void put(BytesView content, Bytes& out, std::size_t at) = 0;
  void append(BytesView content, Bytes& out) { put(content, out, out.size()); }
};

/// Decrypts whole messages.
class IDecryptor {
 public:
  virtual ~IDecryptor() = default;
  /// Puts the content behind the first `at` bytes of `out`, which ends with it then and must not hold `message`
  /// itself. What is behind them already is overwritten, so that a buffer can be used again. Throws
  /// utils::CouldNotDecrypt, and then leaves those `at` bytes, and nothing of the content in its memory.
  virtual void put(BytesView message, Bytes& out, std::size_t at) = 0;
  void append(BytesView message, Bytes& out) { put(message, out, out.size()); }
};

}  // namespace foundation::crypto::interfaces
