// SPDX-License-Identifier: Apache-2.0
#include "crypto/CryptoEngine.hpp"

#include <cstdint>
#include <utility>

#include "crypto/CryptoErrors.hpp"
#include "crypto/PasswordKeys.hpp"

namespace foundation::crypto {
namespace {

void checkMode(utils::AESMode mode) {
  if (mode != utils::AESMode::Default && mode != utils::AESMode::GCM)
    throw CryptoError("There is no AES mode " + std::to_string(static_cast<std::uint32_t>(mode)));
}

}  // namespace

CryptoEngine::CryptoEngine(std::shared_ptr<interfaces::ICryptoProvider> provider) : provider_(std::move(provider)) {
  if (!provider_) throw CryptoError("There is no cryptographic provider");
}

AESKey CryptoEngine::createAES256Key(BytesView bytes) const { return AESKey(bytes); }

AESEncryptor CryptoEngine::createAES256Encryptor(AESKey const& key, BytesView iv, utils::AESMode mode,
                                                 utils::AESPaddingMode, interfaces::ICryptoPRNG const&) const {
  checkMode(mode);
  return {key, iv};
}

AESDecryptor CryptoEngine::createAES256Decryptor(AESKey const& key, BytesView iv, utils::AESMode mode,
                                                 utils::AESPaddingMode, interfaces::ICryptoPRNG const&) const {
  checkMode(mode);
  return {key, iv};
}

DigestEngine CryptoEngine::createHMACSHA256DigestEngine(BytesView key) const { return DigestEngine(key); }

CryptoPRNG CryptoEngine::createDefaultCryptoPRNG(BytesView seed) const { return {provider_, seed}; }
CryptoPRNG CryptoEngine::getDefaultCryptoPRNG() const { return {provider_, {}}; }

SecretBytes CryptoEngine::getEncryptionKeyFromPassword(std::u16string const& password, std::u16string const& salt,
                                                       BytesView iv, int iterations, int keyBytes) const {
  return PasswordKeys(password, salt, iv, iterations, keyBytes).key();
}

Bytes CryptoEngine::getPasswordHash(std::u16string const& password, std::u16string const& salt, BytesView iv,
                                    int iterations, int keyBytes) const {
  SecretBytes const verifier = PasswordKeys(password, salt, iv, iterations, keyBytes).verifier();
  return {verifier.begin(), verifier.end()};
}

SecretBytes CryptoEngine::getDecryptionKeyFromPassword(std::u16string const& password, std::u16string const& salt,
                                                       BytesView hash, BytesView iv, int iterations,
                                                       int keyBytes) const {
  PasswordKeys const keys(password, salt, iv, iterations, keyBytes);
  if (!isEqualSecret(keys.verifier(), hash)) throw utils::CouldNotDecrypt();
  return keys.key();
}

}  // namespace foundation::crypto
