// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "crypto/AESGCM.hpp"

namespace foundation::crypto {

/// An AES key of 256 bits, kept as its key schedule alone. Copies share it; the last one wipes it. A key, its
/// copies and all that is bound to them are used by one thread at a time.
class AESKey {
 public:
  /// Throws CryptoError for anything but 32 bytes. The caller's bytes stay the caller's to wipe.
  explicit AESKey(BytesView bytes) : cipher_(std::make_shared<detail::AESGCM>(bytes)) {}

  detail::AESGCM& cipher() const { return *cipher_; }

 private:
  std::shared_ptr<detail::AESGCM> cipher_;
};

}  // namespace foundation::crypto
