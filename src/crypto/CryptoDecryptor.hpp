// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "crypto/AESDecryptor.hpp"
#include "crypto/AESKey.hpp"
#include "crypto/CryptoInterfaces.hpp"
#include "crypto/Interfaces.hpp"

namespace opc::ztservices {

/// AES-256-GCM (the one algorithm, "AES256-GCM") under one key.
class CryptoDecryptor final : public IDecryptor {
 public:
  /// Throws CryptoError for a key that is not of 32 bytes. Keeps no copy of them.
  explicit CryptoDecryptor(std::vector<unsigned char> const& keyBytes);

  /// Throws std::runtime_error for another algorithm, and CouldNotDecrypt for an IV that is not of 16 bytes.
  void initialize(std::string const& algorithm, std::vector<unsigned char> const& iv) override;
  /// Throws CouldNotDecrypt, and std::logic_error before initialize().
  std::vector<unsigned char> decrypt(std::vector<unsigned char> const& data) override;
  void decryptTo(std::span<unsigned char const> data, std::vector<unsigned char>& out) override;

 private:
  std::shared_ptr<foundation::crypto::interfaces::ICryptoProvider> provider_;
  foundation::crypto::AESKey key_;
  std::shared_ptr<foundation::crypto::AESDecryptor> current_;  // empty until initialize()
};

}  // namespace opc::ztservices
