// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>

#include "crypto/AESCiphers.hpp"

namespace opc::ztservices {

/// Tells whether what EncryptionWithInlineIVTransform made is authentic under a key, while it streams by: it may be of
/// any length and is never held, and nothing of the content is handed out. One message after the other.
class InlineIVCheck {
 public:
  /// The least that a message takes: an initialization vector and a tag.
  static constexpr std::size_t kLeastBytes =
      foundation::crypto::detail::AESGCM::kIVBytes + foundation::crypto::detail::AESGCM::kTagBytes;

  /// Nothing else may use the key or its copies between begin() and isAuthentic().
  explicit InlineIVCheck(foundation::crypto::AESKey key) : key_(std::move(key)) {}

  void begin();
  void append(foundation::crypto::BytesView bytes);
  /// Of what was appended since begin(), which is to be called before more is.
  bool isAuthentic();

 private:
  void appendCiphertext(foundation::crypto::BytesView bytes);

  foundation::crypto::AESKey key_;
  // The vector, until it is complete, and then the last bytes so far, which may be the tag.
  std::array<unsigned char, foundation::crypto::detail::AESGCM::kTagBytes> held_{};
  std::size_t heldBytes_ = 0;
  bool hasVector_ = false;
};

}  // namespace opc::ztservices
