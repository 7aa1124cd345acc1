// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace fl::i18n {

/// Bytes between ASCII white space, which no character set of this layer takes for a part of a character.
struct Token {
  std::string_view bytes;
  bool isCut = false;  // at its end, perhaps within a character
};

/// What character sets are told apart by: pieces of the whole text, with every byte beyond ASCII that it holds.
struct TextSample {
  std::vector<Token> beyondAscii;
  std::vector<Token> ascii;  // some of what stands beside them
};

/// Small texts are sampled as a whole.
TextSample sampleOf(std::string_view text);

}  // namespace fl::i18n
