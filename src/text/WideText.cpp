// SPDX-License-Identifier: Apache-2.0
#include "text/WideText.hpp"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <unicode/uchar.h>
#include <unicode/uscript.h>
#include <vector>

#include "text/Ascii.hpp"
#include "text/TextReading.hpp"
#include "text/Unicode.hpp"

namespace fl::i18n {
namespace {

constexpr std::size_t kWideSampleSize = 8192;
constexpr std::size_t kFewestUnits = 2;

enum class Order { Little, Big };

unsigned byteAt(std::string_view bytes, std::size_t position) { return static_cast<unsigned char>(bytes[position]); }

char32_t unitAt(std::string_view bytes, std::size_t position, std::size_t width, Order order) {
  char32_t unit = 0;
  for (std::size_t i = 0; i < width; ++i)
    unit = unit << 8 | byteAt(bytes, position + (order == Order::Big ? i : width - 1 - i));
  return unit;
}

/// Controls that byte text does not use for layout, terminals or separation.
bool isForeignToByteText(unsigned byte) { return byte < 0x08 || (byte >= 0x0E && byte < 0x1A); }
bool isPrintable(unsigned byte) { return byte >= 0x20 && byte < 0x7F; }
bool isControl(unsigned byte) { return byte < 0x20 && byte != '\n' && byte != '\r'; }

template <typename Predicate>
std::size_t countOf(std::string_view bytes, Predicate predicate) {
  auto const holds = [&](char c) { return predicate(static_cast<unsigned char>(c)); };
  return static_cast<std::size_t>(std::count_if(bytes.begin(), bytes.end(), holds));
}

bool isWithin(char32_t c, char32_t first, char32_t last) { return c >= first && c <= last; }

bool isLayout(char32_t c) { return c == '\t' || c == '\n' || c == '\r'; }

/// No text holds such a character.
bool isImpossible(char32_t c) {
  auto const type = static_cast<UCharCategory>(u_charType(static_cast<UChar32>(c)));
  return !isLayout(c) && (type == U_UNASSIGNED || type == U_CONTROL_CHAR || type == U_SURROGATE);
}

/// Characters that are rare in text and frequent in the wrong byte order: rare ideographs, blanks of given widths, and
/// characters whose low byte is 0, which are Latin-1 with the bytes swapped.
bool isSuspicious(char32_t c) {
  constexpr char32_t kOne = 0x4E00, kIdeographicSpace = 0x3000;
  bool const lowByteIsZero = (c & 0xFF) == 0 && c != kOne && c != kIdeographicSpace;
  return lowByteIsZero || isWithin(c, 0x3400, 0x4DBF) || isWithin(c, 0x2000, 0x200A) || isWithin(c, 0xE000, 0xF8FF);
}

/// Weighs how far characters look like one coherent text.
class Coherence {
 public:
  int weigh(char32_t c) {
    if (isLayout(c) || isPrintable(c)) return 3;
    if (isSuspicious(c)) return -3;
    if (isWithin(c, 0x3000, 0x30FF) || isWithin(c, 0xFF01, 0xFFEF)) return 2;  // kana, East Asian punctuation
    if (isWithin(c, 0x4E00, 0x9FFF) || isWithin(c, 0xAC00, 0xD7A3)) return 1;  // ideographs, Hangul
    if (isWithin(c, 0xA0, 0xBF) || isWithin(c, 0x2010, 0x205E) || c > 0xFFFF) return 1;
    return weighLetter(c);
  }

 private:
  /// Neighbouring letters of a text are of one script.
  int weighLetter(char32_t c) {
    UErrorCode error = U_ZERO_ERROR;
    UScriptCode const script = uscript_getScript(static_cast<UChar32>(c), &error);
    if (script == USCRIPT_INHERITED) return 0;
    if (script == USCRIPT_COMMON) return -1;
    bool const same = script == script_;
    script_ = script;
    return same ? 2 : 0;
  }

  UScriptCode script_ = USCRIPT_INVALID_CODE;
};

/// Mean weight of the characters, or nothing where one is impossible.
std::optional<double> coherenceOfUtf16(std::string_view bytes, Order order) {
  Coherence coherence;
  int sum = 0;
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    char32_t c = unitAt(bytes, i, 2, order);
    if (opc::unicode::isHighSurrogate(c) && i + 2 < bytes.size()) {
      char32_t const trail = unitAt(bytes, i + 2, 2, order);
      if (!opc::unicode::isLowSurrogate(trail)) return std::nullopt;
      c = opc::unicode::combine(c, trail);
      i += 2;
    }
    if (opc::unicode::isHighSurrogate(c) && bytes.size() == kWideSampleSize)
      break;  // its other half lies beyond the sample
    if (isImpossible(c)) return std::nullopt;
    sum += coherence.weigh(c);
  }
  return sum / (static_cast<double>(bytes.size()) / 2);
}

bool isUtf32(std::string_view bytes, Order order) {
  for (std::size_t i = 0; i < bytes.size(); i += 4) {
    char32_t const c = unitAt(bytes, i, 4, order);
    if (c > 0x10FFFF || isImpossible(c)) return false;
  }
  return true;
}

/// Whether the bytes may be single-byte text or UTF-8 after all, for instance with NULs as separators.
bool mayBeByteText(std::string_view bytes) {
  std::size_t const foreign = countOf(bytes, isForeignToByteText);
  if (foreign == 0 || foreign < bytes.size() / 100) return true;
  if (opc::ascii::isAscii(bytes)) return countOf(bytes, isControl) * 3 < bytes.size();
  std::size_t const tornOff = bytes.size() == kWideSampleSize ? 3 : 0;  // of the sample's last character
  return opc::unicode::utf8Prefix(bytes) + tornOff >= bytes.size();
}

std::u16string unitsOf(std::string_view bytes, Order order) {
  std::u16string units;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) units += static_cast<char16_t>(unitAt(bytes, i, 2, order));
  return units;
}

/// Whether the words are likelier than random bytes.
bool hasWords(std::string_view bytes, Order order) {
  constexpr std::size_t kEnough = 2048;
  constexpr Nats kOverNoise = 8;
  std::u16string const text = unitsOf(bytes.substr(0, kEnough), order);
  TextReading words;
  std::u16string_view rest = text;
  while (!rest.empty()) {
    std::size_t const end = std::min(rest.find_first_of(u" \t\r\n"), rest.size());
    if (end > 0) words.add(rest.substr(0, end), 2 * end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return words.noise() - words.cost(std::vector<Nats>(LanguageModels::instance().count())) >= kOverNoise;
}

/// Ideographs and Hangul are most of what pairs of bytes can be. They convince only where the single bytes look
/// unlike words, and the pairs are words.
bool convinces(double coherence, std::string_view bytes, Order order) {
  constexpr std::size_t kLong = 64;
  if (coherence >= 1.3) return bytes.size() >= kLong || hasWords(bytes, order);
  return coherence >= 0.9 && countOf(bytes, isPrintable) <= bytes.size() * 6 / 10 && hasWords(bytes, order);
}

std::string guessUtf16(std::string_view sample) {
  double const little = coherenceOfUtf16(sample, Order::Little).value_or(-9);
  double const big = coherenceOfUtf16(sample, Order::Big).value_or(-9);
  Order const order = little > big ? Order::Little : Order::Big;
  if (!convinces(std::max(little, big), sample, order)) return {};
  return order == Order::Little ? "UTF-16LE" : "UTF-16BE";
}

}  // namespace

std::string guessWideCharset(std::string_view bytes) {
  std::string_view const sample = bytes.substr(0, kWideSampleSize);
  if (bytes.size() % 2 != 0 || bytes.size() < 2 * kFewestUnits || mayBeByteText(sample)) return {};
  if (bytes.size() % 4 == 0 && bytes.size() >= 4 * kFewestUnits) {
    if (isUtf32(sample, Order::Little)) return "UTF-32LE";
    if (isUtf32(sample, Order::Big)) return "UTF-32BE";
  }
  return guessUtf16(sample);
}

}  // namespace fl::i18n
