// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "crypto/AESCiphers.hpp"
#include "crypto/Bytes.hpp"
#include "crypto/CryptoRandom.hpp"
#include "crypto/Digests.hpp"
#include "crypto/Interfaces.hpp"

namespace foundation::crypto {

/// Makes ciphers, digests and generators, which may outlive it. Cheap to create.
class CryptoEngine {
 public:
  /// Throws CryptoError for a null provider.
  explicit CryptoEngine(std::shared_ptr<interfaces::ICryptoProvider> provider);

  /// Throws CryptoError unless there are 32 bytes.
  AESKey createAES256Key(BytesView bytes) const;

  /// Bound to the key and the IV. Throw utils::CouldNotEncrypt or utils::CouldNotDecrypt unless the IV has 16 bytes,
  /// and CryptoError for a mode that utils::AESMode does not name. Padding and generator are not used.
  AESEncryptor createAES256Encryptor(AESKey const& key, BytesView iv, utils::AESMode mode,
                                     utils::AESPaddingMode padding, interfaces::ICryptoPRNG const& prng) const;
  AESDecryptor createAES256Decryptor(AESKey const& key, BytesView iv, utils::AESMode mode,
                                     utils::AESPaddingMode padding, interfaces::ICryptoPRNG const& prng) const;

  DigestEngine createHMACSHA256DigestEngine(BytesView key) const;

  CryptoPRNG createDefaultCryptoPRNG(BytesView seed) const;
  CryptoPRNG getDefaultCryptoPRNG() const;

  static std::size_t getAESBlockSizeInBytes() { return 16; }
  static utils::AESPaddingMode getDefaultAESPaddingMode() { return utils::AESPaddingMode::None; }

  /// The key of a password, its hash to store, and the key again for the password that matches a stored hash. For any
  /// other password the last one throws utils::CouldNotDecrypt; the comparison takes constant time. See PasswordKeys
  /// for the derivation and its other exceptions.
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
