// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace fl::i18n {

/// The variant of ISO-2022 whose escape sequences stand in otherwise plain ASCII; empty for none.
std::string guessEscapedCharset(std::string_view bytes);

/// The first lines with bytes beyond ASCII, up to 8 KiB. ASCII alone distinguishes no older character sets.
std::string sampleBeyondAscii(std::string_view bytes);

/// The character sets that such a sample may be in if it is not UTF, the likeliest first.
std::vector<std::string> guessLegacyCharsets(std::string_view sample);

}  // namespace fl::i18n
