// SPDX-License-Identifier: Apache-2.0
#include "foundation/crypto/Utils.hpp"

namespace foundation::crypto::utils {

std::string hexEncode(unsigned char const* data, std::size_t count) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(2 * count);
  for (std::size_t i = 0; i < count; ++i) {
    text += kDigits[data[i] >> 4];
    text += kDigits[data[i] & 15];
  }
  return text;
}

}  // namespace foundation::crypto::utils
