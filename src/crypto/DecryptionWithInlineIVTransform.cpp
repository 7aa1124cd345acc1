// SPDX-License-Identifier: Apache-2.0
#include "crypto/DecryptionWithInlineIVTransform.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "crypto/CryptoEngine.hpp"
#include "crypto/TransformReport.hpp"

namespace opc::ztservices {

DecryptionWithInlineIVTransform::DecryptionWithInlineIVTransform(std::unique_ptr<IContentSource> source,
                                                                 std::shared_ptr<IDecryptor> decryptor,
                                                                 std::string algorithm)
    : TransformSource(std::move(source)),
      decryptor_(std::move(decryptor)),
      algorithm_(std::move(algorithm)),
      ivSize_(static_cast<std::int64_t>(foundation::crypto::CryptoEngine::getAESBlockSizeInBytes())) {}

bool DecryptionWithInlineIVTransform::mustTransformEntireStream() { return true; }

bool DecryptionWithInlineIVTransform::transformContentType(model::ContentType const& in, model::ContentType& out) {
  out = in;
  out.removeParameter(u"encryption");
  out.removeParameter(u"iv");
  return true;
}

bool DecryptionWithInlineIVTransform::transformData(std::vector<unsigned char> const& in,
                                                    std::vector<unsigned char>& out) {
  try {
    auto const message = in.begin() + std::min(ivSize_, static_cast<std::int64_t>(in.size()));
    decryptor_->initialize(algorithm_, {in.begin(), message});
    std::vector<unsigned char> content;
    decryptor_->decryptTo({message, in.end()}, content);
    out = std::move(content);
    return true;
  } catch (std::runtime_error const& error) {
    return reportFailure("An error occurred during decryption:" + std::string(error.what()));
  } catch (...) {
    return reportFailure("An error occurred during decryption.");
  }
}

}  // namespace opc::ztservices
