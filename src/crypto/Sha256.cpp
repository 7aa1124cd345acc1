// SPDX-License-Identifier: Apache-2.0
#include "crypto/Sha256.hpp"

#include <openssl/evp.h>

#include "crypto/OpenSSLError.hpp"

namespace foundation::crypto {

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
