// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include "crypto/AESMessages.hpp"
#include "crypto/CryptoEngine.hpp"
#include "crypto/CryptoProvider.hpp"
#include "opc/ztservices/Transforms.hpp"

namespace opc::ztservices {

using foundation::crypto::AESEncryptor;
using foundation::crypto::CryptoEngine;
using foundation::crypto::cryptopp::CryptoProvider;
using foundation::crypto::utils::AESMode;

struct AESEncryptionTransform::Impl {
  Impl(CryptoEngine const& engine, std::vector<unsigned char> const& key, std::vector<unsigned char> ivInUse)
      : iv(std::move(ivInUse)),
        encryptor(engine.createAES256Encryptor(engine.createAES256Key(key), iv, AESMode::Default,
                                               engine.getDefaultAESPaddingMode(), engine.getDefaultCryptoPRNG())) {}

  std::vector<unsigned char> iv;
  AESEncryptor encryptor;
};

AESEncryptionTransform::AESEncryptionTransform(std::unique_ptr<IContentSource> source,
                                               std::vector<unsigned char> const& key,
                                               std::vector<unsigned char> const& iv)
    : TransformSource(std::move(source)) {
  CryptoEngine const engine(std::make_shared<CryptoProvider>());
  auto const randomIV = [&] {
    return engine.createDefaultCryptoPRNG({}).generateByteArray(engine.getAESBlockSizeInBytes());
  };
  impl_ = std::make_shared<Impl>(engine, key, iv.empty() ? randomIV() : iv);
}

AESEncryptionTransform::AESEncryptionTransform(std::unique_ptr<IContentSource> source,
                                               std::vector<unsigned char> const& key)
    : AESEncryptionTransform(std::move(source), key, {}) {}

std::vector<unsigned char> AESEncryptionTransform::getInitializationVector() const { return impl_->iv; }

bool AESEncryptionTransform::mustTransformEntireStream() { return true; }

bool AESEncryptionTransform::transformContentType(model::ContentType const& in, model::ContentType& out) {
  out = in;
  out.addParameter(u"encryption", u"AES");
  return true;
}

bool AESEncryptionTransform::transformData(std::vector<unsigned char> const& in, std::vector<unsigned char>& out) {
  return encryptOrReport(in, impl_->encryptor, out);
}

}  // namespace opc::ztservices
