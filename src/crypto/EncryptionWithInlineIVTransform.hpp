// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "crypto/CryptoInterfaces.hpp"
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

}  // namespace opc::ztservices
