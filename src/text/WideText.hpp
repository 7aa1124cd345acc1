// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace fl::i18n {

/// "UTF-16LE", "UTF-16BE", "UTF-32LE" or "UTF-32BE" where bytes without a byte-order mark look like it; otherwise
/// empty. Reads the first 8 KiB.
std::string guessWideCharset(std::string_view bytes);

}  // namespace fl::i18n
