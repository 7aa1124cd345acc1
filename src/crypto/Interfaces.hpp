// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <span>

#include "crypto/Bytes.hpp"

namespace foundation::crypto::interfaces {

/// The source of randomness of an engine. Ciphers and digests depend on their arguments only and have one
/// implementation. May be used from any thread.
class ICryptoProvider {
 public:
  virtual ~ICryptoProvider() = default;
  /// Fills the bytes from a cryptographic generator or throws.
  virtual void fillWithRandomBytes(std::span<unsigned char> bytes) = 0;
  /// Mixes the seed into the generator. No seed makes the generator predictable.
  virtual void mixIn(BytesView seed) = 0;
};

/// A source of random bytes.
class ICryptoPRNG {
 public:
  virtual ~ICryptoPRNG() = default;
  /// Throws CryptoError where the generator fails; never returns bytes that are not random.
  virtual Bytes generateByteArray(std::size_t count) = 0;
};

/// Encrypts whole messages.
class IEncryptor {
 public:
  virtual ~IEncryptor() = default;
  /// Keeps the first `at` bytes of `out`, and replaces the others by the message, so that a buffer can be used again.
  /// `content` must not lie in `out`. Throws utils::CouldNotEncrypt, and `out` then has those `at` bytes.
  virtual void put(BytesView content, Bytes& out, std::size_t at) = 0;
  void append(BytesView content, Bytes& out) { put(content, out, out.size()); }
};

/// Decrypts whole messages.
class IDecryptor {
 public:
  virtual ~IDecryptor() = default;
  /// Keeps the first `at` bytes of `out`, and replaces the others by the content, so that a buffer can be used again.
  /// `message` must not lie in `out`. Throws utils::CouldNotDecrypt; `out` then has those `at` bytes, and its memory
  /// holds no byte of the content.
  virtual void put(BytesView message, Bytes& out, std::size_t at) = 0;
  void append(BytesView message, Bytes& out) { put(message, out, out.size()); }
};

}  // namespace foundation::crypto::interfaces
