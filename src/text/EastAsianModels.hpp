// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "text/LanguageModels.hpp"

namespace fl::i18n {

enum class EastAsian { Japanese, Simplified, Traditional, Korean };

/// What a run of ideographs, kana, syllables and their punctuation costs in a language.
Nats eastAsianCost(EastAsian language, std::u16string_view run);

}  // namespace fl::i18n
