// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "crypto/CryptoEngine.hpp"
#include "crypto/CryptoRandom.hpp"
#include "support/CryptoAnswers.hpp"

namespace cryptolib_test {

using zt_test::Bytes;

inline foundation::crypto::CryptoEngine engine() {
  return foundation::crypto::CryptoEngine(std::make_shared<foundation::crypto::cryptopp::CryptoProvider>());
}

inline Bytes sampleKey() { return zt_test::sampleContent(32); }
inline Bytes sampleIV() { return Bytes(16, 0x5A); }

inline foundation::crypto::AESEncryptor encryptorOf(Bytes const& key, Bytes const& iv) {
  auto const made = engine();
  return made.createAES256Encryptor(made.createAES256Key(key), iv, foundation::crypto::utils::AESMode::GCM,
                                    made.getDefaultAESPaddingMode(), made.getDefaultCryptoPRNG());
}

inline foundation::crypto::AESDecryptor decryptorOf(Bytes const& key, Bytes const& iv) {
  auto const made = engine();
  return made.createAES256Decryptor(made.createAES256Key(key), iv, foundation::crypto::utils::AESMode::GCM,
                                    made.getDefaultAESPaddingMode(), made.getDefaultCryptoPRNG());
}

inline Bytes encrypted(Bytes const& key, Bytes const& iv, Bytes const& content) {
  auto encryptor = encryptorOf(key, iv);
  return encrypt(content, encryptor);
}

inline Bytes decrypted(Bytes const& key, Bytes const& iv, Bytes const& message) {
  auto decryptor = decryptorOf(key, iv);
  return decrypt(message, decryptor);
}

constexpr char kCouldNotDecrypt[] = "The key is wrong or the content is damaged";

}  // namespace cryptolib_test
