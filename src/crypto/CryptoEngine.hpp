// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "crypto/AESCiphers.hpp"
#include "crypto/CryptoRandom.hpp"
#include "crypto/Digests.hpp"
#include "crypto/Interfaces.hpp"
#include "crypto/SecretBytes.hpp"

namespace foundation::crypto {

/// Makes the objects that encrypt, decrypt, digest and generate. Cheap; what it makes outlives it.
class CryptoEngine {
 public:
  /// Throws CryptoError for a null provider.
  explicit CryptoEngine(std::shared_ptr<interfaces::ICryptoProvider> provider);

  /// Throws CryptoError for anything but 32 bytes.
  AESKey createAES256Key(BytesView bytes) const;

  /// Bound to the key and the IV, of 16 bytes (utils::CouldNotEncrypt, utils::CouldNotDecrypt). Throw CryptoError
  /// for a mode that utils::AESMode does not name. Padding and generator are not needed and not used.
  AESEncryptor createAES256Encryptor(AESKey const& key, BytesView iv, utils::AESMode mode,
                                     utils::AESPaddingMode padding, interfaces::ICryptoPRNG const& prng) const;
  AESDecryptor createAES256Decryptor(AESKey const& key, BytesView iv, utils::AESMode mode,
                                     utils::AESPaddingMode padding, interfaces::ICryptoPRNG const& prng) const;

  DigestEngine createHMACSHA256DigestEngine(BytesView key) const;

  CryptoPRNG createDefaultCryptoPRNG(BytesView seed) const;
  CryptoPRNG getDefaultCryptoPRNG() const;

  static std::size_t getAESBlockSizeInBytes() { return 16; }
  static utils::AESPaddingMode getDefaultAESPaddingMode() { return utils::AESPaddingMode::None; }

  /// The key, the stored hash and again the key that belong to a password (see PasswordKeys for the derivation and
  /// what else is thrown). Decryption keys are given only for the password that the hash was made of; for any other
  /// they throw utils::CouldNotDecrypt, having compared in constant time.
  SecretBytes getEncryptionKeyFromPassword(std::u16string const& password, std::u16string const& salt, BytesView iv,
                                           int iterations, int keyBytes) const;
  Bytes getPasswordHash(std::u16string const& password, std::u16string const& salt, BytesView iv, int iterations,
                        int keyBytes) const;
  SecretBytes getDecryptionKeyFromPassword(std::u16string const& password, std::u16string const& salt, BytesView hash,
                                           BytesView iv, int iterations, int keyBytes) const;

 private:
  std::shared_ptr<interfaces::ICryptoProvider> provider_;
};

}  // namespace foundation::crypto
