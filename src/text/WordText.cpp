// SPDX-License-Identifier: Apache-2.0
#include "text/WordText.hpp"

#include <algorithm>
#include <unicode/uchar.h>
#include <unicode/uscript.h>

namespace fl::i18n {
namespace {

/// Not the signs that count as letters and that no word has inside: ordinals and the florin.
bool isLetter(char16_t c) { return u_isalpha(c) && c != 0xAA && c != 0xBA && c != 0x192; }

UScriptCode scriptOf(char16_t c) {
  UErrorCode error = U_ZERO_ERROR;
  return uscript_getScript(c, &error);
}

/// Of no script, as the ordinal signs and micro are, or of the same one.
bool shareScript(char16_t first, char16_t second) {
  UScriptCode const script = scriptOf(first), other = scriptOf(second);
  return script == other || script == USCRIPT_COMMON || other == USCRIPT_COMMON;
}

/// Signs that do stand between two letters of a word, or of two words: dashes, marks, what is invisible, and a few.
bool joinsLetters(char16_t c) {
  constexpr std::u16string_view kJoiners = u"\u2018\u2019\u00B4\u00B7\u2026\u05F3\u05F4";
  constexpr std::uint32_t kCategories = U_GC_PD_MASK | U_GC_CF_MASK | U_GC_MN_MASK | U_GC_MC_MASK | U_GC_Z_MASK;
  return (U_GET_GC_MASK(c) & kCategories) != 0 || kJoiners.find(c) != std::u16string_view::npos;
}

/// In the place of the sign for any currency, which nobody writes, newer character sets have that of the euro.
bool isUnused(char16_t c) { return c == 0xA4 || u_charType(c) == U_CONTROL_CHAR; }

bool isFit(char16_t before, char16_t c, char16_t after) {
  if (isLetter(c)) return isLetter(before) || isLetter(after);
  return isLetter(before) && isLetter(after) && joinsLetters(c);
}

/// A letter three times over, as rules of dashes look in the wrong set, or a line of a box that touches a letter.
bool isDrawn(char16_t before, char16_t c, char16_t after) {
  if (isLetter(c)) return c >= 0x80 && c == before && c == after;
  return c >= 0x2500 && c < 0x25A0 && (isLetter(before) || isLetter(after));
}

bool isMisfit(char16_t before, char16_t c, char16_t after) {
  if (isDrawn(before, c, after)) return true;
  if (c >= 0x80 && !isLetter(c)) return isUnused(c) || (isLetter(before) && isLetter(after) && !joinsLetters(c));
  if (!isLetter(c) || !isLetter(before)) return false;
  return !shareScript(before, c) || (u_islower(before) && u_isupper(c));
}

}  // namespace

WordFit fitOfWords(std::u16string_view text) {
  WordFit fit;
  char16_t before = u' ';
  for (std::size_t i = 0; i < text.size(); before = text[i++]) {
    char16_t const c = text[i], after = i + 1 < text.size() ? text[i + 1] : u' ';
    if (std::max(before, c) < 0x80) continue;
    if (isMisfit(before, c, after))
      ++fit.misfitting;
    else if (c >= 0x80 && isFit(before, c, after))
      ++fit.fitting;
  }
  return fit;
}

}  // namespace fl::i18n
