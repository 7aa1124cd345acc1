// SPDX-License-Identifier: Apache-2.0
#include "foundation/i18n/LegacyText.hpp"

#include <algorithm>
#include <memory>
#include <new>
#include <unicode/ucsdet.h>

#include "foundation/core/Unicode.hpp"
#include "foundation/i18n/ThaiText.hpp"

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

// Of ICU's detector; empty where it has no idea.
std::string likeliestCharset(std::string_view sample) {
  UErrorCode error = U_ZERO_ERROR;
  std::unique_ptr<UCharsetDetector, DetectorCloser> const detector(ucsdet_open(&error));
  ucsdet_setText(detector.get(), sample.data(), static_cast<int32_t>(sample.size()), &error);
  int32_t count = 0;
  UCharsetMatch const** const matches = ucsdet_detectAll(detector.get(), &count, &error);
  throwIfOutOfMemory(error);
  for (int32_t i = 0; U_SUCCESS(error) && i < count; ++i) {
    char const* const name = ucsdet_getName(matches[i], &error);
    if (U_SUCCESS(error) && isCandidate(name)) return name;
  }
  return {};
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
  std::vector<std::string> charsets;
  if (std::string name = likeliestCharset(sample); !name.empty()) charsets.push_back(std::move(name));
  for (Superset const& known : kSupersets)
    if (!charsets.empty() && charsets.front() == known.charset) charsets.emplace_back(known.superset);
  return charsets;
}

}  // namespace fl::i18n
