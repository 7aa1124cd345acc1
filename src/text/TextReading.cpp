// SPDX-License-Identifier: Apache-2.0
#include "text/TextReading.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <unicode/uchar.h>

namespace fl::i18n {
namespace {

// A word of another language than the text's: its share among the words, and which language it is.
constexpr Nats kForeignWord = 8, kLatinAmongOthers = 2.5F, kNativeWord = 0.08F;
constexpr Nats kMixedScripts = 11, kOdd = 3, kLatinBesideEastAsian = 2.5F;

enum State { Letters, Digits, Punctuation, Typography, Signs, Lines, Ends };  // an end is a start where it stands first

struct Sign {
  char16_t c;
  Nats cost;
};

/// What stands with words, and what it costs among its kind.
constexpr Sign kTypography[] = {
    {u'\u201C', 2.5F}, {u'\u201D', 2.3F}, {u'\u2018', 3.5F}, {u'\u2019', 1.6F}, {u'\u201E', 2.7F}, {u'\u201A', 5},
    {u'\u2013', 2.2F}, {u'\u2014', 2.4F}, {u'\u2026', 2.6F}, {u'\u00AB', 2.4F}, {u'\u00BB', 2.4F}, {u'\u00A0', 2.5F},
    {u'\u00BF', 3.2F}, {u'\u00A1', 3.6F}, {u'\u2022', 3.5F}, {u'\u2039', 6},    {u'\u203A', 6},    {u'\u00B4', 5},
    {u'\u00B7', 4},    {u'\u060C', 2.2F}, {u'\u061F', 3},    {u'\u061B', 4},    {u'\u05BE', 3},    {u'\u05F3', 4.5F},
    {u'\u05F4', 4},    {u'\u2015', 5},    {u'\u00AD', 7},    {u'\u0387', 6},    {u'\u200E', 6},    {u'\u200F', 6},
    {u'\u02BC', 6}};
constexpr Sign kSigns[] = {
    {u'\u00B0', 1.5F}, {u'\u20AC', 1.6F}, {u'\u00A7', 2.5F}, {u'\u00A3', 2.3F}, {u'\u00A9', 2.4F}, {u'\u00AE', 3.3F},
    {u'\u2122', 4},    {u'\u00B2', 3},    {u'\u00B3', 4},    {u'\u00BD', 3.3F}, {u'\u00BC', 4.5F}, {u'\u00BE', 5},
    {u'\u00B1', 4},    {u'\u00D7', 3.5F}, {u'\u00F7', 6},    {u'\u00B5', 4.5F}, {u'\u00BA', 3.6F}, {u'\u00AA', 4},
    {u'\u2116', 2.5F}, {u'\u00A2', 5.5F}, {u'\u00A5', 5.5F}, {u'\u00B6', 6},    {u'\u2020', 6},    {u'\u2021', 7},
    {u'\u2030', 6},    {u'\u2264', 6},    {u'\u2265', 6},    {u'\u2260', 6.5F}, {u'\u2248', 6.5F}, {u'\u20AA', 4.5F},
    {u'\u0E3F', 3},    {u'\u0E2F', 4},    {u'\u0E46', 3},    {u'\u0E4F', 6},    {u'\u20AB', 5}};
constexpr Nats kOtherSign = 9, kLine = 3, kNoCharacter = 14, kDamage = 5, kUnit = 1, kRule = 1.5F;

/// What follows what: letters (as a word), digits, punctuation, typography, signs, lines of boxes, the token's end. The
/// last row begins a token.
constexpr std::array<std::array<Nats, 7>, 7> kTransitions = {{{6, 5, 1.8F, 3.6F, 7, 9, 0.25F},
                                                              {3.5F, 0.7F, 1.9F, 4.5F, 4, 7, 1.1F},
                                                              {1.3F, 2.5F, 2, 3.5F, 5, 7, 0.8F},
                                                              {0.7F, 3, 2, 3.5F, 5, 7, 1.1F},
                                                              {4.5F, 1.5F, 1.8F, 4, 4.5F, 6, 0.7F},
                                                              {5, 5, 5, 6, 5.5F, 0.1F, 2.5F},
                                                              {0.16F, 3, 2.8F, 4.2F, 5.2F, 6.5F, 9}}};

// Within a word, or right after one, most of what parts words does not stand.
constexpr Nats kWithinWord = 5, kOpeningAfterWord = 5, kDashAfterWord = 2;

bool isAmong(char16_t c, std::u16string_view signs) { return signs.find(c) != std::u16string_view::npos; }

/// What a sign right behind a letter costs beyond itself.
Nats placeCost(char16_t c, char16_t after) {
  if (isAmong(c, u"\u201A\u201E\u00BF\u00A1")) return kOpeningAfterWord;
  if (c < 0x80 || isAmong(c, u"\u2019\u00B7\u00A0\u05F3\u05F4\u05BE\u00AD")) return 0;
  if (scriptOf(after) != Script::None) return kWithinWord;
  return isAmong(c, u"\u2013\u2014\u2018") ? kDashAfterWord : 0;
}

bool isLine(char16_t c) { return c >= 0x2500 && c <= 0x25FF; }

template <std::size_t kSize>
Nats costAmong(Sign const (&signs)[kSize], char16_t c) {
  auto const* const found = std::find_if(std::begin(signs), std::end(signs), [c](Sign s) { return s.c == c; });
  return found == std::end(signs) ? kImpossible : found->cost;
}

bool isCharacter(char16_t c) {
  constexpr std::uint32_t kNone =
      U_GC_CC_MASK | U_GC_CO_MASK | U_GC_CN_MASK | U_GC_CS_MASK;  // controls, private use, unassigned, surrogates
  return c != 0xFFFD && (U_GET_GC_MASK(c) & kNone) == 0;
}

struct Classified {
  State state;
  Nats cost;
};

Classified classified(char16_t c) {
  if (c >= '0' && c <= '9') return {Digits, 2.3F};
  if (c > 0x20 && c < 0x7F) return {Punctuation, 2.5F};
  if (isLine(c)) return {Lines, kLine};
  if (Nats const cost = costAmong(kTypography, c); cost < kImpossible) return {Typography, cost};
  if (Nats const cost = costAmong(kSigns, c); cost < kImpossible) return {Signs, cost};
  if (c == 0xFFFD) return {Signs, kDamage};
  return {Signs, isCharacter(c) ? kOtherSign : kNoCharacter};
}

/// Words are small, begin with a capital or are all capitals; anything else costs by the number of changes.
Nats costOfCase(std::u16string_view word) {
  std::size_t capitals = 0, rises = 0;
  bool wasSmall = false;
  for (char16_t const c : word) {
    bool const isCapital = u_isupper(c) || u_istitle(c);
    if (isCapital) ++capitals;
    if (isCapital && wasSmall) ++rises;
    if (u_islower(c)) wasSmall = true;
  }
  if (capitals == 0) return 0.2F;
  if (capitals == 1 && rises == 0 && (u_isupper(word[0]) || u_istitle(word[0]))) return word.size() == 1 ? 2.2F : 1.7F;
  if (!wasSmall) return 3.5F;
  return 5 + 4 * static_cast<Nats>(rises) + static_cast<Nats>(capitals) * 0.7F;
}

std::u16string smallLettersOf(std::u16string_view word) {
  std::u16string small(word);
  for (char16_t& c : small) c = static_cast<char16_t>(u_tolower(c));
  return small;
}

std::size_t wordLength(std::u16string_view text, Script script) {
  std::size_t length = 1;
  while (length < text.size() && scriptOf(text[length]) == script) ++length;
  return length;
}

}  // namespace

TextReading::TextReading() : byLanguage_(LanguageModels::instance().count()) {}

void TextReading::addWord(std::u16string_view word, Script script) {
  LanguageModels const& models = LanguageModels::instance();
  std::u16string const small = smallLettersOf(word);
  models.costsOf(small, script, wordCosts_);
  Nats const best = *std::min_element(wordCosts_.begin(), wordCosts_.end());
  auto const beyondAscii = std::count_if(word.begin(), word.end(), [](char16_t c) { return c >= 0x80; });
  if (beyondAscii > 0) foreign_ += models.foreignLetters(small, script);
  letters_ += static_cast<std::size_t>(beyondAscii);
  for (std::size_t i = 0; i < wordCosts_.size(); ++i) {
    bool const isLatinAmongOthers = script == Script::Latin && models.scriptOf(i) != Script::Latin;
    byLanguage_[i] +=
        std::min(wordCosts_[i] + kNativeWord, best + (isLatinAmongOthers ? kLatinAmongOthers : kForeignWord));
  }
  Nats const shared = script == Script::EastAsian ? 0 : costOfCase(word);
  signs_ += shared;
  tokenCost_ += shared + best;
}

void TextReading::add(std::u16string_view token, std::size_t bytes) {
  tokenCost_ = 0;
  Nats signs = 0;
  State state = Ends;
  Script before = Script::None;
  for (std::size_t i = 0; i < token.size();) {
    Script const script = scriptOf(token[i]);
    if (script != Script::None) {
      std::size_t const length = wordLength(token.substr(i), script);
      bool const isBesideEastAsian = script == Script::EastAsian || before == Script::EastAsian;
      if (before != Script::None)
        signs += isBesideEastAsian ? kLatinBesideEastAsian : kMixedScripts;
      else
        signs += kTransitions[state][Letters];
      addWord(token.substr(i, length), script);
      state = Letters;
      i += length;
    } else {
      bool const isRule = i > 0 && token[i] == token[i - 1] && token[i] != 0xFFFD;
      auto const [next, cost] = classified(token[i]);
      char16_t const after = i + 1 < token.size() ? token[i + 1] : u' ';
      signs += isRule ? kRule : kTransitions[state][next] + cost + (state == Letters ? placeCost(token[i], after) : 0);
      bool const isUnit = token[i] == u'\u00B0' && (after == u'C' || after == u'F');
      if (isUnit) signs += kUnit;
      state = next;
      i += isUnit ? 2 : 1;
    }
    before = script;
  }
  signs += kTransitions[state][Ends];
  Nats const noise = kNoise * static_cast<Nats>(bytes);
  signs_ += signs;
  noise_ += noise;
  ++tokens_;
  if (tokenCost_ + signs > noise + kOdd) ++odd_;
}

void TextReading::add(TextReading const& other) {
  for (std::size_t i = 0; i < byLanguage_.size(); ++i) byLanguage_[i] += other.byLanguage_[i];
  signs_ += other.signs_;
  noise_ += other.noise_;
  tokens_ += other.tokens_;
  odd_ += other.odd_;
}

Nats TextReading::cost(std::vector<Nats> const& languages) const {
  Nats least = kImpossible * static_cast<Nats>(tokens_ + 1);
  for (std::size_t i = 0; i < byLanguage_.size(); ++i) least = std::min(least, byLanguage_[i] + languages[i]);
  return signs_ + least;
}

}  // namespace fl::i18n
