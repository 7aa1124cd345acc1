// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>

#include "opc/Strings.hpp"
#include "text/Ascii.hpp"
#include "text/CharsetDecoder.hpp"
#include "text/I18n.hpp"
#include "text/LegacyText.hpp"
#include "text/Unicode.hpp"
#include "text/WideText.hpp"

namespace fl::i18n {
namespace {

using namespace std::string_view_literals;

constexpr char kUTF8[] = "UTF-8";

struct Mark {
  std::string_view bytes;
  char const* charset;
};

// The Unicode Standard, 23.8. The mark of UTF-32LE begins with that of UTF-16LE.
constexpr Mark kMarks[] = {{"\xFF\xFE\0\0"sv, "UTF-32LE"},
                           {"\0\0\xFE\xFF"sv, "UTF-32BE"},
                           {"\xFF\xFE"sv, "UTF-16LE"},
                           {"\xFE\xFF"sv, "UTF-16BE"},
                           {"\xEF\xBB\xBF"sv, kUTF8}};

// In UTF-16 a NUL may stand behind the mark, but then the text is no UTF-32.
std::string markedCharset(std::string_view bytes) {
  for (Mark const& mark : kMarks) {
    bool const fits = mark.bytes.size() < 4 || bytes.size() % 4 == 0;
    if (fits && bytes.starts_with(mark.bytes)) return mark.charset;
  }
  return {};
}

void throwIfNot(std::string const& charset, std::string_view bytes) {
  if (charset == kUTF8) {
    std::size_t const good = opc::unicode::utf8Prefix(bytes);
    if (good < bytes.size()) throw opc::UndecodableText(notValid(charset, good));
  } else {
    CharsetDecoder(charset, CharsetDecoder::Invalid::Throw).decode(bytes, [](std::u16string_view) { return true; });
  }
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

bool isTextOf(std::string const& charset, std::string_view bytes) {
  try {
    CharsetDecoder decoder(charset, CharsetDecoder::Invalid::Throw);
    return decoder.isSingleByte() ? isText(decoder, distinctBytes(bytes)) : isText(decoder, bytes);
  } catch (opc::UndecodableText const&) {
    return false;  // or a name that the converter does not know, as the locale's may be
  }
}

// The user's encoding; the bytes themselves give no hint of it.
std::string defaultCharset(std::string_view bytes, std::ostream& diagnostics, std::u16string const& name) {
  std::string charset = opc::getUserDefaultEncoding();
  if (charset == kUTF8 || !isTextOf(charset, bytes))
    throw opc::UndecodableText("The character set of the text cannot be told");
  diagnostics << opc::toUDEString(name) << ": the character set cannot be told; taken for " << charset << '\n';
  return charset;
}

// Whether ill-formed bytes are damaged UTF-8 rather than text in another character set, where well-formed sequences of
// several bytes are rare.
bool isDamagedUtf8(std::string_view bytes) {
  constexpr std::size_t kWellFormedToEachIllFormed = 4;
  std::size_t wellFormed = 0, illFormed = 0;
  while (true) {
    bytes.remove_prefix(opc::ascii::prefixLength(bytes));
    if (bytes.empty()) return wellFormed > kWellFormedToEachIllFormed * illFormed;
    bool good = false;
    opc::unicode::takeCodePoint(bytes, good);
    ++(good ? wellFormed : illFormed);
  }
}

std::string legacyCharset(std::string_view bytes, std::ostream& diagnostics, std::u16string const& name) {
  std::string const sample = sampleBeyondAscii(bytes);
  if (isDamagedUtf8(sample)) throwIfNot(kUTF8, bytes);
  for (std::string const& charset : guessLegacyCharsets(sample))
    if (isTextOf(charset, bytes)) return charset;
  return defaultCharset(bytes, diagnostics, name);
}

}  // namespace

std::string detect_charset(char const* bytes, std::size_t count, std::ostream& diagnostics,
                           std::u16string const& name) {
  std::string_view const text(bytes, count);
  if (std::string const charset = markedCharset(text); !charset.empty()) return throwIfNot(charset, text), charset;
  for (std::string const& charset : {guessWideCharset(text), guessEscapedCharset(text)})
    if (!charset.empty() && isTextOf(charset, text)) return charset;
  return opc::unicode::utf8Prefix(text) == count ? kUTF8 : legacyCharset(text, diagnostics, name);
}

}  // namespace fl::i18n
