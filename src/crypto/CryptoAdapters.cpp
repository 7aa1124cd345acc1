// SPDX-License-Identifier: Apache-2.0
#include "crypto/CryptoAdapters.hpp"

#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "crypto/CryptoEngine.hpp"
#include "crypto/CryptoRandom.hpp"

namespace opc::ztservices {
namespace {

using foundation::crypto::AESDecryptor;
using foundation::crypto::AESEncryptor;
using foundation::crypto::CryptoEngine;
using foundation::crypto::DigestEngine;
using foundation::crypto::utils::AESMode;

void checkAlgorithm(std::string const& given, char const* supported, char const* message) {
  if (given != supported) throw std::runtime_error(message);
}

constexpr char kNoEncryption[] = "Unsupported encryption type and mode.";
constexpr char kNoDecryption[] = "Unsupported decryption type and mode.";

/// The object of the last initialize().
template <typename Current>
Current& initialized(std::shared_ptr<Current> const& current) {
  if (!current) throw std::logic_error("initialize() has not been called");
  return *current;
}

}  // namespace

CryptoEncryptor::CryptoEncryptor(std::vector<unsigned char> const& keyBytes)
    : provider_(std::make_shared<foundation::crypto::cryptopp::CryptoProvider>()),
      key_(CryptoEngine(provider_).createAES256Key(keyBytes)) {}

void CryptoEncryptor::initialize(std::string const& algorithm, std::vector<unsigned char> const& iv) {
  checkAlgorithm(algorithm, kEncryptionAlgorithm, kNoEncryption);
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

foundation::crypto::AESKey CryptoEncryptor::getKey(std::string const& algorithm) const {
  checkAlgorithm(algorithm, kEncryptionAlgorithm, kNoEncryption);
  return key_.separate();
}

CryptoDecryptor::CryptoDecryptor(std::vector<unsigned char> const& keyBytes)
    : provider_(std::make_shared<foundation::crypto::cryptopp::CryptoProvider>()),
      key_(CryptoEngine(provider_).createAES256Key(keyBytes)) {}

void CryptoDecryptor::initialize(std::string const& algorithm, std::vector<unsigned char> const& iv) {
  checkAlgorithm(algorithm, kEncryptionAlgorithm, kNoDecryption);
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

foundation::crypto::AESKey CryptoDecryptor::getKey(std::string const& algorithm) const {
  checkAlgorithm(algorithm, kEncryptionAlgorithm, kNoDecryption);
  return key_.separate();
}

CryptoDigestEngine::CryptoDigestEngine(std::vector<unsigned char> const& keyBytes)
    : provider_(std::make_shared<foundation::crypto::cryptopp::CryptoProvider>()),
      keyBytes_(keyBytes.begin(), keyBytes.end()) {}

void CryptoDigestEngine::initialize(std::string const& algorithm) {
  checkAlgorithm(algorithm, kDigestAlgorithm, "Unsupported digest algorithm.");
  current_ = std::make_shared<DigestEngine>(CryptoEngine(provider_).createHMACSHA256DigestEngine(keyBytes_));
}

std::vector<unsigned char> CryptoDigestEngine::digest(std::vector<unsigned char> const& data) {
  return initialized(current_).digest(data);
}

}  // namespace opc::ztservices
