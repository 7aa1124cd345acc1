// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace fl::i18n {

/// Whether bytes beyond ASCII are Thai as TIS-620 (and windows-874, ISO-8859-11) writes it, which ICU's detector
/// does not know: Thai letters combine by rules that other text keeps only by chance.
bool looksThai(std::string_view sample);

}  // namespace fl::i18n
