// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "crypto/AESKey.hpp"
#include "crypto/Interfaces.hpp"

namespace foundation::crypto {

/// AES-256-GCM encryption bound to a key and an initialization vector. Each call makes a complete message under
/// the same IV: two different contents under one key and IV give both away, so take a new encryptor for each.
class AESEncryptor final : public interfaces::IEncryptor {
 public:
  /// Throws utils::CouldNotEncrypt for an IV that is not of 16 bytes.
  AESEncryptor(AESKey const& key, BytesView iv);

  void put(BytesView content, Bytes& out, std::size_t at) override;

 private:
  AESKey key_;
  Bytes iv_;
};

/// A message of its own.
Bytes encrypt(BytesView content, interfaces::IEncryptor& encryptor);

}  // namespace foundation::crypto
