// SPDX-License-Identifier: Apache-2.0
#include "crypto/PasswordKeys.hpp"

#include <memory>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/params.h>

#include "crypto/CryptoErrors.hpp"
#include "text/Narrow.hpp"
#include "text/Unicode.hpp"

namespace foundation::crypto {
namespace {

constexpr std::size_t kRootBytes = 32;
constexpr std::string_view kKeyInfo = "ztservices cipher data: key";
constexpr std::string_view kVerifierInfo = "ztservices cipher data: verifier";

struct FreeKdf {
  void operator()(EVP_KDF* held) const { EVP_KDF_free(held); }
};
struct FreeKdfContext {
  void operator()(EVP_KDF_CTX* held) const { EVP_KDF_CTX_free(held); }
};

void checkIterations(int iterations) {
  if (iterations < 1 || iterations > PasswordKeys::kMaximalIterations)
    throw CryptoError("The number of iterations must be from 1 to 10000000");
}

void checkLengths(std::size_t saltBytes, int keyBytes) {
  if (saltBytes < PasswordKeys::kMinimalSaltBytes || saltBytes > PasswordKeys::kMaximalSaltBytes)
    throw CryptoError("Salt and initialization vector must have 8 to 1024 bytes together");
  if (keyBytes < 1 || keyBytes > PasswordKeys::kMaximalKeyBytes)
    throw CryptoError("The length of the key must be from 1 to 8160 bytes");
}

// The string has room for all bytes, so that it never moves and can be wiped as a whole.
SecretBytes toUTF8(std::u16string const& text, char const* what) {
  std::string utf8;
  utf8.reserve(3 * text.size());
  bool const valid = opc::unicode::appendUTF8(utf8, text);
  SecretBytes bytes(utf8.begin(), utf8.end());
  wipe(utf8.data(), utf8.size());
  if (!valid) throw CryptoError(std::string(what) + " is not valid text");
  return bytes;
}

SecretBytes saltedWith(std::u16string const& salt, BytesView iv) {
  SecretBytes salted = toUTF8(salt, "The salt");
  salted.insert(salted.end(), iv.begin(), iv.end());
  return salted;
}

OSSL_PARAM octets(char const* name, void const* data, std::size_t count) {
  return OSSL_PARAM_construct_octet_string(name, const_cast<void*>(data), count);  // OpenSSL reads it only
}

}  // namespace

SecretBytes pbkdf2HMACSHA256(BytesView password, BytesView salt, int iterations, std::size_t count) {
  static char const kNone[] = "";
  SecretBytes bytes(count);
  // Characters may alias the bytes.
  char const* const text = password.empty() ? kNone : reinterpret_cast<char const*>(password.data());
  detail::check(PKCS5_PBKDF2_HMAC(text, opc::narrow<int>(password.size()), salt.data(), opc::narrow<int>(salt.size()),
                                  iterations, EVP_sha256(), opc::narrow<int>(count), bytes.data()),
                "Deriving from a password");
  return bytes;
}

bool ScryptCost::isPossible() const {
  constexpr std::uint64_t kMaximalProduct = (1U << 30) - 1;
  constexpr unsigned kMaximalLogN = 40;  // beyond any memory, and below any overflow
  return logN >= 1 && logN <= kMaximalLogN && logN < 16ULL * blockSize && parallelism >= 1 &&
         std::uint64_t{blockSize} * parallelism <= kMaximalProduct && std::uint64_t{blockSize} <= UINT64_MAX >> 48;
}

std::uint64_t ScryptCost::memory() const { return 128ULL * blockSize * ((1ULL << logN) + parallelism); }

std::uint64_t ScryptCost::work() const {
  std::uint64_t const each = static_cast<std::uint64_t>(blockSize) << logN;
  return each > UINT64_MAX / parallelism ? UINT64_MAX : each * parallelism;
}

SecretBytes scrypt(BytesView password, BytesView salt, ScryptCost const& cost, std::size_t count) {
  constexpr std::uint64_t kSlack = 1U << 20;
  if (!cost.isPossible()) throw CryptoError("scrypt has no such cost");
  static char const kNone[] = "";
  SecretBytes bytes(count);
  // Characters may alias the bytes.
  char const* const text = password.empty() ? kNone : reinterpret_cast<char const*>(password.data());
  detail::check(EVP_PBE_scrypt(text, password.size(), salt.data(), salt.size(), 1ULL << cost.logN, cost.blockSize,
                               cost.parallelism, cost.memory() + kSlack, bytes.data(), bytes.size()),
                "Deriving from a password");
  return bytes;
}

SecretBytes hkdfExpandSHA256(BytesView key, std::string_view info, std::size_t count) {
  std::unique_ptr<EVP_KDF, FreeKdf> const hkdf(EVP_KDF_fetch(nullptr, "HKDF", nullptr));
  std::unique_ptr<EVP_KDF_CTX, FreeKdfContext> const context(hkdf ? EVP_KDF_CTX_new(hkdf.get()) : nullptr);
  if (!context) detail::throwOpenSSLError("Finding HKDF");
  int mode = EVP_KDF_HKDF_MODE_EXPAND_ONLY;
  char digest[] = "SHA256";
  OSSL_PARAM const parameters[] = {OSSL_PARAM_construct_int(OSSL_KDF_PARAM_MODE, &mode),
                                   OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, digest, 0),
                                   octets(OSSL_KDF_PARAM_KEY, key.data(), key.size()),
                                   octets(OSSL_KDF_PARAM_INFO, info.data(), info.size()), OSSL_PARAM_construct_end()};
  SecretBytes bytes(count);
  detail::check(EVP_KDF_derive(context.get(), bytes.data(), bytes.size(), parameters), "Expanding a key");
  return bytes;
}

PasswordKeys::PasswordKeys(std::u16string const& password, std::u16string const& salt, BytesView iv, int iterations,
                           int keyBytes)
    : keyBytes_(static_cast<std::size_t>(keyBytes)) {
  SecretBytes const salted = saltedWith(salt, iv);
  checkIterations(iterations);
  checkLengths(salted.size(), keyBytes);
  root_ = pbkdf2HMACSHA256(toUTF8(password, "The password"), salted, iterations, kRootBytes);
}

PasswordKeys::PasswordKeys(std::u16string const& password, std::u16string const& salt, BytesView iv,
                           ScryptCost const& cost, int keyBytes)
    : keyBytes_(static_cast<std::size_t>(keyBytes)) {
  SecretBytes const salted = saltedWith(salt, iv);
  checkLengths(salted.size(), keyBytes);
  root_ = scrypt(toUTF8(password, "The password"), salted, cost, kRootBytes);
}

SecretBytes PasswordKeys::key() const { return hkdfExpandSHA256(root_, kKeyInfo, keyBytes_); }
SecretBytes PasswordKeys::verifier() const { return hkdfExpandSHA256(root_, kVerifierInfo, kVerifierBytes); }

}  // namespace foundation::crypto
