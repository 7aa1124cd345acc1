// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "text/LanguageTables.hpp"

namespace fl::i18n {

/// Negative logarithm of a probability: likely events cost little.
using Nats = float;

/// What one random byte costs.
inline constexpr Nats kNoise = 5.545F;
inline constexpr Nats kImpossible = 1000;

/// The script of a letter, or of a mark that words hold; None for everything else.
Script scriptOf(char16_t c);

/// How likely a word is in each language that is known. The tables are unpacked at the first use.
class LanguageModels {
 public:
  static LanguageModels const& instance();

  std::size_t count() const { return kAlphabetic_ + kEastAsian; }
  Script scriptOf(std::size_t language) const;
  char const* nameOf(std::size_t language) const;

  /// Costs of `word`, small letters of one script, by language; kImpossible for languages of other scripts.
  void costsOf(std::u16string_view word, Script script, std::vector<Nats>& costs) const;

  /// Number of letters of `word` that are not in the alphabet of the language that has most of them.
  std::size_t foreignLetters(std::u16string_view word, Script script) const;

 private:
  static constexpr std::size_t kEastAsian = 4;

  struct Alphabet;

  LanguageModels();
  ~LanguageModels();

  std::size_t kAlphabetic_;
  std::vector<Alphabet> alphabets_;
};

enum class EastAsian { Japanese, Simplified, Traditional, Korean };

/// What a run of ideographs, kana, syllables and their punctuation costs in a language.
Nats eastAsianCost(EastAsian language, std::u16string_view run);

}  // namespace fl::i18n
