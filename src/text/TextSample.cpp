// SPDX-License-Identifier: Apache-2.0
#include "text/TextSample.hpp"

#include <algorithm>
#include <array>

#include "text/Ascii.hpp"
#include "text/Unicode.hpp"

namespace fl::i18n {
namespace {

constexpr std::size_t kWindows = 4;
constexpr std::size_t kBytesOfWindow = 1024, kAsciiOfWindow = 256;
constexpr std::size_t kLongestToken = 512;
constexpr std::size_t kFarthestBack = 4096;

bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// Finds tokens from a position on.
class Tokens {
 public:
  explicit Tokens(std::string_view text) : text_(text) {}

  /// Up to a budget of bytes; what was taken before is not taken again. Where the next token ends.
  void take(std::size_t position, std::size_t budget, TextSample& sample);
  /// The token that holds the byte at `position`.
  void takeAround(std::size_t position, TextSample& sample);
  std::size_t end() const { return end_; }
  bool hasSeen(char byte) const { return seen_[static_cast<unsigned char>(byte)]; }

 private:
  std::size_t startOf(std::size_t position) const;
  Token tokenAt(std::size_t start) const;
  void add(Token const& token, TextSample& sample, std::size_t& ascii);

  std::string_view text_;
  std::size_t end_ = 0;
  std::array<bool, 256> seen_{};
};

// Far from white space a window cannot begin: it might begin within a character.
std::size_t Tokens::startOf(std::size_t position) const {
  std::size_t const farthest = position - std::min(position, kFarthestBack);
  std::size_t start = position;
  while (start > farthest && !isSpace(text_[start - 1])) --start;
  return start == farthest && start > 0 ? text_.size() : start;
}

Token Tokens::tokenAt(std::size_t start) const {
  std::size_t end = start;
  while (end < text_.size() && end - start < kLongestToken && !isSpace(text_[end])) ++end;
  return {text_.substr(start, end - start), end < text_.size() && !isSpace(text_[end])};
}

void Tokens::add(Token const& token, TextSample& sample, std::size_t& ascii) {
  if (opc::ascii::isAscii(token.bytes)) {
    if (ascii < kAsciiOfWindow) sample.ascii.push_back(token);
    ascii += token.bytes.size();
    return;
  }
  for (char const byte : token.bytes) seen_[static_cast<unsigned char>(byte)] = true;
  sample.beyondAscii.push_back(token);
}

void Tokens::take(std::size_t position, std::size_t budget, TextSample& sample) {
  std::size_t at = std::max(end_, startOf(position));
  std::size_t const limit = std::min(text_.size(), at + budget);
  std::size_t ascii = 0;
  while (at < limit) {
    if (isSpace(text_[at])) {
      ++at;
      continue;
    }
    Token const token = tokenAt(at);
    add(token, sample, ascii);
    at += token.bytes.size();
    while (token.isCut && at < text_.size() && !isSpace(text_[at])) ++at;
  }
  end_ = std::max(end_, at);
}

void Tokens::takeAround(std::size_t position, TextSample& sample) {
  std::size_t const start = startOf(position);
  auto const isThere = [&](Token const& known) { return known.bytes.data() == text_.data() + start; };
  bool const isTaken = std::any_of(sample.beyondAscii.begin(), sample.beyondAscii.end(), isThere);
  if (start == text_.size() || isTaken) return;
  Token const token = tokenAt(start);
  std::size_t ascii = 0;
  if (start + token.bytes.size() > position) add(token, sample, ascii);
}

// UTF-8 sequences are rare in text that is not UTF-8, and a sign of a mixture.
constexpr std::size_t kMostMixed = 8;

bool beginsWithSequence(std::string_view bytes) {
  bool isWellFormed = false;
  opc::unicode::takeCodePoint(bytes, isWellFormed);
  return isWellFormed;
}

}  // namespace

TextSample sampleOf(std::string_view text) {
  TextSample sample;
  Tokens tokens(text);
  for (std::size_t i = 0; i < kWindows; ++i) {
    std::size_t const from = std::max(tokens.end(), text.size() / kWindows * i);
    std::size_t const beyond = from + opc::ascii::prefixLength(text.substr(from));
    std::size_t const lead = std::min(beyond - from, kAsciiOfWindow / 2);
    if (beyond < text.size()) tokens.take(beyond - lead, kBytesOfWindow + lead, sample);
  }
  std::size_t mixed = 0;
  for (std::size_t at = opc::ascii::prefixLength(text); at < text.size();
       at += opc::ascii::prefixLength(text.substr(at))) {
    bool const mayBeMixed = mixed < kMostMixed && beginsWithSequence(text.substr(at));
    if (mayBeMixed) ++mixed;
    if (mayBeMixed || !tokens.hasSeen(text[at])) tokens.takeAround(at, sample);
    ++at;
  }
  return sample;
}

}  // namespace fl::i18n
