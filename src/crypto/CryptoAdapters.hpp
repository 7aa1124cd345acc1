// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "crypto/AESCiphers.hpp"
#include "crypto/Bytes.hpp"
#include "crypto/CryptoInterfaces.hpp"
#include "crypto/Digests.hpp"
#include "crypto/Interfaces.hpp"

namespace opc::ztservices {

/// AES-256-GCM under one key. The only algorithm is "AES256-GCM".
class CryptoEncryptor final : public IEncryptor {
 public:
  /// Throws CryptoError unless the key has 32 bytes. The caller wipes its own.
  explicit CryptoEncryptor(std::vector<unsigned char> const& keyBytes);

  /// Throws std::runtime_error for another algorithm, and CouldNotEncrypt unless the IV has 16 bytes.
  void initialize(std::string const& algorithm, std::vector<unsigned char> const& iv) override;
  /// Throws CouldNotEncrypt, and std::logic_error before initialize().
  std::vector<unsigned char> encrypt(std::vector<unsigned char> const& data) override;
  void encryptTo(std::span<unsigned char const> data, std::vector<unsigned char>& out) override;
  foundation::crypto::AESKey getKey(std::string const& algorithm) const override;

 private:
  std::shared_ptr<foundation::crypto::interfaces::ICryptoProvider> provider_;
  foundation::crypto::AESKey key_;
  std::shared_ptr<foundation::crypto::AESEncryptor> current_;  // empty until initialize()
};

/// AES-256-GCM under one key. The only algorithm is "AES256-GCM".
class CryptoDecryptor final : public IDecryptor {
 public:
  /// Throws CryptoError unless the key has 32 bytes. The caller wipes its own.
  explicit CryptoDecryptor(std::vector<unsigned char> const& keyBytes);

  /// Throws std::runtime_error for another algorithm, and CouldNotDecrypt unless the IV has 16 bytes.
  void initialize(std::string const& algorithm, std::vector<unsigned char> const& iv) override;
  /// Throws CouldNotDecrypt, and std::logic_error before initialize().
  std::vector<unsigned char> decrypt(std::vector<unsigned char> const& data) override;
  void decryptTo(std::span<unsigned char const> data, std::vector<unsigned char>& out) override;
  foundation::crypto::AESKey getKey(std::string const& algorithm) const override;

 private:
  std::shared_ptr<foundation::crypto::interfaces::ICryptoProvider> provider_;
  foundation::crypto::AESKey key_;
  std::shared_ptr<foundation::crypto::AESDecryptor> current_;  // empty until initialize()
};

/// HMAC-SHA256 under one key of any length. The only algorithm is "HMAC-SHA256".
class CryptoDigestEngine final : public IDigestEngine {
 public:
  explicit CryptoDigestEngine(std::vector<unsigned char> const& keyBytes);

  /// Throws std::runtime_error for another algorithm.
  void initialize(std::string const& algorithm) override;
  /// Throws std::logic_error before initialize().
  std::vector<unsigned char> digest(std::vector<unsigned char> const& data) override;

 private:
  std::shared_ptr<foundation::crypto::interfaces::ICryptoProvider> provider_;
  foundation::crypto::SecretBytes keyBytes_;
  std::shared_ptr<foundation::crypto::DigestEngine> current_;  // empty until initialize()
};

}  // namespace opc::ztservices
