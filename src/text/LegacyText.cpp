// SPDX-License-Identifier: Apache-2.0
#include "text/LegacyText.hpp"

#include <algorithm>
#include <memory>
#include <new>
#include <optional>
#include <unicode/ucsdet.h>

#include "opc/Strings.hpp"
#include "text/BalticText.hpp"
#include "text/CharsetDecoder.hpp"
#include "text/ThaiText.hpp"
#include "text/Unicode.hpp"
#include "text/WordText.hpp"

namespace fl::i18n {
namespace {

constexpr std::size_t kSampleSize = 8192;

/// The Windows code page that holds what a set of ISO 8859 holds and more, in the same places (near enough: what
/// differs is no letter of the language).
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

// Nothing is designated where not a single character follows.
bool isDesignation(std::string_view bytes, std::string_view escape) {
  return bytes.starts_with(escape) && bytes.size() >= escape.size() + 2;
}

struct DetectorCloser {
  void operator()(UCharsetDetector* detector) const noexcept { ucsdet_close(detector); }
};

void throwIfOutOfMemory(UErrorCode error) {
  if (error == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
}

// UTF was decided by stricter means, and EBCDIC is not the text of this world's files.
bool isCandidate(std::string_view name) { return !name.starts_with("UTF-") && !name.starts_with("IBM"); }

struct Likely {
  std::string charset;
  bool isSure;  // and of several bytes a character
};

bool hasSingleBytes(std::string_view name) {
  return name.starts_with("ISO-8859-") || name.starts_with("windows-") || name.starts_with("KOI8-");
}

// By ICU's detector, the likeliest first. What it is sure to be text of several bytes a character is nothing else,
// be it damaged: as single bytes nearly everything passes.
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

bool isLetter(std::string_view sample, std::size_t at) {
  return at < sample.size() && static_cast<unsigned char>(sample[at]) >= 0xC0;
}

// Ukrainian letters stand in KOI8-U where KOI8-R has lines for boxes, which do not touch letters.
bool hasUkrainianLetters(std::string_view sample) {
  constexpr std::string_view kLetters = "\xA4\xA6\xA7\xAD\xB4\xB6\xB7\xBD";
  for (std::size_t at = sample.find_first_of(kLetters); at < sample.size(); at = sample.find_first_of(kLetters, at + 1))
    if (isLetter(sample, at + 1) || (at > 0 && isLetter(sample, at - 1))) return true;
  return false;
}

// A capital alpha with tonos begins words in windows-1253 where ISO 8859-7 has the apostrophe that ends them.
bool hasWindowsAlpha(std::string_view sample) {
  for (std::size_t at = sample.find('\xA2'); at < sample.size(); at = sample.find('\xA2', at + 1))
    if (isLetter(sample, at + 1) && (at == 0 || !isLetter(sample, at - 1))) return true;
  return false;
}

// Tells apart what ICU does not, by the letters that only one of the two has.
std::string refined(std::string const& charset, std::string_view sample) {
  if (charset == "KOI8-R" && hasUkrainianLetters(sample)) return "KOI8-U";
  if (charset == "ISO-8859-7" && hasWindowsAlpha(sample)) return "windows-1253";
  return charset;
}

/// What ICU's detector does not know and takes for a set with other letters or signs in the same places.
constexpr char const* kUnknownToICU[] = {"ISO-8859-15", "macintosh", "x-mac-cyrillic", "IBM866", "IBM850", "IBM852"};

// Nothing where the bytes cannot be of that set.
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

// One such set in which the words are whole that ICU's guess tears apart; empty for none.
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
    std::size_t const ascii = opc::unicode::asciiPrefix(bytes);
    if (ascii == bytes.size()) break;
    // A line feed is never a part of another character, and so neither is what follows it.
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
