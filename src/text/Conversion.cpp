// SPDX-License-Identifier: Apache-2.0
#include "text/Conversion.hpp"

#include <string_view>
#include <unicode/ustring.h>
#include <vector>

#include "opc/Strings.hpp"
#include "text/CharsetDecoder.hpp"
#include "text/LargePages.hpp"
#include "text/Messages.hpp"

namespace fl::i18n {
namespace {

constexpr std::size_t kUnitsAtOnce = 16'384;
constexpr std::size_t kLongestUnit = 3;  // bytes of UTF-8 for one unit of UTF-16

// A pair of surrogates must not be torn apart.
std::size_t pieceLength(std::u16string_view text) {
  if (text.size() <= kUnitsAtOnce) return text.size();
  return U16_IS_LEAD(text[kUnitsAtOnce - 1]) ? kUnitsAtOnce - 1 : kUnitsAtOnce;
}

}  // namespace

codecvt_string_to_ustring::codecvt_string_to_ustring(std::string const& charset, bool strict)
    : charset_(charset), strict_(strict) {
  CharsetDecoder(charset_, CharsetDecoder::Invalid::Throw);
}

std::u16string codecvt_string_to_ustring::do_convert(char const* bytes, std::size_t count) const {
  CharsetDecoder decoder(charset_, strict_ ? CharsetDecoder::Invalid::Throw : CharsetDecoder::Invalid::Replace);
  std::u16string text;
  opc::reserveToFill(text, count);  // at most one unit for a byte, but for a few characters
  decoder.decode({bytes, count}, [&text](std::u16string_view piece) {
    text.append(piece);
    return true;
  });
  return text;
}

std::string ustring_to_utf8(std::u16string const& text) {
  std::vector<char> buffer(kUnitsAtOnce * kLongestUnit);
  std::string utf8;
  opc::reserveToFill(utf8, text.size());
  for (std::u16string_view rest = text; !rest.empty();) {
    std::size_t const length = pieceLength(rest);
    int32_t written = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strToUTF8(buffer.data(), static_cast<int32_t>(buffer.size()), &written, rest.data(), static_cast<int32_t>(length),
                &error);
    if (U_FAILURE(error)) throw opc::UndecodableText(messages::kLoneSurrogate);
    utf8.append(buffer.data(), static_cast<std::size_t>(written));
    rest.remove_prefix(length);
  }
  return utf8;
}

}  // namespace fl::i18n
