// SPDX-License-Identifier: Apache-2.0
#include "text/BalticText.hpp"

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

/// Whether the letters beyond ASCII are those of an alphabet, but for some of a foreign name.
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

}  // namespace

bool looksBaltic(std::string_view sample) {
  return std::any_of(std::begin(kAlphabets), std::end(kAlphabets),
                     [sample](std::string_view alphabet) { return isWrittenIn(alphabet, sample); });
}

}  // namespace fl::i18n
