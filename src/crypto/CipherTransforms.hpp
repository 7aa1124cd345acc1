// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "crypto/CryptoInterfaces.hpp"
#include "crypto/Interfaces.hpp"
#include "opc/ztservices/Encryption.hpp"
#include "opc/ztservices/Transforms.hpp"

namespace opc::ztservices {

/// Encrypts content as one message under its own IV, which precedes the message. The content type gains the parameters
/// "encryption", with the algorithm, and iv=inline.
class EncryptionWithInlineIVTransform : public TransformSource {
 public:
  EncryptionWithInlineIVTransform(std::unique_ptr<IContentSource> source, std::shared_ptr<IEncryptor> encryptor,
                                  std::string algorithm, std::shared_ptr<IVGenerator> ivGenerator);

  bool mustTransformEntireStream() override;
  bool transformContentType(model::ContentType const& in, model::ContentType& out) override;
  /// Does not throw. Prints the reason of a failure on standard output.
  bool transformData(std::vector<unsigned char> const& in, std::vector<unsigned char>& out) override;

 protected:
  std::string const& algorithm() const { return algorithm_; }
  IEncryptor& encryptor() const { return *encryptor_; }
  IVGenerator& ivGenerator() const { return *ivGenerator_; }

 private:
  std::shared_ptr<IEncryptor> encryptor_;
  std::string algorithm_;
  std::shared_ptr<IVGenerator> ivGenerator_;
};

/// Restores the content and the content type that EncryptionWithInlineIVTransform encrypted.
class DecryptionWithInlineIVTransform : public TransformSource {
 public:
  DecryptionWithInlineIVTransform(std::unique_ptr<IContentSource> source, std::shared_ptr<IDecryptor> decryptor,
                                  std::string algorithm);

  bool mustTransformEntireStream() override;
  bool transformContentType(model::ContentType const& in, model::ContentType& out) override;
  /// Does not throw. Prints the reason of a failure on standard output. Content shorter than an IV counts as a short IV
  /// without a message, which the decryptor refuses.
  bool transformData(std::vector<unsigned char> const& in, std::vector<unsigned char>& out) override;

 protected:
  std::string const& algorithm() const { return algorithm_; }
  IDecryptor& decryptor() const { return *decryptor_; }

 private:
  std::shared_ptr<IDecryptor> decryptor_;
  std::string algorithm_;
  std::int64_t ivSize_;
};

/// Call what encrypts or decrypts under an inline vector. Where it throws, they print the reason in a line on standard
/// output and return false.
bool encryptInlineOrReport(std::function<void()> const& encrypt);
bool decryptInlineOrReport(std::function<void()> const& decrypt);

/// Put the message of `content`, or the content of `message`, into `out`. On failure they print the reason in a line on
/// standard output, leave `out` unchanged and return false.
bool encryptOrReport(std::vector<unsigned char> const& content, foundation::crypto::interfaces::IEncryptor& encryptor,
                     std::vector<unsigned char>& out);
bool decryptOrReport(std::vector<unsigned char> const& message, foundation::crypto::interfaces::IDecryptor& decryptor,
                     std::vector<unsigned char>& out);

}  // namespace opc::ztservices
