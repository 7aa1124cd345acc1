// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>

#include "crypto/Bytes.hpp"
#include "crypto/CryptoErrors.hpp"
#include "crypto/Interfaces.hpp"

namespace foundation::crypto::detail {

/// AES-256 in Galois/Counter Mode (NIST SP 800-38D) under one key, with initialization vectors of 16 bytes, tags
/// of 16 bytes and no additional data. A message is the ciphertext followed by the tag. The key schedule is
/// made once, and the destructor wipes it; each message only sets its IV. One thread at a time.
class AESGCM {
 public:
  static constexpr std::size_t kKeyBytes = 32;
  static constexpr std::size_t kIVBytes = 16;
  static constexpr std::size_t kTagBytes = 16;
  static constexpr std::uint64_t kMaximalContent = (std::uint64_t{1} << 36) - 32;  // SP 800-38D, 5.2.1.1

  /// Throws CryptoError for a key of another length.
  explicit AESGCM(BytesView key);
  ~AESGCM();
  AESGCM(AESGCM const&) = delete;
  AESGCM& operator=(AESGCM const&) = delete;

  /// Throw CouldNotEncrypt and CouldNotDecrypt for an IV of another length.
  static void checkIVForSealing(BytesView iv);
  static void checkIVForOpening(BytesView iv);

  /// Keeps the first `at` bytes of `out` and replaces the others by the message. `content` must not lie in `out`.
  /// Throws CouldNotEncrypt, and `out` then has those `at` bytes.
  void seal(BytesView iv, BytesView content, Bytes& out, std::size_t at);
  /// The same with the content of `message`. Throws CouldNotDecrypt; `out` then has those `at` bytes, and no byte of
  /// the content is left in memory.
  void open(BytesView iv, BytesView message, Bytes& out, std::size_t at);

  /// Authenticate a message that arrives in pieces and return none of its content. No other message may come between
  /// the three calls. The first throws CouldNotDecrypt for an IV of another length. The last returns whether the tag
  /// belongs to the ciphertext.
  void beginChecking(BytesView iv);
  void continueChecking(BytesView ciphertext);
  bool endChecking(BytesView tag);

  /// Make a message in pieces: `bytes` are content before continueSealing() and ciphertext after it. No other message
  /// may come between the three calls. Throw CouldNotEncrypt, as seal() does.
  void beginSealing(BytesView iv);
  void continueSealing(std::span<unsigned char> bytes);
  void endSealing(std::span<unsigned char, kTagBytes> tag);

  /// Decrypt in pieces, in place, a ciphertext that the caller knows to be authentic: no tag is checked. No other
  /// message may come between the calls. Throw CouldNotDecrypt.
  void beginOpening(BytesView iv);
  void continueOpening(std::span<unsigned char> bytes);

 private:
  struct Context;
  std::unique_ptr<Context> context_;
};

}  // namespace foundation::crypto::detail

namespace foundation::crypto::utils {

/// The numbers are part of the interface. Both values mean Galois/Counter Mode, because every mode here authenticates.
enum class AESMode : std::uint32_t { Default = 1, GCM = 3 };

/// Has no effect, because GCM needs no padding.
enum class AESPaddingMode : std::uint32_t { None = 0, PKCS7 = 1 };

}  // namespace foundation::crypto::utils

namespace foundation::crypto {

/// An AES key of 256 bits. Copies share its bytes and its key schedule; the last one wipes them. One thread at a time
/// uses a key, its copies and the ciphers bound to them.
class AESKey {
 public:
  /// Throws CryptoError unless there are 32 bytes. The caller wipes its own bytes.
  explicit AESKey(BytesView bytes)
      : bytes_(std::make_shared<SecretBytes const>(bytes.begin(), bytes.end())),
        cipher_(std::make_shared<detail::AESGCM>(bytes)) {}

  /// The same key with a schedule of its own, for another message or another thread. Several threads may call this.
  AESKey separate() const { return AESKey(bytes_); }

  detail::AESGCM& cipher() const { return *cipher_; }

 private:
  explicit AESKey(std::shared_ptr<SecretBytes const> bytes)
      : bytes_(std::move(bytes)), cipher_(std::make_shared<detail::AESGCM>(*bytes_)) {}

  std::shared_ptr<SecretBytes const> bytes_;
  std::shared_ptr<detail::AESGCM> cipher_;
};

/// AES-256-GCM encryption bound to a key and an initialization vector. Each call makes a complete message under the
/// same IV. Two contents under one key and IV reveal each other, so that each content needs a new encryptor.
class AESEncryptor final : public interfaces::IEncryptor {
 public:
  /// Throws utils::CouldNotEncrypt unless the IV has 16 bytes.
  AESEncryptor(AESKey const& key, BytesView iv);

  void put(BytesView content, Bytes& out, std::size_t at) override;

 private:
  AESKey key_;
  Bytes iv_;
};

/// The message of `content`.
Bytes encrypt(BytesView content, interfaces::IEncryptor& encryptor);

/// AES-256-GCM decryption bound to a key and an initialization vector.
class AESDecryptor final : public interfaces::IDecryptor {
 public:
  /// Throws utils::CouldNotDecrypt unless the IV has 16 bytes.
  AESDecryptor(AESKey const& key, BytesView iv);

  void put(BytesView message, Bytes& out, std::size_t at) override;

 private:
  AESKey key_;
  Bytes iv_;
};

/// The content of a message. It is authenticated as a whole before a byte of it is returned.
Bytes decrypt(BytesView message, interfaces::IDecryptor& decryptor);

}  // namespace foundation::crypto
