// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

/// Signs of languages in bytes and words beyond ASCII, for the character sets that ICU's detector does not know or
/// does not distinguish.
namespace fl::i18n {

/// Whether bytes beyond ASCII are Lithuanian, Latvian or Estonian in windows-1257 (and ISO-8859-13). Read as Western
/// text, the letters would be of languages that never meet.
bool looksBaltic(std::string_view sample);

/// Whether bytes beyond ASCII are Thai in TIS-620 (and windows-874, ISO-8859-11). Thai letters combine by rules that
/// other text keeps only by chance.
bool looksThai(std::string_view sample);

/// Whether text in KOI8 has Ukrainian letters. They stand in KOI8-U where KOI8-R has lines of boxes, which do not
/// touch letters.
bool hasUkrainianLetters(std::string_view sample);

/// Whether Greek text has windows-1253's capital alpha with tonos, which begins words. ISO 8859-7 has the apostrophe
/// there, which ends them.
bool hasWindowsAlpha(std::string_view sample);

/// How the characters beyond ASCII fit into the words of a text. Read in the wrong character set, words come out
/// with signs or capitals inside, or in letters of two scripts.
struct WordFit {
  std::size_t fitting = 0;     // letters and apostrophes that words have there
  std::size_t misfitting = 0;  // characters that no word has there
};

WordFit fitOfWords(std::u16string_view text);

}  // namespace fl::i18n
