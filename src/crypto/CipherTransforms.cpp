// SPDX-License-Identifier: Apache-2.0
#include "crypto/CipherTransforms.hpp"

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

#include "crypto/AESCiphers.hpp"
#include "crypto/CryptoEngine.hpp"
#include "crypto/CryptoErrors.hpp"
#include "crypto/CryptoRandom.hpp"
#include "opc/Strings.hpp"
#include "opc/ztservices/Transforms.hpp"

namespace opc::ztservices {
namespace {

using foundation::crypto::AESDecryptor;
using foundation::crypto::AESEncryptor;
using foundation::crypto::CryptoEngine;
using foundation::crypto::cryptopp::CryptoProvider;
using foundation::crypto::utils::AESMode;
using foundation::crypto::utils::CouldNotDecrypt;
using foundation::crypto::utils::CouldNotEncrypt;

/// Writes the line to standard output, flushed, and returns false, the answer of a transform that has failed. The
/// exception that its caller throws then does not hold the reason.
bool reportFailure(std::string const& line) {
  static std::mutex oneAtATime;  // several threads may decrypt
  std::lock_guard const lock(oneAtATime);
  std::cout << line << std::endl;
  return false;
}

}  // namespace

bool encryptOrReport(std::vector<unsigned char> const& content, foundation::crypto::interfaces::IEncryptor& encryptor,
                     std::vector<unsigned char>& out) {
  try {
    out = foundation::crypto::encrypt(content, encryptor);
    return true;
  } catch (CouldNotEncrypt const& error) {
    return reportFailure("An error within the encryption library occurred:" + std::string(error.what()));
  } catch (...) {
    return reportFailure("An error during the encryption process occurred.");
  }
}

bool decryptOrReport(std::vector<unsigned char> const& message, foundation::crypto::interfaces::IDecryptor& decryptor,
                     std::vector<unsigned char>& out) {
  try {
    out = foundation::crypto::decrypt(message, decryptor);
    return true;
  } catch (CouldNotDecrypt const& error) {
    return reportFailure("An error within the decryption library occurred:" + std::string(error.what()));
  } catch (...) {
    return reportFailure("An error during the decryption process occurred.");
  }
}

bool encryptInlineOrReport(std::function<void()> const& encrypt) {
  try {
    encrypt();
    return true;
  } catch (std::runtime_error const& error) {
    return reportFailure("An error occurred during encryption:" + std::string(error.what()));
  } catch (...) {
    return reportFailure("An error occurred during encryption.");
  }
}

bool decryptInlineOrReport(std::function<void()> const& decrypt) {
  try {
    decrypt();
    return true;
  } catch (std::runtime_error const& error) {
    return reportFailure("An error occurred during decryption:" + std::string(error.what()));
  } catch (...) {
    return reportFailure("An error occurred during decryption.");
  }
}

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
  return encryptInlineOrReport([&] {
    std::vector<unsigned char> content = ivGenerator_->generate();
    encryptor_->initialize(algorithm_, content);
    encryptor_->encryptTo(in, content);
    out = std::move(content);
  });
}

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
  return decryptInlineOrReport([&] {
    auto const message =
        in.begin() + static_cast<std::ptrdiff_t>(std::min(ivSize_, static_cast<std::int64_t>(in.size())));
    decryptor_->initialize(algorithm_, {in.begin(), message});
    std::vector<unsigned char> content;
    decryptor_->decryptTo({message, in.end()}, content);
    out = std::move(content);
  });
}

}  // namespace opc::ztservices
