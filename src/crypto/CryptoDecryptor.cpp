// SPDX-License-Identifier: Apache-2.0
#include "crypto/CryptoDecryptor.hpp"

#include "crypto/Algorithms.hpp"
#include "crypto/CryptoEngine.hpp"
#include "crypto/CryptoProvider.hpp"

namespace opc::ztservices {

using foundation::crypto::AESDecryptor;
using foundation::crypto::CryptoEngine;
using foundation::crypto::utils::AESMode;

CryptoDecryptor::CryptoDecryptor(std::vector<unsigned char> const& keyBytes)
    : provider_(std::make_shared<foundation::crypto::cryptopp::CryptoProvider>()),
      key_(CryptoEngine(provider_).createAES256Key(keyBytes)) {}

void CryptoDecryptor::initialize(std::string const& algorithm, std::vector<unsigned char> const& iv) {
  checkAlgorithm(algorithm, kEncryptionAlgorithm, "Unsupported decryption type and mode.");
  CryptoEngine const engine(provider_);
  current_ = std::make_shared<AESDecryptor>(engine.createAES256Decryptor(
      key_, iv, AESMode::GCM, engine.getDefaultAESPaddingMode(), engine.getDefaultCryptoPRNG()));
}

std::vector<unsigned char> CryptoDecryptor::decrypt(std::vector<unsigned char> const& data) {
  return foundation::crypto::decrypt(data, initialized(current_));
}

void CryptoDecryptor::decryptTo(std::span<unsigned char const> data, std::vector<unsigned char>& out) {
  initialized(current_).append(data, out);
}

}  // namespace opc::ztservices
