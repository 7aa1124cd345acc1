// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "crypto/CryptoInterfaces.hpp"
#include "opc/ztservices/Transforms.hpp"

namespace opc::ztservices {

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

}  // namespace opc::ztservices
