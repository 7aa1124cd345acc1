// SPDX-License-Identifier: Apache-2.0
#include "crypto/Encodings.hpp"

#include <algorithm>
#include <openssl/evp.h>

#include "crypto/CryptoErrors.hpp"
#include "opc/Strings.hpp"
#include "text/Narrow.hpp"

namespace foundation::crypto::utils {
namespace {

std::size_t paddingOf(std::string const& text) {
  if (text.ends_with("==")) return 2;
  return text.ends_with("=") ? 1 : 0;
}

// Decodes as OpenSSL does, which skips white space and reads "=" anywhere as a zero.
Bytes decodeLeniently(std::string const& text) {
  Bytes input(text.begin(), text.end());
  Bytes bytes(text.size() / 4 * 3);
  int const decoded = EVP_DecodeBlock(bytes.data(), input.data(), opc::narrow<int>(input.size()));
  detail::clearOpenSSLErrors();
  std::size_t const count = decoded < 0 ? 0 : static_cast<std::size_t>(decoded);
  bytes.resize(count - std::min(count, paddingOf(text)));
  return bytes;
}

}  // namespace

std::string hexEncode(unsigned char const* data, std::size_t count) {
  std::string text;
  text.reserve(2 * count);
  for (std::size_t i = 0; i < count; ++i) {
    text += opc::hexDigit(data[i] >> 4);
    text += opc::hexDigit(data[i] & 15);
  }
  return text;
}

std::string base64Encode(BytesView bytes) {
  Bytes text((bytes.size() + 2) / 3 * 4 + 1);  // EVP_EncodeBlock ends it with a NUL
  int const count = EVP_EncodeBlock(text.data(), bytes.data(), opc::narrow<int>(bytes.size()));
  return {text.begin(), text.begin() + count};
}

Bytes base64Decode(std::string const& text) {
  Bytes bytes = decodeLeniently(text);
  if (base64Encode(bytes) != text) throw CryptoError("Text is not base64");
  return bytes;
}

}  // namespace foundation::crypto::utils
