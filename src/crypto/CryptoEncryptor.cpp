// SPDX-License-Identifier: Apache-2.0
#include "crypto/CryptoEncryptor.hpp"

#include "crypto/Algorithms.hpp"
#include "crypto/CryptoEngine.hpp"
#include "crypto/CryptoProvider.hpp"

namespace opc::ztservices {

using foundation::crypto::AESEncryptor;
using foundation::crypto::CryptoEngine;
using foundation::crypto::utils::AESMode;

CryptoEncryptor::CryptoEncryptor(std::vector<unsigned char> const& keyBytes)
    : provider_(std::make_shared<foundation::crypto::cryptopp::CryptoProvider>()),
      key_(CryptoEngine(provider_).createAES256Key(keyBytes)) {}

void CryptoEncryptor::initialize(std::string const& algorithm, std::vector<unsigned char> const& iv) {
  checkAlgorithm(algorithm, kEncryptionAlgorithm, "Unsupported encryption type and mode.");
  CryptoEngine const engine(provider_);
  current_ = std::make_shared<AESEncryptor>(engine.createAES256Encryptor(
      key_, iv, AESMode::GCM, engine.getDefaultAESPaddingMode(), engine.getDefaultCryptoPRNG()));
}

std::vector<unsigned char> CryptoEncryptor::encrypt(std::vector<unsigned char> const& data) {
  return foundation::crypto::encrypt(data, initialized(current_));
}

void CryptoEncryptor::encryptTo(std::span<unsigned char const> data, std::vector<unsigned char>& out) {
  initialized(current_).append(data, out);
}

}  // namespace opc::ztservices
