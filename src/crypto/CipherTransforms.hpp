// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "crypto/CryptoInterfaces.hpp"
#include "crypto/Interfaces.hpp"
#include "opc/ztservices/Encryption.hpp"
#include "opc/ztservices/Transforms.hpp"

namespace opc::ztservices {

/// Encrypts content as one message under an IV of its own, which stands before the message. The content type
/// says so in its parameters "encryption", the algorithm, and "iv".
class EncryptionWithInlineIVTransform final : public TransformSource {
 public:
  EncryptionWithInlineIVTransform(std::unique_ptr<IContentSource> source, std::shared_ptr<IEncryptor> encryptor,
                                  std::string algorithm, std::shared_ptr<IVGenerator> ivGenerator);

  bool mustTransformEntireStream() override;
  bool transformContentType(model::ContentType const& in, model::ContentType& out) override;
  /// Does not throw: what goes wrong is told on standard output.
  bool transformData(std::vector<unsigned char> const& in, std::vector<unsigned char>& out) override;

 private:
  std::shared_ptr<IEncryptor> encryptor_;
  std::string algorithm_;
  std::shared_ptr<IVGenerator> ivGenerator_;
};

/// Turns what EncryptionWithInlineIVTransform made back into content and content type.
class DecryptionWithInlineIVTransform final : public TransformSource {
 public:
  DecryptionWithInlineIVTransform(std::unique_ptr<IContentSource> source, std::shared_ptr<IDecryptor> decryptor,
                                  std::string algorithm);

  bool mustTransformEntireStream() override;
  bool transformContentType(model::ContentType const& in, model::ContentType& out) override;
  /// Does not throw: what goes wrong is told on standard output. Content that is shorter than an IV is taken
  /// for a short one without a message, which the decryptor refuses.
  bool transformData(std::vector<unsigned char> const& in, std::vector<unsigned char>& out) override;

 private:
  std::shared_ptr<IDecryptor> decryptor_;
  std::string algorithm_;
  std::int64_t ivSize_;
};

/// Puts the message of `content` into `out`, or the content of `message`. Where that fails, says why in a line on
/// standard output, leaves `out` as it was and returns false.
bool encryptOrReport(std::vector<unsigned char> const& content, foundation::crypto::interfaces::IEncryptor& encryptor,
                     std::vector<unsigned char>& out);
bool decryptOrReport(std::vector<unsigned char> const& message, foundation::crypto::interfaces::IDecryptor& decryptor,
                     std::vector<unsigned char>& out);

}  // namespace opc::ztservices
