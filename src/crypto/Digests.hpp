// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <memory>

#include "crypto/Bytes.hpp"
#include "crypto/CryptoErrors.hpp"

namespace foundation::crypto {

/// HMAC-SHA256 (RFC 2104, FIPS 180-4) under one key of any length. The destructor wipes the key. One thread at a time.
/// Throws CryptoError where the cryptographic library refuses.
class DigestEngine {
 public:
  static constexpr std::size_t kDigestBytes = 32;

  explicit DigestEngine(BytesView key);
  ~DigestEngine();
  DigestEngine(DigestEngine&&) noexcept;
  DigestEngine& operator=(DigestEngine&&) noexcept;

  /// The digest of these bytes; earlier calls do not matter.
  Bytes digest(BytesView data);

 private:
  struct Context;
  std::unique_ptr<Context> context_;
};

/// SHA-256 (FIPS 180-4) of bytes that arrive in pieces. After finish() the object starts a new digest. One thread at a
/// time. Every operation throws CryptoError where the cryptographic library refuses.
class Sha256 {
 public:
  static constexpr std::size_t kDigestBytes = 32;
  using Digest = std::array<unsigned char, kDigestBytes>;

  Sha256();
  ~Sha256();
  Sha256(Sha256&&) noexcept;
  Sha256& operator=(Sha256&&) noexcept;

  void update(void const* data, std::size_t count);
  Digest finish();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace foundation::crypto
