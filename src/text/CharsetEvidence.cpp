// SPDX-License-Identifier: Apache-2.0
#include "text/CharsetEvidence.hpp"

#include <algorithm>
#include <cstddef>
#include <map>
#include <string_view>
#include <unicode/uchar.h>
#include <utility>

#include "opc/Strings.hpp"
#include "text/Ascii.hpp"
#include "text/CharsetDecoder.hpp"
#include "text/Unicode.hpp"

namespace fl::i18n {
namespace {

constexpr Nats kUnusualLanguage = 5;
constexpr Nats kUnusualCharset = 4;
constexpr char kUtf8[] = "UTF-8";

using Decoded = std::optional<std::u16string>;

/// What a candidate knows before it sees a text.
struct Prepared {
  explicit Prepared(CharsetCandidate const& candidate) : languages(languageCosts(candidate)) {
    if (candidate.kind != CharsetKind::SeveralBytes) bytes.emplace(candidate.name);
  }

  static std::vector<Nats> languageCosts(CharsetCandidate const& candidate) {
    LanguageModels const& models = LanguageModels::instance();
    std::string const usual = " " + std::string(candidate.languages) + " ";
    std::vector<Nats> costs;
    for (std::size_t i = 0; i < models.count(); ++i) {
      bool const isUsual = usual.find(" " + std::string(models.nameOf(i)) + " ") != std::string::npos;
      costs.push_back(candidate.rarity + (isUsual ? 0 : kUnusualLanguage));
    }
    return costs;
  }

  std::vector<Nats> languages;
  std::optional<ByteTable> bytes;
};

std::vector<Prepared> const& prepared() {
  static std::vector<Prepared> const all(charsetCandidates().begin(), charsetCandidates().end());
  return all;
}

// A token that was cut may end within a character.
Decoded decodeSeveral(CharsetDecoder& decoder, Token const& token) {
  std::size_t const mostCut = token.isCut ? 3 : 0;
  for (std::size_t cut = 0; cut <= mostCut; ++cut) try {
      std::u16string text;
      decoder.decode(token.bytes.substr(0, token.bytes.size() - cut),
                     [&text](std::u16string_view piece) { return text.append(piece), true; });
      return text;
    } catch (opc::UndecodableText const&) {
    }
  return std::nullopt;
}

/// UTF-8 with U+FFFD for damaged sequences.
struct Mended {
  std::u16string text;
  std::size_t wellFormed = 0;  // sequences of several bytes
};

Mended mended(std::string_view bytes) {
  Mended result;
  while (!bytes.empty()) {
    bool const isAscii = (bytes[0] & 0x80) == 0;
    bool good = true;
    opc::unicode::append(result.text, opc::unicode::takeCodePoint(bytes, good));
    if (good && !isAscii) ++result.wellFormed;
  }
  return result;
}

/// The tokens of a sample as text; nothing where one cannot be decoded.
template <typename Decode>
std::optional<std::vector<std::u16string>> decodeAll(TextSample const& sample, Decode decode) {
  std::vector<std::u16string> tokens;
  for (Token const& token : sample.beyondAscii) {
    Decoded text = decode(token);
    if (!text) return std::nullopt;
    tokens.push_back(std::move(*text));
  }
  return tokens;
}

std::u16string joined(std::vector<std::u16string> const& tokens) {
  std::u16string text;
  for (std::u16string const& token : tokens) text += token + u' ';
  return text;
}

// EBCDIC's white space is not ASCII's: a token is a line.
void addLine(TextReading& words, std::u16string_view line) {
  while (!line.empty()) {
    std::size_t const end = std::min(line.find_first_of(u" \t\r\n\u0085\v\f"), line.size());
    std::size_t const taken = std::min(end + 1, line.size());
    if (end > 0) words.add(line.substr(0, end), taken);
    line.remove_prefix(taken);
  }
}

// The blank of EBCDIC is no white space of ASCII, and its letters and digits lie beyond ASCII.
bool mayBeEbcdic(TextSample const& sample) {
  std::size_t beyond = 0, all = 0;
  for (Token const& token : sample.beyondAscii) {
    all += token.bytes.size();
    beyond += static_cast<std::size_t>(
        std::count_if(token.bytes.begin(), token.bytes.end(), [](char c) { return (c & 0x80) != 0; }));
  }
  return sample.ascii.empty() && beyond * 2 > all;
}

/// Reads one sample in one character set after the other.
class Reader {
 public:
  explicit Reader(TextSample const& sample) : sample_(sample) {
    for (Token const& token : sample.ascii)
      ascii_.add(std::u16string(token.bytes.begin(), token.bytes.end()), token.bytes.size());
  }

  void read(CharsetCandidate const& candidate, Prepared const& known);
  void readAsDamagedUtf8();
  Reading make(std::vector<std::u16string> const& tokens, std::string const& charset, CharsetKind kind,
               std::vector<Nats> const& languages) const;
  std::vector<Reading> take() {
    std::stable_sort(readings_.begin(), readings_.end(),
                     [](Reading const& a, Reading const& b) { return a.cost < b.cost; });
    return std::move(readings_);
  }

 private:
  void add(std::vector<std::u16string> const& tokens, CharsetCandidate const& candidate, Prepared const& known);

  TextSample const& sample_;
  TextReading ascii_;
  std::vector<Reading> readings_;
  std::map<std::u16string, std::size_t> byText_;
};

Reading Reader::make(std::vector<std::u16string> const& tokens, std::string const& charset, CharsetKind kind,
                     std::vector<Nats> const& languages) const {
  Reading reading{{charset}, kind, joined(tokens), ascii_, 0};
  for (std::size_t i = 0; i < tokens.size(); ++i)
    if (kind == CharsetKind::Ebcdic)
      addLine(reading.words, tokens[i]);
    else
      reading.words.add(tokens[i], sample_.beyondAscii[i].bytes.size());
  reading.cost = reading.words.cost(languages);
  return reading;
}

void Reader::add(std::vector<std::u16string> const& tokens, CharsetCandidate const& candidate, Prepared const& known) {
  auto const [found, isNew] = byText_.try_emplace(joined(tokens), readings_.size());
  if (isNew) {
    readings_.push_back(make(tokens, candidate.name, candidate.kind, known.languages));
    return;
  }
  Reading& reading = readings_[found->second];
  reading.charsets.emplace_back(candidate.name);
  reading.cost = std::min(reading.cost, reading.words.cost(known.languages));
}

void Reader::read(CharsetCandidate const& candidate, Prepared const& known) {
  std::optional<std::vector<std::u16string>> tokens;
  if (known.bytes) {
    tokens = decodeAll(sample_, [&known](Token const& token) { return known.bytes->decode(token.bytes); });
  } else {
    CharsetDecoder decoder(candidate.name, CharsetDecoder::Invalid::Throw);
    tokens = decodeAll(sample_, [&decoder](Token const& token) { return decodeSeveral(decoder, token); });
  }
  if (tokens) add(*tokens, candidate, known);
}

void Reader::readAsDamagedUtf8() {
  std::size_t wellFormed = 0;
  auto const tokens = decodeAll(sample_, [&wellFormed](Token const& token) {
    Mended text = mended(token.bytes);
    wellFormed += text.wellFormed;
    return Decoded(std::move(text.text));
  });
  std::vector<Nats> const languages(LanguageModels::instance().count(), kUnusualCharset);
  if (wellFormed > 0) readings_.push_back(make(*tokens, kUtf8, CharsetKind::DamagedUtf8, languages));
}

Nats costOf(std::u16string_view token) {
  static std::vector<Nats> const languages(LanguageModels::instance().count());
  TextReading words;
  words.add(token, 0);
  return words.cost(languages);
}

// Whether the last bytes begin a sequence of UTF-8 that needs more of them.
bool endsWithinSequence(std::string_view bytes) {
  for (std::size_t length = 1; length <= std::min<std::size_t>(3, bytes.size()); ++length) {
    auto const first = static_cast<unsigned char>(bytes[bytes.size() - length]);
    if (opc::unicode::isContinuation(static_cast<char>(first))) continue;
    std::size_t const needed = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    return first >= 0xC2 && first <= 0xF4 && needed > length;
  }
  return false;
}

}  // namespace

std::vector<Reading> readingsOf(TextSample const& sample) {
  Reader reader(sample);
  for (std::size_t i = 0; i < prepared().size(); ++i)
    if (charsetCandidates()[i].kind != CharsetKind::Ebcdic || mayBeEbcdic(sample))
      reader.read(charsetCandidates()[i], prepared()[i]);
  reader.readAsDamagedUtf8();
  return reader.take();
}

std::optional<Reading> readAs(std::string const& charset, TextSample const& sample) try {
  CharsetDecoder decoder(charset, CharsetDecoder::Invalid::Throw);
  auto const tokens = decodeAll(sample, [&decoder](Token const& token) { return decodeSeveral(decoder, token); });
  std::vector<Nats> const languages(LanguageModels::instance().count());
  auto const kind = decoder.isSingleByte() ? CharsetKind::SingleBytes : CharsetKind::SeveralBytes;
  if (!tokens) return std::nullopt;
  return Reader(sample).make(*tokens, charset, kind, languages);
} catch (opc::UndecodableText const&) {
  return std::nullopt;  // ICU does not know the name
}

bool holdsUtf8(TextSample const& sample, std::string const& charset) {
  constexpr Nats kLead = 6;
  CharsetDecoder decoder(charset, CharsetDecoder::Invalid::Throw);
  return std::any_of(sample.beyondAscii.begin(), sample.beyondAscii.end(), [&decoder](Token const& token) {
    Mended const asUtf8 = mended(token.bytes);
    Decoded const asSet = asUtf8.wellFormed > 0 ? decodeSeveral(decoder, token) : std::nullopt;
    return asSet && costOf(asUtf8.text) + kLead < costOf(*asSet);
  });
}

bool endsWithinUtf8(std::string_view text, std::string const& charset) {
  constexpr Nats kCapitalAtEnd = 10;
  if (!endsWithinSequence(text)) return false;
  Token const last{text.substr(text.find_last_of(" \t\r\n") + 1)};
  CharsetDecoder decoder(charset, CharsetDecoder::Invalid::Throw);
  Decoded const asSet = decodeSeveral(decoder, last);
  if (!asSet || asSet->empty()) return false;
  Nats const atEnd = u_isupper(asSet->back()) ? kCapitalAtEnd : 0;
  return costOf(mended(last.bytes).text) < costOf(*asSet) + atEnd;
}

}  // namespace fl::i18n
