// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

namespace fl::i18n {

/// Number of bytes at the front of `bytes` that are well-formed UTF-8 (Unicode 15, 3.9, table 3-7).
std::size_t utf8Prefix(std::string_view bytes);

/// Whether ill-formed `bytes` are UTF-8 that was damaged, rather than text in another character set: sequences of
/// several bytes are seldom well formed by chance.
bool isDamagedUtf8(std::string_view bytes);

}  // namespace fl::i18n
