// SPDX-License-Identifier: Apache-2.0
#include "crypto/EncryptionWithInlineIVTransform.hpp"

#include <stdexcept>
#include <utility>

#include "crypto/TransformReport.hpp"
#include "opc/Strings.hpp"

namespace opc::ztservices {

EncryptionWithInlineIVTransform::EncryptionWithInlineIVTransform(std::unique_ptr<IContentSource> source,
                                                                 std::shared_ptr<IEncryptor> encryptor,
                                                                 std::string algorithm,
                                                                 std::shared_ptr<IVGenerator> ivGenerator)
    : TransformSource(std::move(source)),
      encryptor_(std::move(encryptor)),
      algorithm_(std::move(algorithm)),
      ivGenerator_(std::move(ivGenerator)) {}

bool EncryptionWithInlineIVTransform::mustTransformEntireStream() { return true; }

bool EncryptionWithInlineIVTransform::transformContentType(model::ContentType const& in, model::ContentType& out) {
  out = in;
  out.addParameter(u"encryption", toString(algorithm_));
  out.addParameter(u"iv", u"inline");
  return true;
}

bool EncryptionWithInlineIVTransform::transformData(std::vector<unsigned char> const& in,
                                                    std::vector<unsigned char>& out) {
  try {
    std::vector<unsigned char> content = ivGenerator_->generate();
    encryptor_->initialize(algorithm_, content);
    encryptor_->encryptTo(in, content);
    out = std::move(content);
    return true;
  } catch (std::runtime_error const& error) {
    return reportFailure("An error occurred during encryption:" + std::string(error.what()));
  } catch (...) {
    return reportFailure("An error occurred during encryption.");
  }
}

}  // namespace opc::ztservices
