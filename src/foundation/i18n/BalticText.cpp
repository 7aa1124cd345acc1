// SPDX-License-Identifier: Apache-2.0
#include "foundation/i18n/BalticText.hpp"

#include <algorithm>
#include <string>

namespace fl::i18n {
namespace {

// The small letters beyond ASCII; the capitals are 0x20 below.
constexpr std::string_view kAlphabets[] = {
    "\xE0\xE1\xE6\xE8\xEB\xF0\xF8\xFB\xFE",          // Lithuanian
    "\xE2\xE7\xE8\xEC\xED\xEE\xEF\xF0\xF2\xFB\xFE",  // Latvian
    "\xE4\xF0\xF5\xF6\xFC\xFE",                      // Estonian
};
// Only Icelandic has as Western text what is s and z with caron, and it has other vowels.
constexpr std::string_view kCarons = "\xF0\xFE";

/// Each of the small letters, once.
std::string lettersOf(std::string_view sample) {
  std::string letters;
  for (char const c : sample) {
    auto const byte = static_cast<unsigned char>(c);
    char const small = static_cast<char>(byte | 0x20);
    if (byte >= 0xC0 && letters.find(small) == std::string::npos) letters += small;
  }
  return letters;
}

}  // namespace

bool looksBaltic(std::string_view sample) {
  constexpr std::size_t kFewestLetters = 4;
  std::string const letters = lettersOf(sample);
  if (letters.size() < kFewestLetters || letters.find_first_of(kCarons) == std::string::npos) return false;
  return std::any_of(std::begin(kAlphabets), std::end(kAlphabets), [&](std::string_view alphabet) {
    return letters.find_first_not_of(alphabet) == std::string::npos;
  });
}

}  // namespace fl::i18n
