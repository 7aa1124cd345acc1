// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

namespace foundation::crypto::utils {

/// Two lower-case hexadecimal digits for each byte.
std::string hexEncode(unsigned char const* data, std::size_t count);

template <typename Bytes>
std::string hexEncode(Bytes const& bytes) {
  return hexEncode(bytes.data(), bytes.size());
}

}  // namespace foundation::crypto::utils
