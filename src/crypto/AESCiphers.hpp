// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "crypto/AESGCM.hpp"
#include "crypto/Interfaces.hpp"

namespace foundation::crypto::utils {

/// The numbers are part of the interface. Both are Galois/Counter Mode: there is no mode that does not
/// authenticate.
enum class AESMode : std::uint32_t { Default = 1, GCM = 3 };

/// Accepted where a cipher is made, and without effect: GCM needs no padding.
enum class AESPaddingMode : std::uint32_t { None = 0, PKCS7 = 1 };

}  // namespace foundation::crypto::utils

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
