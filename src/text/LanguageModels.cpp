// SPDX-License-Identifier: Apache-2.0
#include "text/LanguageModels.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <unicode/uchar.h>

namespace fl::i18n {
namespace {

constexpr std::size_t kLetterSpace = 0x2010;  // beyond all letters of alphabets
constexpr std::uint8_t kNoLetter = 255;
constexpr unsigned kForeignLetter = 55, kAfterForeign = 16;  // in steps

bool isWithin(char16_t c, char16_t first, char16_t last) { return c >= first && c <= last; }

bool isEastAsian(char16_t c) {
  return isWithin(c, 0x3000, 0x30FF) || isWithin(c, 0x3400, 0x9FFF) || isWithin(c, 0xAC00, 0xD7A3) ||
         isWithin(c, 0xFF01, 0xFFEF) || isWithin(c, 0xF900, 0xFAFF);
}

unsigned stepsOf(char cell) {
  auto const code = static_cast<unsigned char>(cell);
  return code - 35U - (code > '?' ? 1U : 0U) - (code > '\\' ? 1U : 0U);
}

/// Another way to write a letter of the same meaning.
struct Variant {
  char16_t letter, variant;
};
constexpr Variant kVariants[] = {{0x219, 0x15F}, {0x21B, 0x163}, {0x64A, 0x6CC}, {0x643, 0x6A9}};

}  // namespace

Script scriptOf(char16_t c) {
  if (c < 0x80) return (c | 0x20) >= 'a' && (c | 0x20) <= 'z' ? Script::Latin : Script::None;
  if (c == 0xAA || c == 0xBA || c == 0xB5 || c == 0xD7 || c == 0xF7 || c == 0x192) return Script::None;
  if (isWithin(c, 0xC0, 0x24F) || isWithin(c, 0x1E00, 0x1EFF) || isWithin(c, 0x300, 0x323)) return Script::Latin;
  if (isWithin(c, 0x386, 0x3FF) && c != 0x387) return Script::Greek;
  if (isWithin(c, 0x400, 0x4FF)) return Script::Cyrillic;
  if (isWithin(c, 0x5B0, 0x5F2)) return Script::Hebrew;
  if (isWithin(c, 0x621, 0x652) || isWithin(c, 0x671, 0x6D3) || c == 0x200C || c == 0x200D) return Script::Arabic;
  if (isWithin(c, 0xE01, 0xE3A) || isWithin(c, 0xE40, 0xE4E)) return Script::Thai;
  return isEastAsian(c) ? Script::EastAsian : Script::None;
}

/// The letters and the matrix of one language, unpacked.
struct LanguageModels::Alphabet {
  explicit Alphabet(LanguageTable const& table) : name(table.name), script(table.script) {
    size = table.letters.size() + 1;
    index.assign(kLetterSpace, kNoLetter);
    for (std::size_t i = 0; i < table.letters.size(); ++i) index[table.letters[i]] = static_cast<std::uint8_t>(i + 1);
    for (Variant const& known : kVariants)
      if (index[known.letter] != kNoLetter && (script != Script::Latin || index[known.variant] == kNoLetter))
        index[known.variant] = index[known.letter];
    steps.resize(size * size);
    std::transform(table.costs.begin(), table.costs.end(), steps.begin(),
                   [](char cell) { return static_cast<std::uint8_t>(stepsOf(cell)); });
  }

  std::uint8_t find(char16_t c) const { return c < kLetterSpace ? index[c] : kNoLetter; }

  Nats costOf(std::u16string_view word) const {
    unsigned sum = 0;
    std::size_t before = 0;
    for (char16_t const c : word) {
      std::uint8_t const letter = find(c);
      if (letter == kNoLetter)
        sum += kForeignLetter;
      else
        sum += before == kNoLetter ? kAfterForeign : steps[before * size + letter];
      before = letter;
    }
    sum += before == kNoLetter ? kAfterForeign : steps[before * size];
    return static_cast<Nats>(sum) * kCostStep;
  }

  char const* name;
  Script script;
  std::size_t size;
  std::vector<std::uint8_t> index;
  std::vector<std::uint8_t> steps;
};

LanguageModels::LanguageModels() : kAlphabetic_(languageTables().size()) {
  alphabets_.reserve(kAlphabetic_);
  for (LanguageTable const& table : languageTables()) alphabets_.emplace_back(table);
}

LanguageModels::~LanguageModels() = default;

LanguageModels const& LanguageModels::instance() {
  static LanguageModels const models;
  return models;
}

Script LanguageModels::scriptOf(std::size_t language) const {
  return language < kAlphabetic_ ? alphabets_[language].script : Script::EastAsian;
}

char const* LanguageModels::nameOf(std::size_t language) const {
  constexpr std::array kNames = {"Japanese", "Simplified", "Traditional", "Korean"};
  return language < kAlphabetic_ ? alphabets_[language].name : kNames[language - kAlphabetic_];
}

void LanguageModels::costsOf(std::u16string_view word, Script script, std::vector<Nats>& costs) const {
  costs.assign(count(), kImpossible);
  if (script == Script::EastAsian) {
    for (std::size_t i = 0; i < kEastAsian; ++i)
      costs[kAlphabetic_ + i] = eastAsianCost(static_cast<EastAsian>(i), word);
    return;
  }
  for (std::size_t i = 0; i < kAlphabetic_; ++i)
    if (alphabets_[i].script == script) costs[i] = alphabets_[i].costOf(word);
}

std::size_t LanguageModels::foreignLetters(std::u16string_view word, Script script) const {
  std::size_t fewest = script == Script::EastAsian ? 0 : word.size();
  for (Alphabet const& alphabet : alphabets_) {
    if (alphabet.script != script || fewest == 0) continue;
    auto const isForeign = [&alphabet](char16_t c) { return alphabet.find(c) == kNoLetter; };
    fewest = std::min(fewest, static_cast<std::size_t>(std::count_if(word.begin(), word.end(), isForeign)));
  }
  return fewest;
}

}  // namespace fl::i18n
