// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <memory>

#include "crypto/Bytes.hpp"
#include "crypto/CryptoError.hpp"

namespace foundation::crypto {

/// HMAC-SHA256 (RFC 2104, FIPS 180-4) under one key of any length, which is wiped at the end. One thread at a
/// time. Throws CryptoError when the library underneath refuses.
class DigestEngine {
 public:
  static constexpr std::size_t kDigestBytes = 32;

  explicit DigestEngine(BytesView key);
  ~DigestEngine();
  DigestEngine(DigestEngine&&) noexcept;
  DigestEngine& operator=(DigestEngine&&) noexcept;

  /// The digest of these bytes alone: nothing is left of earlier calls.
  Bytes digest(BytesView data);

 private:
  struct Context;
  std::unique_ptr<Context> context_;
};

}  // namespace foundation::crypto
