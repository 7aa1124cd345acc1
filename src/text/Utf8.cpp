// SPDX-License-Identifier: Apache-2.0
#include "text/Utf8.hpp"

#include "text/Unicode.hpp"

namespace fl::i18n {
namespace {

using Byte = unsigned char;

constexpr bool isWithin(Byte byte, unsigned first, unsigned last) { return byte - first <= last - first; }
constexpr bool continues(Byte byte) { return isWithin(byte, 0x80, 0xBF); }

// Whether a sequence of several bytes is at the front, and how long it is; 0 for none (table 3-7).
std::size_t sequenceLength(Byte const* at, std::size_t left) {
  if (left >= 2 && isWithin(at[0], 0xC2, 0xDF)) return continues(at[1]) ? 2 : 0;
  if (left >= 3 && isWithin(at[0], 0xE0, 0xEF)) {
    bool const second = isWithin(at[1], at[0] == 0xE0 ? 0xA0 : 0x80, at[0] == 0xED ? 0x9F : 0xBF);
    return second && continues(at[2]) ? 3 : 0;
  }
  if (left >= 4 && isWithin(at[0], 0xF0, 0xF4)) {
    bool const second = isWithin(at[1], at[0] == 0xF0 ? 0x90 : 0x80, at[0] == 0xF4 ? 0x8F : 0xBF);
    return second && continues(at[2]) && continues(at[3]) ? 4 : 0;
  }
  return 0;
}

}  // namespace

std::size_t utf8Prefix(std::string_view bytes) {
  auto const* const data = reinterpret_cast<Byte const*>(bytes.data());
  std::size_t position = 0;
  while (position < bytes.size()) {
    position += opc::unicode::asciiPrefix(bytes.substr(position));
    while (position < bytes.size() && data[position] >= 0x80) {
      std::size_t const length = sequenceLength(data + position, bytes.size() - position);
      if (length == 0) return position;
      position += length;
    }
  }
  return position;
}

bool isDamagedUtf8(std::string_view bytes) {
  constexpr std::size_t kWellFormedToEachIllFormed = 4;
  std::size_t wellFormed = 0, illFormed = 0;
  while (true) {
    bytes.remove_prefix(opc::unicode::asciiPrefix(bytes));
    if (bytes.empty()) return wellFormed > kWellFormedToEachIllFormed * illFormed;
    bool good = false;
    opc::unicode::takeCodePoint(bytes, good);
    ++(good ? wellFormed : illFormed);
  }
}

}  // namespace fl::i18n
