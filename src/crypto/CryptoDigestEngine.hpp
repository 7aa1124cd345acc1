// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "crypto/CryptoInterfaces.hpp"
#include "crypto/DigestEngine.hpp"
#include "crypto/Interfaces.hpp"
#include "crypto/SecretBytes.hpp"

namespace opc::ztservices {

/// HMAC-SHA256 (the one algorithm, "HMAC-SHA256") under one key of any length.
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
