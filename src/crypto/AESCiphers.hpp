// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "crypto/AESGCM.hpp"
#include "crypto/Interfaces.hpp"

namespace foundation::crypto::utils {

/// The numbers are part of the interface. Both values mean Galois/Counter Mode, because every mode here authenticates.
enum class AESMode : std::uint32_t { Default = 1, GCM = 3 };

/// Has no effect, because GCM needs no padding.
enum class AESPaddingMode : std::uint32_t { None = 0, PKCS7 = 1 };

}  // namespace foundation::crypto::utils

namespace foundation::crypto {

/// An AES key of 256 bits. Holds the key schedule only. Copies share it; the last one wipes it. One thread at a time
/// uses a key, its copies and the ciphers bound to them.
class AESKey {
 public:
  /// Throws CryptoError unless there are 32 bytes. The caller wipes its own bytes.
  explicit AESKey(BytesView bytes) : cipher_(std::make_shared<detail::AESGCM>(bytes)) {}

  detail::AESGCM& cipher() const { return *cipher_; }

 private:
  std::shared_ptr<detail::AESGCM> cipher_;
};

/// AES-256-GCM encryption bound to a key and an initialization vector. Each call makes a complete message under the
/// same IV. Two contents under one key and IV reveal each other, so that each content needs a new encryptor.
class AESEncryptor final : public interfaces::IEncryptor {
 public:
  /// Throws utils::CouldNotEncrypt unless the IV has 16 bytes.
  AESEncryptor(AESKey const& key, BytesView iv);

  void put(BytesView content, Bytes& out, std::size_t at) override;

 private:
  AESKey key_;
  Bytes iv_;
};

/// The message of `content`.
Bytes encrypt(BytesView content, interfaces::IEncryptor& encryptor);

/// AES-256-GCM decryption bound to a key and an initialization vector.
class AESDecryptor final : public interfaces::IDecryptor {
 public:
  /// Throws utils::CouldNotDecrypt unless the IV has 16 bytes.
  AESDecryptor(AESKey const& key, BytesView iv);

  void put(BytesView message, Bytes& out, std::size_t at) override;

 private:
  AESKey key_;
  Bytes iv_;
};

/// The content of a message. It is authenticated as a whole before a byte of it is returned.
Bytes decrypt(BytesView message, interfaces::IDecryptor& decryptor);

}  // namespace foundation::crypto
