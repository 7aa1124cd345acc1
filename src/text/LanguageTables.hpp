// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace fl::i18n {

enum class Script : std::uint8_t { Latin, Cyrillic, Greek, Hebrew, Arabic, Thai, EastAsian, None };

/// How often letters follow each other in the words of a language. The source is generated.
struct LanguageTable {
  char const* name;
  Script script;
  std::u16string_view letters;  // small ones
  /// A matrix over the word's boundary and the letters: the character at [before][letter] is 35 and the cost (the
  /// negative logarithm of the probability) in steps of kCostStep; the question mark and
  /// the backslash are left out.
  std::string_view costs;
};

inline constexpr float kCostStep = 0.2F;

std::span<LanguageTable const> languageTables();

/// The characters that texts hold most, in falling order.
std::u16string_view frequentSimplified();
std::u16string_view frequentTraditional();
std::u16string_view frequentKanji();
std::u16string_view frequentSyllables();

}  // namespace fl::i18n
