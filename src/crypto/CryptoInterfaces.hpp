// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>
#include <string>
#include <vector>

/// What transforms and managers know of cryptography. One thread at a time; each message wants an
/// initialize() of its own, since two messages under one key and IV give both away.
namespace opc::ztservices {

class IEncryptor {
 public:
  virtual ~IEncryptor() = default;
  /// Binds to an algorithm and an initialization vector, or throws and stays bound as it was.
  virtual void initialize(std::string const& algorithm, std::vector<unsigned char> const& iv) = 0;
  /// One complete message. After initialize() alone.
  virtual std::vector<unsigned char> encrypt(std::vector<unsigned char> const& data) = 0;

  /// Appends to `out` what encrypt() gives, or throws and leaves `out` as it was. To be overridden where that
  /// spares a copy of the message.
  virtual void encryptTo(std::span<unsigned char const> data, std::vector<unsigned char>& out) {
    std::vector<unsigned char> const message = encrypt({data.begin(), data.end()});
    out.insert(out.end(), message.begin(), message.end());
  }
};

class IDecryptor {
 public:
  virtual ~IDecryptor() = default;
  /// Binds to an algorithm and an initialization vector, or throws and stays bound as it was.
  virtual void initialize(std::string const& algorithm, std::vector<unsigned char> const& iv) = 0;
  /// The content of one complete message. After initialize() alone.
  virtual std::vector<unsigned char> decrypt(std::vector<unsigned char> const& data) = 0;

  /// Appends to `out` what decrypt() gives, or throws and leaves `out` as it was. To be overridden where that
  /// spares a copy of the message.
  virtual void decryptTo(std::span<unsigned char const> data, std::vector<unsigned char>& out) {
    std::vector<unsigned char> const content = decrypt({data.begin(), data.end()});
    out.insert(out.end(), content.begin(), content.end());
  }
};

class IDigestEngine {
 public:
  virtual ~IDigestEngine() = default;
  /// Binds to an algorithm, or throws and stays bound as it was.
  virtual void initialize(std::string const& algorithm) = 0;
  /// The digest of these bytes alone. After initialize() alone.
  virtual std::vector<unsigned char> digest(std::vector<unsigned char> const& data) = 0;
};

}  // namespace opc::ztservices
