// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "opc/Strings.hpp"
#include "text/Ascii.hpp"
#include "text/CharsetDecoder.hpp"
#include "text/CharsetEvidence.hpp"
#include "text/I18n.hpp"
#include "text/Unicode.hpp"
#include "text/WideText.hpp"

namespace fl::i18n {
namespace {

using namespace std::string_view_literals;
using opc::UndecodableText;

constexpr char kUTF8[] = "UTF-8";
constexpr char kASCII[] = "US-ASCII";

struct Mark {
  std::string_view bytes;
  char const* charset;
};

// The Unicode Standard, 23.8. The mark of UTF-32LE begins with that of UTF-16LE. UTF-16 with a NUL behind its mark is
// not told from it: UTF-32 that was cut is the likelier of the two, and an error.
constexpr Mark kMarks[] = {{"\xFF\xFE\0\0"sv, "UTF-32LE"},
                           {"\0\0\xFE\xFF"sv, "UTF-32BE"},
                           {"\xFF\xFE"sv, "UTF-16LE"},
                           {"\xFE\xFF"sv, "UTF-16BE"},
                           {"\xEF\xBB\xBF"sv, kUTF8}};

std::string markedCharset(std::string_view bytes) {
  for (Mark const& mark : kMarks)
    if (bytes.starts_with(mark.bytes)) return mark.charset;
  return {};
}

// What no text of single bytes begins with: the ends of the mark of UTF-8; or the beginning of any mark alone.
bool isMarkCut(std::string_view bytes) {
  for (Mark const& mark : kMarks)
    if (mark.bytes.starts_with(bytes)) return true;
  return bytes.starts_with("\xEF\xBB") || bytes.starts_with("\xBB\xBF");
}

void throwIfNot(std::string const& charset, std::string_view bytes) {
  if (charset == kUTF8) {
    std::size_t const good = opc::unicode::utf8Prefix(bytes);
    if (good < bytes.size()) throw UndecodableText(notValid(charset, good));
  } else {
    CharsetDecoder(charset, CharsetDecoder::Invalid::Throw).decode(bytes, [](std::u16string_view) { return true; });
  }
}

/// A designation of ISO/IEC 2022 that begins text of several bytes a character.
struct Designation {
  char const* escape;
  char const* charset;
};
constexpr Designation kDesignations[] = {
    {"\x1B$@", "ISO-2022-JP"},  {"\x1B$B", "ISO-2022-JP"},  {"\x1B$(D", "ISO-2022-JP-1"},
    {"\x1B$)C", "ISO-2022-KR"}, {"\x1B$)A", "ISO-2022-CN"}, {"\x1B$)G", "ISO-2022-CN"},
};

// Nothing is designated unless a character follows.
bool isDesignation(std::string_view bytes, std::string_view escape) {
  return bytes.starts_with(escape) && bytes.size() >= escape.size() + 2;
}

std::string guessEscapedCharset(std::string_view bytes) {
  if (!opc::ascii::isAscii(bytes)) return {};
  for (std::size_t at = bytes.find('\x1B'); at != std::string_view::npos; at = bytes.find('\x1B', at + 1))
    for (Designation const& designation : kDesignations)
      if (isDesignation(bytes.substr(at), designation.escape)) return designation.charset;
  return {};
}

// NUL, and the controls beyond ASCII except the line end (U+0085). Bytes that most Windows code pages do not use
// decode to such controls.
bool isNoText(char16_t c) { return c == 0 || (c >= 0x80 && c < 0xA0 && c != 0x85); }

std::string distinctBytes(std::string_view bytes) {
  std::array<bool, 256> isThere{};
  for (char const byte : bytes) isThere[static_cast<unsigned char>(byte)] = true;
  std::string distinct;
  for (std::size_t byte = 0; byte < isThere.size(); ++byte)
    if (isThere[byte]) distinct += static_cast<char>(byte);
  return distinct;
}

bool isText(CharsetDecoder& decoder, std::string_view bytes) {
  bool good = true;
  decoder.decode(
      bytes, [&good](std::u16string_view piece) { return good = std::none_of(piece.begin(), piece.end(), isNoText); });
  return good;
}

// Layout, the escape sequences of terminals, and the end of files of DOS are no such controls.
bool isControlOfNoText(char16_t c) {
  constexpr std::u16string_view kAllowed = u"\b\t\n\v\f\r\x1A\x1B";
  return isNoText(c) || c == 0x7F || (c < 0x20 && kAllowed.find(c) == kAllowed.npos);
}

void throwIfNoTextOf(std::string const& charset, std::string_view bytes) {
  CharsetDecoder(charset, CharsetDecoder::Invalid::Throw).decode(bytes, [&charset](std::u16string_view piece) {
    auto const control = std::find_if(piece.begin(), piece.end(), isControlOfNoText);
    if (control == piece.end()) return true;
    std::string const shown = opc::toASCIIString(opc::escapeForDisplay(std::u16string(1, *control)));
    throw UndecodableText("In " + charset + " the text would hold the control character " + shown);
  });
}

bool isTextOf(std::string const& charset, std::string_view bytes) {
  try {
    CharsetDecoder decoder(charset, CharsetDecoder::Invalid::Throw);
    return decoder.isSingleByte() ? isText(decoder, distinctBytes(bytes)) : isText(decoder, bytes);
  } catch (UndecodableText const&) {
    return false;
  }
}

// Layout, the escape sequences of terminals, and the end of files of DOS are the controls of byte text.
std::size_t findControl(std::string_view bytes) {
  constexpr std::string_view kAllowed = "\b\t\n\v\f\r";
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    auto const byte = static_cast<unsigned char>(bytes[i]);
    if ((byte >= 0x20 && byte != 0x7F) || kAllowed.find(bytes[i]) != std::string_view::npos) continue;
    bool const beginsSequence = byte == 0x1B && i + 1 < bytes.size() && bytes[i + 1] == '[';
    bool const endsFile = byte == 0x1A && i + 1 == bytes.size();
    if (!beginsSequence && !endsFile) return i;
  }
  return std::string_view::npos;
}

// Measured with texts of 47 languages: bench/charsets.cpp. A long text shows its language, and with it what its few
// letters beyond ASCII are; of a short one they must say more.
bool isSure(Reading const& best, Nats lead) {
  constexpr Nats kLeastLead = 2.5F, kLeadOfNothing = 8.5F, kOverNoisePerLead = 12, kLeastOverNoise = 8;
  Nats const over = best.overNoise();
  return over >= kLeastOverNoise && lead >= std::max(kLeastLead, kLeadOfNothing - over / kOverNoisePerLead);
}

// Text of a language, or in a character set, that is not known comes out with letters that its words do not have, and
// with words that are none.
bool isCoherent(TextReading const& words) {
  return words.foreign() * 12 <= words.letters() && words.odd() * 3 <= words.tokens();
}

/// Decides on text that is no Unicode.
class LegacyText {
 public:
  explicit LegacyText(std::string_view bytes)
      : bytes_(bytes), sample_(sampleOf(bytes)), readings_(readingsOf(sample_)) {}

  std::string charset() const;

 private:
  static void throwIfNoCharset(std::string const& usersEncoding);
  std::optional<std::string> userCharset() const;
  Reading const* secondTo(std::u16string const& text) const;
  std::string charsetOf(Reading const& reading) const;
  std::string guessedCharset() const;
  void throwIfBinary() const;
  void throwIfUnwanted() const;
  [[noreturn]] void throwDoubt() const;

  std::string_view bytes_;
  TextSample sample_;
  std::vector<Reading> readings_;
};

Reading const* LegacyText::secondTo(std::u16string const& text) const {
  auto const found =
      std::find_if(readings_.begin(), readings_.end(), [&text](Reading const& r) { return r.text != text; });
  return found == readings_.end() ? nullptr : &*found;
}

// What is never converted: EBCDIC and damaged UTF-8, where no other reading is as likely.
void LegacyText::throwIfUnwanted() const {
  if (readings_.empty()) return;
  Reading const& best = readings_.front();
  if (best.kind == CharsetKind::DamagedUtf8) throwIfNot(kUTF8, bytes_);
  if (best.kind == CharsetKind::Ebcdic && best.overNoise() > 0)
    throw UndecodableText("The text may be in EBCDIC, which is not converted");
}

void LegacyText::throwIfBinary() const {
  std::size_t const control = findControl(bytes_);
  if (control == std::string_view::npos) return;
  throwIfUnwanted();
  throw UndecodableText("Binary data, no text: a control character at byte " + std::to_string(control));
}

// Of the user's own encoding no evidence is needed, only that it makes sense. Random bytes seldom do, the less the
// more they are.
bool makesSense(Reading const& own) {
  constexpr Nats kShortBytes = 7 * kNoise, kShortOverNoise = -3, kOverNoise = 4;
  if (own.words.noise() > kShortBytes) return own.overNoise() >= kOverNoise;
  return own.overNoise() >= (own.kind == CharsetKind::SeveralBytes ? 0 : kShortOverNoise);
}

// By how much another reading must be likelier than one in the user's encoding.
Nats strongLead(CharsetKind kind) {
  bool const isUnwanted = kind == CharsetKind::Ebcdic || kind == CharsetKind::DamagedUtf8;
  return isUnwanted ? 6 : 20;
}

// The user's encoding comes first. Where it cannot be read, no other one can be held against it.
void LegacyText::throwIfNoCharset(std::string const& usersEncoding) try {
  CharsetDecoder(usersEncoding, CharsetDecoder::Invalid::Throw);
} catch (UndecodableText const&) {
  throw UndecodableText("The character set of the text is unknown, and so is that of the locale: " + usersEncoding);
}

std::optional<std::string> LegacyText::userCharset() const {
  std::string charset = opc::getUserDefaultEncoding();
  if (charset == kUTF8 || charset == kASCII) return std::nullopt;
  throwIfNoCharset(charset);
  if (!isTextOf(charset, bytes_)) return std::nullopt;
  std::optional<Reading> const own = readAs(charset, sample_);
  if (!own || !makesSense(*own)) return std::nullopt;
  bool const isOutdone = std::any_of(readings_.begin(), readings_.end(), [&own](Reading const& other) {
    return other.text != own->text && own->cost - other.cost > strongLead(other.kind);
  });
  return isOutdone ? std::nullopt : std::optional(charset);
}

std::string LegacyText::charsetOf(Reading const& reading) const {
  for (std::string const& charset : reading.charsets)
    if (isTextOf(charset, bytes_)) return charset;
  throwDoubt();
}

void LegacyText::throwDoubt() const {
  std::string message = "The character set of the text is unknown";
  if (!readings_.empty() && readings_.front().overNoise() > 0) {
    Reading const& best = readings_.front();
    message += ": " + best.charsets.front();
    if (Reading const* const second = secondTo(best.text)) message += " or " + second->charsets.front();
  }
  throw UndecodableText(message);
}

std::string LegacyText::guessedCharset() const {
  throwIfUnwanted();
  if (readings_.empty()) throwDoubt();
  Reading const& best = readings_.front();
  Reading const* const second = secondTo(best.text);
  if (!isSure(best, second ? second->cost - best.cost : kImpossible) || !isCoherent(best.words)) throwDoubt();
  return charsetOf(best);
}

std::string LegacyText::charset() const {
  throwIfBinary();
  std::optional<std::string> const users = userCharset();
  std::string charset = users ? *users : guessedCharset();
  if (holdsUtf8(sample_, charset) || endsWithinUtf8(bytes_, charset)) throwIfNot(kUTF8, bytes_);
  return charset;
}

// Steps 1 to 4 of detect_charset; empty for any other text.
std::string unicodeCharset(std::string_view text) {
  if (std::string const charset = markedCharset(text); !charset.empty()) return throwIfNot(charset, text), charset;
  for (std::string const& charset : {guessWideCharset(text), guessEscapedCharset(text)})
    if (!charset.empty() && isTextOf(charset, text)) return charset;
  return opc::unicode::utf8Prefix(text) == text.size() ? kUTF8 : std::string();
}

}  // namespace

std::string detect_charset(char const* bytes, std::size_t count, std::ostream&, std::u16string const&) {
  std::string_view const text(bytes, count);
  if (std::string charset = unicodeCharset(text); !charset.empty()) return charset;
  if (isMarkCut(text)) throw UndecodableText("The byte-order mark of the text is cut");
  return LegacyText(text).charset();
}

std::string detect_unicode_or(char const* bytes, std::size_t count, std::string const& charset) {
  std::string_view const text(bytes, count);
  if (std::string found = unicodeCharset(text); !found.empty()) return found;
  throwIfNoTextOf(charset, text);
  if (holdsUtf8(sampleOf(text), charset)) throwIfNot(kUTF8, text);
  return charset;
}

}  // namespace fl::i18n
