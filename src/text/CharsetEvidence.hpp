// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "text/CharsetCandidates.hpp"
#include "text/TextReading.hpp"
#include "text/TextSample.hpp"

namespace fl::i18n {

/// One way to read the bytes of a sample, and what speaks for it.
struct Reading {
  std::vector<std::string> charsets;  // in all of which the sample reads the same, the likeliest first
  CharsetKind kind;
  std::u16string text;
  TextReading words;
  Nats cost;

  Nats overNoise() const { return words.noise() - cost; }
};

/// The readings of a sample in all character sets that it may be in, the likeliest first. Damaged UTF-8 and EBCDIC are
/// among them.
std::vector<Reading> readingsOf(TextSample const& sample);

/// The reading in one character set, which need not be among the candidates; nothing where the sample is not in it.
std::optional<Reading> readAs(std::string const& charset, TextSample const& sample);

/// Whether a token of the sample, read as a whole in `charset`, makes much more sense as UTF-8: the text is a mixture.
bool holdsUtf8(TextSample const& sample, std::string const& charset);

/// Whether `text` ends like UTF-8 that was cut within a character, and not like text in `charset`.
bool endsWithinUtf8(std::string_view text, std::string const& charset);

}  // namespace fl::i18n
