// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace fl::i18n {

/// The variant of ISO-2022 whose escape sequences stand in bytes that are ASCII otherwise; empty for none.
std::string guessEscapedCharset(std::string_view bytes);

/// The first lines with bytes beyond ASCII, up to 8 KiB: all that tells one older character set from another.
std::string sampleBeyondAscii(std::string_view bytes);

/// The character sets, the likeliest first, that such a sample of no UTF may be in.
std::vector<std::string> guessLegacyCharsets(std::string_view sample);

}  // namespace fl::i18n
