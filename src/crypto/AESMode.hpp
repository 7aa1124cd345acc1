// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace foundation::crypto::utils {

/// The numbers are part of the interface. Both are Galois/Counter Mode: there is no mode that does not
/// authenticate.
enum class AESMode : std::uint32_t { Default = 1, GCM = 3 };

/// Accepted where a cipher is made, and without effect: GCM needs no padding.
enum class AESPaddingMode : std::uint32_t { None = 0, PKCS7 = 1 };

}  // namespace foundation::crypto::utils
