// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include "crypto/AESMessages.hpp"
#include "crypto/CryptoEngine.hpp"
#include "crypto/CryptoProvider.hpp"
#include "opc/ztservices/Transforms.hpp"

namespace opc::ztservices {

using foundation::crypto::AESDecryptor;
using foundation::crypto::CryptoEngine;
using foundation::crypto::cryptopp::CryptoProvider;
using foundation::crypto::utils::AESMode;

struct AESDecryptionTransform::Impl {
  AESDecryptor decryptor;
};

AESDecryptionTransform::AESDecryptionTransform(std::unique_ptr<IContentSource> source,
                                               std::vector<unsigned char> const& key,
                                               std::vector<unsigned char> const& iv)
    : TransformSource(std::move(source)) {
  CryptoEngine const engine(std::make_shared<CryptoProvider>());
  impl_ = std::make_shared<Impl>(
      Impl{engine.createAES256Decryptor(engine.createAES256Key(key), iv, AESMode::Default,
                                        engine.getDefaultAESPaddingMode(), engine.getDefaultCryptoPRNG())});
}

bool AESDecryptionTransform::mustTransformEntireStream() { return true; }

bool AESDecryptionTransform::transformContentType(model::ContentType const& in, model::ContentType& out) {
  out = in;
  out.removeParameter(u"encryption");
  return true;
}

bool AESDecryptionTransform::transformData(std::vector<unsigned char> const& in, std::vector<unsigned char>& out) {
  return decryptOrReport(in, impl_->decryptor, out);
}

}  // namespace opc::ztservices
