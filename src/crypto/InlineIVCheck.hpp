// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <utility>

#include "crypto/AESCiphers.hpp"

namespace opc::ztservices {

/// Checks whether a message of EncryptionWithInlineIVTransform is authentic under a key, piece by piece. A message may
/// have any length and is never held in memory. No content is returned. One message at a time.
class InlineIVCheck {
 public:
  /// The smallest message: an initialization vector and a tag.
  static constexpr std::size_t kLeastBytes =
      foundation::crypto::detail::AESGCM::kIVBytes + foundation::crypto::detail::AESGCM::kTagBytes;

  /// Begins a message. Until isAuthentic(), no other object may use the key or its copies.
  explicit InlineIVCheck(foundation::crypto::AESKey key) : key_(std::move(key)) {}

  void begin();
  void append(foundation::crypto::BytesView bytes);
  /// Whether the bytes since begin() are one authentic message. Call begin() before the next one.
  bool isAuthentic();

 private:
  void appendCiphertext(foundation::crypto::BytesView bytes);

  foundation::crypto::AESKey key_;
  // The vector until it is complete; then the last bytes so far, which may be the tag.
  std::array<unsigned char, foundation::crypto::detail::AESGCM::kTagBytes> held_{};
  std::size_t heldBytes_ = 0;
  bool hasVector_ = false;
};

}  // namespace opc::ztservices
