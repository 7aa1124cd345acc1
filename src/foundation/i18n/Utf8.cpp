// SPDX-License-Identifier: Apache-2.0
#include "foundation/i18n/Utf8.hpp"

#include "foundation/core/Unicode.hpp"

namespace fl::i18n {
std::size_t utf8Prefix(std::string_view bytes) {
  for (std::string_view rest = bytes; true;) {
    rest.remove_prefix(opc::unicode::asciiPrefix(rest));
    if (rest.empty()) return bytes.size();
    std::size_t const position = bytes.size() - rest.size();
    bool good = false;
    opc::unicode::takeCodePoint(rest, good);
    if (!good) return position;
  }
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
