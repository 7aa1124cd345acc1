// SPDX-License-Identifier: Apache-2.0
#include "crypto/AESCiphers.hpp"

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
