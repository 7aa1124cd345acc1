// SPDX-License-Identifier: Apache-2.0
#include "crypto/AESEncryptor.hpp"

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

}  // namespace foundation::crypto
