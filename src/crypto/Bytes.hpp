// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>
#include <vector>

namespace foundation::crypto {

using Bytes = std::vector<unsigned char>;
/// Bytes that the caller keeps alive during the call.
using BytesView = std::span<unsigned char const>;

}  // namespace foundation::crypto
