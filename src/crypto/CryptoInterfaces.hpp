// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "crypto/AESCiphers.hpp"

/// The cryptographic operations of transforms and managers. One thread at a time. Each message needs its own
/// initialize(), because two messages under one key and IV reveal each other.
namespace opc::ztservices {

/// The names of the algorithms in content types and calls.
inline constexpr char kEncryptionAlgorithm[] = "AES256-GCM";
/// The mark of contents that were deflated before they were encrypted with kEncryptionAlgorithm. No cipher has this
/// name.
inline constexpr char kCompressedEncryption[] = "AES256-GCM-DEFLATE";
inline constexpr char kDigestAlgorithm[] = "HMAC-SHA256";

class IEncryptor {
 public:
  virtual ~IEncryptor() = default;
  /// Binds to an algorithm and an initialization vector, or throws and keeps the former ones.
  virtual void initialize(std::string const& algorithm, std::vector<unsigned char> const& iv) = 0;
  /// Makes one complete message. Requires initialize().
  virtual std::vector<unsigned char> encrypt(std::vector<unsigned char> const& data) = 0;

  /// Appends the result of encrypt() to `out`, or throws and leaves `out` unchanged. An implementation may override
  /// this to avoid a copy of the message.
  virtual void encryptTo(std::span<unsigned char const> data, std::vector<unsigned char>& out) {
    std::vector<unsigned char> const message = encrypt({data.begin(), data.end()});
    out.insert(out.end(), message.begin(), message.end());
  }

  /// The key of an algorithm with a cipher of its own, for messages that pass in pieces. initialize() does not concern
  /// it. Several threads may call this. Throws std::runtime_error for another algorithm.
  virtual foundation::crypto::AESKey getKey(std::string const&) const {
    throw std::logic_error("This cipher takes whole messages only");
  }
};

class IDecryptor {
 public:
  virtual ~IDecryptor() = default;
  /// Binds to an algorithm and an initialization vector, or throws and keeps the former ones.
  virtual void initialize(std::string const& algorithm, std::vector<unsigned char> const& iv) = 0;
  /// Returns the content of one complete message. Requires initialize().
  virtual std::vector<unsigned char> decrypt(std::vector<unsigned char> const& data) = 0;

  /// Appends the result of decrypt() to `out`, or throws and leaves `out` unchanged. An implementation may override
  /// this to avoid a copy of the content.
  virtual void decryptTo(std::span<unsigned char const> data, std::vector<unsigned char>& out) {
    std::vector<unsigned char> const content = decrypt({data.begin(), data.end()});
    out.insert(out.end(), content.begin(), content.end());
  }

  /// The key of an algorithm with a cipher of its own, for messages that pass in pieces. initialize() does not concern
  /// it. Several threads may call this. Throws std::runtime_error for another algorithm.
  virtual foundation::crypto::AESKey getKey(std::string const&) const {
    throw std::logic_error("This cipher takes whole messages only");
  }
};

class IDigestEngine {
 public:
  virtual ~IDigestEngine() = default;
  /// Binds to an algorithm, or throws and keeps the former one.
  virtual void initialize(std::string const& algorithm) = 0;
  /// Returns the digest of these bytes; earlier calls do not matter. Requires initialize().
  virtual std::vector<unsigned char> digest(std::vector<unsigned char> const& data) = 0;
};

}  // namespace opc::ztservices
