// SPDX-License-Identifier: Apache-2.0
#include "crypto/Digests.hpp"

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/params.h>

#include "crypto/CryptoErrors.hpp"

namespace foundation::crypto {
namespace {

struct FreeMac {
  void operator()(EVP_MAC* held) const { EVP_MAC_free(held); }
};
struct FreeContext {
  void operator()(EVP_MAC_CTX* held) const { EVP_MAC_CTX_free(held); }  // wipes the key
};

EVP_MAC* hmac() {
  static std::unique_ptr<EVP_MAC, FreeMac> const fetched = [] {
    std::unique_ptr<EVP_MAC, FreeMac> found(EVP_MAC_fetch(nullptr, "HMAC", nullptr));
    if (!found) detail::throwOpenSSLError("Finding HMAC");
    return found;
  }();
  return fetched.get();
}

}  // namespace

struct DigestEngine::Context {
  explicit Context(BytesView key) : held(EVP_MAC_CTX_new(hmac())) {
    if (!held) detail::throwOpenSSLError("Creating a keyed digest");
    char name[] = "SHA256";
    OSSL_PARAM const parameters[] = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, name, 0),
                                     OSSL_PARAM_construct_end()};
    static constexpr unsigned char kNone = 0;  // OpenSSL takes a null key for the former key
    detail::check(EVP_MAC_init(held.get(), key.empty() ? &kNone : key.data(), key.size(), parameters),
                  "Setting a digest key");
  }

  std::unique_ptr<EVP_MAC_CTX, FreeContext> held;
};

DigestEngine::DigestEngine(BytesView key) : context_(std::make_unique<Context>(key)) {}
DigestEngine::~DigestEngine() = default;
DigestEngine::DigestEngine(DigestEngine&&) noexcept = default;
DigestEngine& DigestEngine::operator=(DigestEngine&&) noexcept = default;

Bytes DigestEngine::digest(BytesView data) {
  EVP_MAC_CTX* const context = context_->held.get();
  detail::check(EVP_MAC_init(context, nullptr, 0, nullptr), "Starting a keyed digest");
  detail::check(EVP_MAC_update(context, data.data(), data.size()), "Computing a keyed digest");
  Bytes digest(kDigestBytes);
  detail::check(EVP_MAC_final(context, digest.data(), nullptr, digest.size()), "Finishing a keyed digest");
  return digest;
}

struct Sha256::Impl {
  Impl() : context(EVP_MD_CTX_new()) {
    if (!context) detail::throwOpenSSLError("Creating a digest");
    start();
  }
  void start() { detail::check(EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr), "Starting a digest"); }

  struct Free {
    void operator()(EVP_MD_CTX* held) const { EVP_MD_CTX_free(held); }
  };
  std::unique_ptr<EVP_MD_CTX, Free> context;
};

Sha256::Sha256() : impl_(std::make_unique<Impl>()) {}
Sha256::~Sha256() = default;
Sha256::Sha256(Sha256&&) noexcept = default;
Sha256& Sha256::operator=(Sha256&&) noexcept = default;

void Sha256::update(void const* data, std::size_t count) {
  detail::check(EVP_DigestUpdate(impl_->context.get(), data, count), "Computing a digest");
}

Sha256::Digest Sha256::finish() {
  Digest digest{};
  detail::check(EVP_DigestFinal_ex(impl_->context.get(), digest.data(), nullptr), "Finishing a digest");
  impl_->start();
  return digest;
}

}  // namespace foundation::crypto
