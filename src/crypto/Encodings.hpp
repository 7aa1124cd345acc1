// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

#include "crypto/Bytes.hpp"

namespace foundation::crypto::utils {

/// Two lower-case hexadecimal digits for each byte.
std::string hexEncode(unsigned char const* data, std::size_t count);

template <typename Range>
std::string hexEncode(Range const& bytes) {
  return hexEncode(bytes.data(), bytes.size());
}

/// Base 64 with padding and without line breaks (RFC 4648, 4).
std::string base64Encode(BytesView bytes);

/// The bytes that base64Encode() encodes as exactly this text. Throws CryptoError for every other text: foreign
/// characters and white space, missing or misplaced padding, bits set behind the last byte.
Bytes base64Decode(std::string const& text);

}  // namespace foundation::crypto::utils
