// SPDX-License-Identifier: Apache-2.0
#include "text/LegacyText.hpp"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <unicode/ucsdet.h>

#include "opc/Strings.hpp"
#include "text/Ascii.hpp"
#include "text/CharsetDecoder.hpp"
#include "text/LanguageSigns.hpp"

namespace fl::i18n {
namespace {

constexpr std::size_t kSampleSize = 8192;

/// The Windows code page that has the characters of a set of ISO 8859 in the same places, and more. The few
/// differences are no letters of the language.
struct Superset {
  char const* charset;
  char const* superset;
};
constexpr Superset kSupersets[] = {{"ISO-8859-1", "windows-1252"},
                                   {"ISO-8859-7", "windows-1253"},
                                   {"ISO-8859-8", "windows-1255"},
                                   {"ISO-8859-8-I", "windows-1255"},
                                   {"ISO-8859-9", "windows-1254"}};

/// A designation of ISO/IEC 2022 that begins text of several bytes a character.
struct Designation {
  char const* escape;
  char const* charset;
};
constexpr Designation kDesignations[] = {
    {"\x1B$@", "ISO-2022-JP"},  {"\x1B$B", "ISO-2022-JP"},  {"\x1B$(D", "ISO-2022-JP-1"},
    {"\x1B$)C", "ISO-2022-KR"}, {"\x1B$)A", "ISO-2022-CN"}, {"\x1B$)G", "ISO-2022-CN"},
};

// A designation without a character behind it says nothing.
bool isDesignation(std::string_view bytes, std::string_view escape) {
  return bytes.starts_with(escape) && bytes.size() >= escape.size() + 2;
}

struct DetectorCloser {
  void operator()(UCharsetDetector* detector) const noexcept { ucsdet_close(detector); }
};

// UTF is decided by stricter means, and files are not written in EBCDIC.
bool isCandidate(std::string_view name) { return !name.starts_with("UTF-") && !name.starts_with("IBM"); }

struct Likely {
  std::string charset;
  bool isSure;  // of a set of several bytes a character
};

bool hasSingleBytes(std::string_view name) {
  return name.starts_with("ISO-8859-") || name.starts_with("windows-") || name.starts_with("KOI8-");
}

// Asks ICU's detector; the likeliest comes first. Once it is sure of a set of several bytes a character, no further
// set counts, even if the text is damaged: as single bytes nearly everything passes.
std::vector<Likely> likelyCharsets(std::string_view sample) {
  constexpr int32_t kSure = 50;
  UErrorCode error = U_ZERO_ERROR;
  std::unique_ptr<UCharsetDetector, DetectorCloser> const detector(ucsdet_open(&error));
  ucsdet_setText(detector.get(), sample.data(), static_cast<int32_t>(sample.size()), &error);
  int32_t count = 0;
  UCharsetMatch const** const matches = ucsdet_detectAll(detector.get(), &count, &error);
  throwIfOutOfMemory(error);
  std::vector<Likely> charsets;
  for (int32_t i = 0; U_SUCCESS(error) && i < count; ++i) {
    std::string const name = ucsdet_getName(matches[i], &error);
    if (!isCandidate(name)) continue;
    bool const isSure = !hasSingleBytes(name) && ucsdet_getConfidence(matches[i], &error) >= kSure;
    charsets.push_back({name, isSure});
    if (isSure) break;
  }
  return charsets;
}

// Distinguishes sets that ICU takes for one, by letters that only one of them has.
std::string refined(std::string const& charset, std::string_view sample) {
  if (charset == "KOI8-R" && hasUkrainianLetters(sample)) return "KOI8-U";
  if (charset == "ISO-8859-7" && hasWindowsAlpha(sample)) return "windows-1253";
  return charset;
}

/// Sets that ICU's detector does not know. It takes them for others with different characters in the same places.
constexpr char const* kUnknownToICU[] = {"ISO-8859-15", "macintosh", "x-mac-cyrillic", "IBM866", "IBM850", "IBM852"};

// Empty where the bytes cannot be of that set.
std::optional<WordFit> fitAs(std::string const& charset, std::string_view sample) {
  try {
    std::u16string text;
    CharsetDecoder decoder(charset, CharsetDecoder::Invalid::Throw);
    decoder.decode(sample, [&text](std::u16string_view piece) { return text.append(piece), true; });
    return fitOfWords(text);
  } catch (opc::UndecodableText const&) {
    return std::nullopt;
  }
}

// The set, of those that ICU does not know, in which the words are whole that ICU's guess tears apart; empty for none.
std::string betterThan(std::string const& guess, std::string_view sample) {
  constexpr std::size_t kFewest = 3, kTimesBetter = 4;
  auto const guessed = fitAs(guess, sample);
  std::size_t const torn = guessed ? guessed->misfitting : sample.size();
  std::size_t const whole = std::max(kFewest, guessed ? guessed->fitting : 0);
  std::size_t fewest = torn / kTimesBetter + 1;
  std::string best;
  for (char const* const charset : kUnknownToICU) {
    auto const fit = fitAs(charset, sample);
    bool const isWhole = fit && fit->fitting >= std::max(whole, kTimesBetter * fit->misfitting);
    if (torn == 0 || !isWhole || fit->misfitting >= fewest) continue;
    best = charset;
    fewest = fit->misfitting;
  }
  return best;
}

}  // namespace

std::string guessEscapedCharset(std::string_view bytes) {
  for (std::size_t at = bytes.find('\x1B'); at != std::string_view::npos; at = bytes.find('\x1B', at + 1))
    for (Designation const& designation : kDesignations)
      if (isDesignation(bytes.substr(at), designation.escape)) return designation.charset;
  return {};
}

std::string sampleBeyondAscii(std::string_view bytes) {
  std::string sample;
  while (sample.size() < kSampleSize) {
    std::size_t const ascii = opc::ascii::prefixLength(bytes);
    if (ascii == bytes.size()) break;
    // A line feed is never part of another character, so that a line begins with a whole character.
    std::size_t const lineStart = bytes.rfind('\n', ascii) + 1;
    std::size_t const start = std::max(lineStart, ascii - std::min(ascii, kSampleSize / 4));
    std::size_t const length = std::min(bytes.find('\n', ascii), bytes.size() - 1) + 1 - start;
    sample += bytes.substr(start, std::min(length, kSampleSize - sample.size()));
    bytes.remove_prefix(start + length);
  }
  return sample;
}

std::vector<std::string> guessLegacyCharsets(std::string_view sample) {
  if (looksThai(sample)) return {"windows-874"};
  if (looksBaltic(sample)) return {"windows-1257"};
  std::vector<std::string> charsets;
  for (auto const& [likely, isSure] : likelyCharsets(sample)) {
    std::string const guess = refined(likely, sample);
    if (charsets.empty() && !isSure)
      if (std::string const better = betterThan(guess, sample); !better.empty()) charsets.push_back(better);
    charsets.push_back(guess);
    for (Superset const& known : kSupersets)
      if (likely == known.charset) charsets.emplace_back(known.superset);
  }
  return charsets;
}

}  // namespace fl::i18n
