// SPDX-License-Identifier: Apache-2.0
#include "xml/XmlMarkupMeter.hpp"

#include <algorithm>
#include <cstring>
#include <initializer_list>

#include "xml/XmlFault.hpp"

namespace opc::model {
namespace {

bool startsWith(unsigned char const* bytes, std::size_t count, std::initializer_list<unsigned char> prefix) {
  return count >= prefix.size() && std::equal(prefix.begin(), prefix.end(), bytes);
}

/// UTF-32 in its four byte orders, at least two of which parsers read, and EBCDIC.
bool isForeign(unsigned char const* bytes, std::size_t count) {
  return startsWith(bytes, count, {0xFF, 0xFE, 0x00, 0x00}) || startsWith(bytes, count, {0x3C, 0x00, 0x00, 0x00}) ||
         startsWith(bytes, count, {0x00, 0x00}) || startsWith(bytes, count, {0x4C, 0x6F, 0xA7, 0x94});
}

}  // namespace

void XmlMarkupMeter::begin(unsigned char const* bytes, std::size_t count) {
  *this = XmlMarkupMeter(limits_);
  bool const big = startsWith(bytes, count, {0xFE, 0xFF}) || startsWith(bytes, count, {0x00, 0x3C});
  bool const little = startsWith(bytes, count, {0xFF, 0xFE}) || startsWith(bytes, count, {0x3C, 0x00});
  if (isForeign(bytes, count)) {
    encoding_ = XmlEncoding::Other;
  } else if (big || little) {
    encoding_ = XmlEncoding::Utf16;
    bigEndian_ = big;
    unitBytes_ = 2;
  }
}

std::size_t XmlMarkupMeter::admit(unsigned char const* bytes, std::size_t count) {
  if (count == 0 || !refusal_.empty()) return 0;
  return unitBytes_ == 1 ? admitNarrow(bytes, count) : admitWide(bytes, count);
}

void XmlMarkupMeter::end() {
  if (firstHalf_ >= 0 || missingBytes_ > 0) refusal_ = xml_text::halfCharacter();
}

std::size_t XmlMarkupMeter::admitNarrow(unsigned char const* bytes, std::size_t count) {
  void const* const nul = std::memchr(bytes, 0, count);
  std::size_t const sound = nul ? static_cast<std::size_t>(static_cast<unsigned char const*>(nul) - bytes) : count;
  std::size_t const admitted = admitSound(bytes, sound);
  noteTail(bytes, admitted);
  if (nul && refusal_.empty()) refusal_ = xml_text::nul();
  return admitted;
}

/// Exact only for UTF-8 that breaks off at its end; the parser refuses other ill-formed bytes.
void XmlMarkupMeter::noteTail(unsigned char const* bytes, std::size_t count) {
  constexpr std::size_t kLongestRest = 3;  // bytes of a character behind its first one
  if (count >= kLongestRest) missingBytes_ = 0;
  for (std::size_t i = count - std::min(count, kLongestRest); i < count; ++i) {
    if (bytes[i] >= 0xC0)
      missingBytes_ = bytes[i] >= 0xF0 ? 3 : bytes[i] >= 0xE0 ? 2 : 1;
    else if (missingBytes_ > 0)
      --missingBytes_;
  }
}

std::size_t XmlMarkupMeter::admitSound(unsigned char const* bytes, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    i += skip(bytes + i, count - i);
    if (!refusal_.empty()) return i;
    if (i < count && !take(bytes[i])) return i;
  }
  return count;
}

std::size_t XmlMarkupMeter::admitWide(unsigned char const* bytes, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    if (firstHalf_ < 0) {
      firstHalf_ = bytes[i];
      continue;
    }
    int const first = firstHalf_;
    firstHalf_ = -1;
    if (!take(static_cast<char16_t>(bigEndian_ ? first << 8 | bytes[i] : bytes[i] << 8 | first))) return i;
  }
  return count;
}

/// Skips bytes that change the sizes only, while these are within their limits.
std::size_t XmlMarkupMeter::skip(unsigned char const* bytes, std::size_t count) {
  if (state_ != State::Content && state_ != State::Value) return 0;
  int const wanted = state_ == State::Content ? '<' : quote_;
  void const* const found = std::memchr(bytes, wanted, count);
  std::size_t skipped = found ? static_cast<std::size_t>(static_cast<unsigned char const*>(found) - bytes) : count;
  if (state_ == State::Value) {
    skipped = std::min(skipped, limits_.attributeBytes - valueBytes_ + 1);
    grow(skipped);
  }
  return skipped;
}

/// Returns false if the unit is refused.
bool XmlMarkupMeter::take(char16_t unit) {
  if (unit == 0) refusal_ = xml_text::nul();
  if (state_ != State::Content) grow(unit == quote_ && state_ == State::Value ? 0 : unitBytes_);
  switch (state_) {
    case State::Content:
      if (unit == u'<') state_ = State::Opened;
      break;
    case State::Opened:
    case State::Bang:
      open(unit);
      break;
    case State::Tag:
      takeInTag(unit);
      break;
    case State::Value:
      if (unit == quote_) state_ = State::Tag;
      break;
    case State::Instruction:
      takeUntil(u'?', 1, unit);
      break;
    case State::Comment:
      takeUntil(u'-', 2, unit);
      break;
    case State::Section:
      takeUntil(u']', 2, unit);
      break;
  }
  return refusal_.empty();
}

void XmlMarkupMeter::open(char16_t unit) {
  run_ = 0;
  if (state_ == State::Bang) {
    state_ = unit == u'-' ? State::Comment : unit == u'[' ? State::Section : State::Tag;
    return;
  }
  markupBytes_ = 0;
  attributes_ = 0;
  state_ = unit == u'!' ? State::Bang : unit == u'?' ? State::Instruction : State::Tag;
}

void XmlMarkupMeter::takeInTag(char16_t unit) {
  if (unit == u'>') state_ = State::Content;
  if (unit != u'"' && unit != u'\'') return;
  state_ = State::Value;
  quote_ = unit;
  valueBytes_ = 0;
  if (++attributes_ > limits_.attributesOfElement) refusal_ = xml_text::tooManyAttributes(limits_.attributesOfElement);
}

/// Looks for the end mark of a comment, section or instruction: a character that stands at least `times` times, then
/// '>'.
void XmlMarkupMeter::takeUntil(char16_t terminator, std::size_t times, char16_t unit) {
  if (unit == u'>' && run_ >= times) state_ = State::Content;
  run_ = unit == terminator ? run_ + 1 : 0;
}

void XmlMarkupMeter::grow(std::size_t bytes) {
  markupBytes_ += bytes;
  if (state_ == State::Value) valueBytes_ += bytes;
  if (state_ == State::Value && valueBytes_ > limits_.attributeBytes)
    refusal_ = xml_text::attributeTooLong(limits_.attributeBytes);
  else if (markupBytes_ > limits_.markupBytes)
    refusal_ = xml_text::markupTooLong(limits_.markupBytes);
}

}  // namespace opc::model
