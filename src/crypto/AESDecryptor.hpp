// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "crypto/AESKey.hpp"
#include "crypto/Interfaces.hpp"

namespace foundation::crypto {

/// AES-256-GCM decryption bound to a key and an initialization vector.
class AESDecryptor final : public interfaces::IDecryptor {
 public:
  /// Throws utils::CouldNotDecrypt for an IV that is not of 16 bytes.
  AESDecryptor(AESKey const& key, BytesView iv);

  void put(BytesView message, Bytes& out, std::size_t at) override;

 private:
  AESKey key_;
  Bytes iv_;
};

/// The content of a message, authenticated as a whole before any of it is handed out.
Bytes decrypt(BytesView message, interfaces::IDecryptor& decryptor);

}  // namespace foundation::crypto
