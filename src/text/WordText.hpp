// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

namespace fl::i18n {

/// How the characters beyond ASCII fit into the words of a text. Read in the wrong character set, words come out
/// with signs or capitals in their midst, or in letters of two scripts.
struct WordFit {
  std::size_t fitting = 0;     // letters and apostrophes that a word has there
  std::size_t misfitting = 0;  // what no word has where it stands
};

WordFit fitOfWords(std::u16string_view text);

}  // namespace fl::i18n
