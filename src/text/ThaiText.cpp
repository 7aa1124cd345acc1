// SPDX-License-Identifier: Apache-2.0
#include "text/ThaiText.hpp"

#include <cstddef>

namespace fl::i18n {
namespace {

enum class Kind { Ascii, Consonant, LeadingVowel, FollowingVowel, Mark, Sign, None };

// TIS 620-2533, and of the windows code page the ellipsis, quotes, bullet, dashes and no-break space.
Kind kindOf(unsigned char byte) {
  if (byte < 0x80) return Kind::Ascii;
  if (byte >= 0xA1 && byte <= 0xCE) return Kind::Consonant;
  if (byte >= 0xE0 && byte <= 0xE4) return Kind::LeadingVowel;
  if (byte == 0xD0 || byte == 0xD2 || byte == 0xD3 || byte == 0xE5) return Kind::FollowingVowel;
  if (byte == 0xD1 || (byte >= 0xD4 && byte <= 0xDA) || (byte >= 0xE7 && byte <= 0xEE)) return Kind::Mark;
  bool const isSign = byte == 0xCF || byte == 0xDF || byte == 0xE6 || (byte >= 0xEF && byte <= 0xFB);
  bool const isPunctuation = byte == 0x80 || byte == 0x85 || (byte >= 0x91 && byte <= 0x97) || byte == 0xA0;
  return isSign || isPunctuation ? Kind::Sign : Kind::None;
}

// A mark or a following vowel has a consonant, and perhaps marks, before it; a leading vowel one behind it.
bool canFollow(Kind before, Kind kind) {
  if (before == Kind::LeadingVowel) return kind == Kind::Consonant;
  if (kind != Kind::Mark && kind != Kind::FollowingVowel) return true;
  return before == Kind::Consonant || before == Kind::Mark || before == Kind::FollowingVowel;
}

}  // namespace

bool looksThai(std::string_view sample) {
  constexpr std::size_t kFewestLetters = 6;
  std::size_t letters = 0, vowels = 0, faults = 0;
  Kind before = Kind::Ascii;
  for (char const c : sample) {
    Kind const kind = kindOf(static_cast<unsigned char>(c));
    if (kind == Kind::None) return false;
    if (kind != Kind::Ascii) ++letters;
    if (kind == Kind::Mark || kind == Kind::FollowingVowel || kind == Kind::LeadingVowel) ++vowels;
    if (!canFollow(before, kind)) ++faults;
    before = kind;
  }
  // About two letters in five are vowels or marks.
  return letters >= kFewestLetters && vowels * 4 >= letters && vowels * 4 <= letters * 3 && faults * 50 <= letters;
}

}  // namespace fl::i18n
