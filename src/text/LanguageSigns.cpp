// SPDX-License-Identifier: Apache-2.0
#include "text/LanguageSigns.hpp"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>
#include <unicode/uchar.h>
#include <unicode/uscript.h>

namespace fl::i18n {
namespace {

// The small letters beyond ASCII; each capital is 0x20 below its small letter.
constexpr std::string_view kAlphabets[] = {
    "\xE0\xE1\xE6\xE8\xEB\xF0\xF8\xFB\xFE",          // Lithuanian
    "\xE2\xE7\xE8\xEC\xED\xEE\xEF\xF0\xF2\xFB\xFE",  // Latvian
    "\xE4\xF0\xF5\xF6\xFC\xFE",                      // Estonian
};
// s and z with caron. As Western text the two bytes are letters of Icelandic alone, which has other vowels.
constexpr std::string_view kCarons = "\xF0\xFE";

/// Whether nearly all letters beyond ASCII are of an alphabet. A few of a foreign name may stand among them.
bool isWrittenIn(std::string_view alphabet, std::string_view sample) {
  constexpr std::size_t kFewestDistinct = 4, kToEachForeign = 9;
  std::string distinct;
  std::size_t known = 0, foreign = 0;
  for (char const c : sample) {
    auto const byte = static_cast<unsigned char>(c);
    char const small = static_cast<char>(byte | 0x20);
    if (byte < 0xC0) continue;
    bool const isKnown = alphabet.find(small) != std::string_view::npos;
    ++(isKnown ? known : foreign);
    if (isKnown && distinct.find(small) == std::string::npos) distinct += small;
  }
  bool const hasCaron = distinct.find_first_of(kCarons) != std::string::npos;
  return hasCaron && distinct.size() >= kFewestDistinct && known >= kToEachForeign * foreign;
}

enum class ThaiKind { Ascii, Consonant, LeadingVowel, FollowingVowel, Mark, Sign, None };

// TIS 620-2533, and the ellipsis, quotes, bullet, dashes and no-break space of the windows code page.
ThaiKind kindOf(unsigned char byte) {
  if (byte < 0x80) return ThaiKind::Ascii;
  if (byte >= 0xA1 && byte <= 0xCE) return ThaiKind::Consonant;
  if (byte >= 0xE0 && byte <= 0xE4) return ThaiKind::LeadingVowel;
  if (byte == 0xD0 || byte == 0xD2 || byte == 0xD3 || byte == 0xE5) return ThaiKind::FollowingVowel;
  if (byte == 0xD1 || (byte >= 0xD4 && byte <= 0xDA) || (byte >= 0xE7 && byte <= 0xEE)) return ThaiKind::Mark;
  bool const isSign = byte == 0xCF || byte == 0xDF || byte == 0xE6 || (byte >= 0xEF && byte <= 0xFB);
  bool const isPunctuation = byte == 0x80 || byte == 0x85 || (byte >= 0x91 && byte <= 0x97) || byte == 0xA0;
  return isSign || isPunctuation ? ThaiKind::Sign : ThaiKind::None;
}

// A mark or a following vowel stands behind a consonant and perhaps marks; a leading vowel stands before a consonant.
bool canFollow(ThaiKind before, ThaiKind kind) {
  if (before == ThaiKind::LeadingVowel) return kind == ThaiKind::Consonant;
  if (kind != ThaiKind::Mark && kind != ThaiKind::FollowingVowel) return true;
  return before == ThaiKind::Consonant || before == ThaiKind::Mark || before == ThaiKind::FollowingVowel;
}

bool isLetterAt(std::string_view sample, std::size_t at) {
  return at < sample.size() && static_cast<unsigned char>(sample[at]) >= 0xC0;
}

/// Not the ordinal signs and the florin: ICU counts them as letters, but no word has them inside.
bool isLetter(char16_t c) { return u_isalpha(c) && c != 0xAA && c != 0xBA && c != 0x192; }

UScriptCode scriptOf(char16_t c) {
  UErrorCode error = U_ZERO_ERROR;
  return uscript_getScript(c, &error);
}

/// Characters of no script, such as the ordinal signs and micro, go with every other one.
bool shareScript(char16_t first, char16_t second) {
  UScriptCode const script = scriptOf(first), other = scriptOf(second);
  return script == other || script == USCRIPT_COMMON || other == USCRIPT_COMMON;
}

/// Signs that may stand between two letters of a word, or of two words: dashes, marks, invisible ones and a few more.
bool joinsLetters(char16_t c) {
  constexpr std::u16string_view kJoiners = u"\u2018\u2019\u00B4\u00B7\u2026\u05F3\u05F4";
  constexpr std::uint32_t kCategories = U_GC_PD_MASK | U_GC_CF_MASK | U_GC_MN_MASK | U_GC_MC_MASK | U_GC_Z_MASK;
  return (U_GET_GC_MASK(c) & kCategories) != 0 || kJoiners.find(c) != std::u16string_view::npos;
}

/// Nobody writes the general currency sign; newer character sets have the euro sign in its place.
bool isUnused(char16_t c) { return c == 0xA4 || u_charType(c) == U_CONTROL_CHAR; }

bool isFit(char16_t before, char16_t c, char16_t after) {
  if (isLetter(c)) return isLetter(before) || isLetter(after);
  return isLetter(before) && isLetter(after) && joinsLetters(c);
}

/// The same letter three times, as a rule of dashes looks in the wrong set, or a line of a box that touches a letter.
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

bool looksBaltic(std::string_view sample) {
  return std::any_of(std::begin(kAlphabets), std::end(kAlphabets),
                     [sample](std::string_view alphabet) { return isWrittenIn(alphabet, sample); });
}

bool looksThai(std::string_view sample) {
  constexpr std::size_t kFewestLetters = 6;
  std::size_t letters = 0, vowels = 0, faults = 0;
  ThaiKind before = ThaiKind::Ascii;
  for (char const c : sample) {
    ThaiKind const kind = kindOf(static_cast<unsigned char>(c));
    if (kind == ThaiKind::None) return false;
    if (kind != ThaiKind::Ascii) ++letters;
    if (kind == ThaiKind::Mark || kind == ThaiKind::FollowingVowel || kind == ThaiKind::LeadingVowel) ++vowels;
    if (!canFollow(before, kind)) ++faults;
    before = kind;
  }
  // About two letters in five are vowels or marks.
  return letters >= kFewestLetters && vowels * 4 >= letters && vowels * 4 <= letters * 3 && faults * 50 <= letters;
}

bool hasUkrainianLetters(std::string_view sample) {
  constexpr std::string_view kLetters = "\xA4\xA6\xA7\xAD\xB4\xB6\xB7\xBD";
  for (std::size_t at = sample.find_first_of(kLetters); at < sample.size(); at = sample.find_first_of(kLetters, at + 1))
    if (isLetterAt(sample, at + 1) || (at > 0 && isLetterAt(sample, at - 1))) return true;
  return false;
}

bool hasWindowsAlpha(std::string_view sample) {
  for (std::size_t at = sample.find('\xA2'); at < sample.size(); at = sample.find('\xA2', at + 1))
    if (isLetterAt(sample, at + 1) && (at == 0 || !isLetterAt(sample, at - 1))) return true;
  return false;
}

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
