// SPDX-License-Identifier: Apache-2.0
#include "crypto/AESCiphers.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <openssl/evp.h>
#include <string>

#include "crypto/Bytes.hpp"
#include "crypto/CryptoErrors.hpp"

namespace foundation::crypto::detail {
namespace {

using utils::CouldNotDecrypt;
using utils::CouldNotEncrypt;

enum Direction { kOpen = 0, kSeal = 1 };

// A growing vector fills its new bytes with zeros. At this size they are still in the first-level cache when the
// cipher writes them. One call of OpenSSL takes at most INT_MAX bytes.
constexpr std::size_t kPiece = 16384;
// Bytes that stay in their place need no such pieces.
constexpr std::size_t kInPlace = std::size_t{1} << 30;

struct FreeCipher {
  void operator()(EVP_CIPHER* held) const { EVP_CIPHER_free(held); }
};
struct FreeContext {
  void operator()(EVP_CIPHER_CTX* held) const { EVP_CIPHER_CTX_free(held); }  // wipes the key schedule
};

// A look-up costs more than the encryption of a small message, so that it is done once.
EVP_CIPHER const* cipher() {
  static std::unique_ptr<EVP_CIPHER, FreeCipher> const fetched = [] {
    std::unique_ptr<EVP_CIPHER, FreeCipher> found(EVP_CIPHER_fetch(nullptr, "AES-256-GCM", nullptr));
    if (!found) throwOpenSSLError("Finding AES-256-GCM");
    return found;
  }();
  return fetched.get();
}

// Bytes written behind the first ones of a vector. They are wiped and removed again unless keep() is called.
class Addition {
 public:
  Addition(Bytes& bytes, std::size_t at, std::size_t expected) : bytes_(bytes), begin_(at), end_(at) {
    bytes_.reserve(begin_ + expected);  // growing later would leave copies behind
  }
  ~Addition() {
    if (kept_) return;
    wipe(bytes_.data() + begin_, end_ - begin_);
    bytes_.resize(begin_);
  }
  Addition(Addition const&) = delete;
  Addition& operator=(Addition const&) = delete;

  // The place of the next bytes.
  unsigned char* grow(std::size_t count) {
    end_ += count;
    if (bytes_.size() < end_) bytes_.resize(end_);
    return bytes_.data() + end_ - count;
  }
  void keep() {
    bytes_.resize(end_);
    kept_ = true;
  }

 private:
  Bytes& bytes_;
  std::size_t begin_;
  std::size_t end_;
  bool kept_ = false;
};

constexpr char kTooLong[] = "The content is too long to be one message";

[[noreturn]] void throwCouldNotEncrypt() { throw CouldNotEncrypt(takeOpenSSLError("Encrypting")); }

[[noreturn]] void throwCouldNotDecrypt() {
  clearOpenSSLErrors();
  throw CouldNotDecrypt();
}

}  // namespace

struct AESGCM::Context {
  Context() : held(EVP_CIPHER_CTX_new()) {
    if (!held) throwOpenSSLError("Creating a cipher context");
  }

  // If the length is not set, OpenSSL uses the first 12 bytes of an IV and ignores the rest without an error.
  void setKey(BytesView key) {
    check(EVP_CipherInit_ex(held.get(), cipher(), nullptr, key.data(), nullptr, kSeal), "Setting a key");
    check(EVP_CIPHER_CTX_ctrl(held.get(), EVP_CTRL_AEAD_SET_IVLEN, kIVBytes, nullptr), "Setting the length of IVs");
  }

  bool start(BytesView iv, Direction direction) {
    return EVP_CipherInit_ex(held.get(), nullptr, nullptr, nullptr, iv.data(), direction) == 1;
  }

  bool update(BytesView in, Addition& out) {
    for (std::size_t at = 0; at < in.size(); at += kPiece) {
      BytesView const piece = in.subspan(at, std::min(kPiece, in.size() - at));
      int written = 0;
      unsigned char* const to = out.grow(piece.size());
      if (EVP_CipherUpdate(held.get(), to, &written, piece.data(), static_cast<int>(piece.size())) != 1) return false;
    }
    return true;
  }

  // GCM holds no bytes back. Finishing writes no byte; it makes or checks the tag.
  bool finish() {
    std::array<unsigned char, EVP_MAX_BLOCK_LENGTH> none{};
    int written = 0;
    return EVP_CipherFinal_ex(held.get(), none.data(), &written) == 1;
  }

  bool getTag(unsigned char* tag) {
    return EVP_CIPHER_CTX_ctrl(held.get(), EVP_CTRL_AEAD_GET_TAG, kTagBytes, tag) == 1;
  }

  bool expectTag(BytesView given) {
    std::array<unsigned char, kTagBytes> tag{};
    std::copy(given.begin(), given.end(), tag.begin());
    return EVP_CIPHER_CTX_ctrl(held.get(), EVP_CTRL_AEAD_SET_TAG, kTagBytes, tag.data()) == 1;
  }

  // The content is not used, so that each piece overwrites the one before.
  bool drop(BytesView in) {
    WipedBytes dropped(std::min(kPiece, in.size()));
    for (std::size_t at = 0; at < in.size(); at += kPiece) {
      BytesView const piece = in.subspan(at, std::min(kPiece, in.size() - at));
      int written = 0;
      if (EVP_CipherUpdate(held.get(), dropped.data(), &written, piece.data(), static_cast<int>(piece.size())) != 1)
        return false;
    }
    return true;
  }

  bool begin(BytesView iv, Direction direction) {
    passed = 0;
    return start(iv, direction);
  }

  // False where the message becomes too long.
  bool pass(std::span<unsigned char> bytes) {
    passed += bytes.size();
    if (passed > kMaximalContent) return false;
    for (std::size_t at = 0; at < bytes.size(); at += kInPlace) {
      auto const piece = bytes.subspan(at, std::min(kInPlace, bytes.size() - at));
      int written = 0;
      if (EVP_CipherUpdate(held.get(), piece.data(), &written, piece.data(), static_cast<int>(piece.size())) != 1)
        return false;
    }
    return true;
  }

  std::unique_ptr<EVP_CIPHER_CTX, FreeContext> held;
  std::uint64_t passed = 0;  // bytes of the message that comes in pieces
  bool isSound = false;      // whether every call for that message has succeeded
};

AESGCM::AESGCM(BytesView key) : context_(std::make_unique<Context>()) {
  if (key.size() != kKeyBytes)
    throw CryptoError("An AES-256 key must be 32 bytes long, not " + std::to_string(key.size()));
  context_->setKey(key);
}

AESGCM::~AESGCM() = default;

void AESGCM::checkIVForSealing(BytesView iv) {
  if (iv.size() != kIVBytes)
    throw CouldNotEncrypt("An initialization vector must be 16 bytes long, not " + std::to_string(iv.size()));
}

void AESGCM::checkIVForOpening(BytesView iv) {
  if (iv.size() != kIVBytes) throw CouldNotDecrypt();
}

void AESGCM::seal(BytesView iv, BytesView content, Bytes& out, std::size_t at) {
  checkIVForSealing(iv);
  if (content.size() > kMaximalContent) throw CouldNotEncrypt(kTooLong);
  Addition message(out, at, content.size() + kTagBytes);
  bool const done = context_->start(iv, kSeal) && context_->update(content, message) && context_->finish() &&
                    context_->getTag(message.grow(kTagBytes));
  if (!done) throwCouldNotEncrypt();
  message.keep();
}

void AESGCM::open(BytesView iv, BytesView message, Bytes& out, std::size_t at) {
  checkIVForOpening(iv);
  if (message.size() < kTagBytes || message.size() - kTagBytes > kMaximalContent) throw CouldNotDecrypt();
  Addition content(out, at, message.size() - kTagBytes);
  bool const done = context_->start(iv, kOpen) && context_->expectTag(message.last(kTagBytes)) &&
                    context_->update(message.first(message.size() - kTagBytes), content) && context_->finish();
  if (!done) throwCouldNotDecrypt();
  content.keep();
}

void AESGCM::beginChecking(BytesView iv) {
  checkIVForOpening(iv);
  context_->isSound = context_->begin(iv, kOpen);
}

void AESGCM::continueChecking(BytesView ciphertext) {
  context_->passed += ciphertext.size();
  context_->isSound = context_->isSound && context_->passed <= kMaximalContent && context_->drop(ciphertext);
}

bool AESGCM::endChecking(BytesView tag) {
  bool const isAuthentic =
      context_->isSound && tag.size() == kTagBytes && context_->expectTag(tag) && context_->finish();
  context_->isSound = false;
  clearOpenSSLErrors();
  return isAuthentic;
}

void AESGCM::beginSealing(BytesView iv) {
  checkIVForSealing(iv);
  if (!context_->begin(iv, kSeal)) throwCouldNotEncrypt();
}

void AESGCM::continueSealing(std::span<unsigned char> bytes) {
  if (bytes.size() > kMaximalContent - context_->passed) throw CouldNotEncrypt(kTooLong);
  if (!context_->pass(bytes)) throwCouldNotEncrypt();
}

void AESGCM::endSealing(std::span<unsigned char, kTagBytes> tag) {
  if (!context_->finish() || !context_->getTag(tag.data())) throwCouldNotEncrypt();
}

void AESGCM::beginOpening(BytesView iv) {
  checkIVForOpening(iv);
  if (!context_->begin(iv, kOpen)) throwCouldNotDecrypt();
}

void AESGCM::continueOpening(std::span<unsigned char> bytes) {
  if (!context_->pass(bytes)) throwCouldNotDecrypt();
}

}  // namespace foundation::crypto::detail

namespace foundation::crypto {

AESEncryptor::AESEncryptor(AESKey const& key, BytesView iv) : key_(key), iv_(iv.begin(), iv.end()) {
  detail::AESGCM::checkIVForSealing(iv_);
}

void AESEncryptor::put(BytesView content, Bytes& out, std::size_t at) { key_.cipher().seal(iv_, content, out, at); }

Bytes encrypt(BytesView content, interfaces::IEncryptor& encryptor) {
  Bytes message;
  encryptor.append(content, message);
  return message;
}

AESDecryptor::AESDecryptor(AESKey const& key, BytesView iv) : key_(key), iv_(iv.begin(), iv.end()) {
  detail::AESGCM::checkIVForOpening(iv_);
}

void AESDecryptor::put(BytesView message, Bytes& out, std::size_t at) { key_.cipher().open(iv_, message, out, at); }

Bytes decrypt(BytesView message, interfaces::IDecryptor& decryptor) {
  Bytes content;
  decryptor.append(message, content);
  return content;
}

}  // namespace foundation::crypto
