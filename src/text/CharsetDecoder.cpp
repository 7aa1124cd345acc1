// SPDX-License-Identifier: Apache-2.0
#include "text/CharsetDecoder.hpp"

#include <algorithm>
#include <new>
#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>
#include <vector>

#include "opc/Strings.hpp"
#include "text/I18n.hpp"
#include "text/LargePages.hpp"
#include "text/Unicode.hpp"

namespace fl::i18n {
namespace {

// Both stay in the cache beside the tables, and ICU counts in 32 bits.
constexpr std::size_t kBytesAtOnce = 65'536;
constexpr std::size_t kUnitsAtOnce = 16'384;
constexpr std::size_t kLongestInvalid = 32;  // bytes; ICU keeps no more

// ICU's own callback replaces some invalid bytes by a control.
void replaceInvalid(void const*, UConverterToUnicodeArgs* arguments, char const*, int32_t,
                    UConverterCallbackReason reason, UErrorCode* error) {
  constexpr char16_t kReplacement = 0xFFFD;
  if (reason > UCNV_IRREGULAR) return;  // the converter was reset or closed
  *error = U_ZERO_ERROR;
  ucnv_cbToUWriteUChars(arguments, &kReplacement, 1, 0, error);
}

}  // namespace

void throwIfOutOfMemory(int icuError) {
  if (icuError == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
}

std::string notValid(std::string const& charset, std::size_t position) {
  return "Text is not valid " + charset + " at byte " + std::to_string(position);
}

void CharsetDecoder::Closer::operator()(UConverter* converter) const noexcept { ucnv_close(converter); }

CharsetDecoder::CharsetDecoder(std::string const& charset, Invalid invalid) : charset_(charset) {
  UErrorCode error = U_ZERO_ERROR;
  // An empty name would mean ICU's own default, a comma would begin ICU's options.
  bool const isName = !charset.empty() && charset.find(UCNV_OPTION_SEP_CHAR) == std::string::npos;
  if (isName) converter_.reset(ucnv_open(charset.c_str(), &error));
  throwIfOutOfMemory(error);
  if (!converter_ || U_FAILURE(error)) throw opc::UndecodableText("Unknown character set: " + charset);
  auto const callback = invalid == Invalid::Throw ? UCNV_TO_U_CALLBACK_STOP : replaceInvalid;
  ucnv_setToUCallBack(converter_.get(), callback, nullptr, nullptr, nullptr, &error);
}

bool CharsetDecoder::isSingleByte() const {
  return ucnv_getMinCharSize(converter_.get()) == 1 && ucnv_getMaxCharSize(converter_.get()) == 1;
}

// The sets that switch between others are of other types, and none of this type that has the line feed of ASCII uses
// its byte within characters.
bool CharsetDecoder::endsLinesAsASCII() try {
  bool isLineFeed = false;
  decode("\n", [&isLineFeed](std::u16string_view piece) { return isLineFeed = piece == u"\n"; });
  return isLineFeed && ucnv_getType(converter_.get()) == UCNV_MBCS;
} catch (opc::UndecodableText const&) {
  return false;
}

void CharsetDecoder::decode(std::string_view bytes, Piece const& take) {
  ucnv_resetToUnicode(converter_.get());
  std::vector<char16_t> units(kUnitsAtOnce);
  char const* position = bytes.data();
  char const* const end = bytes.data() + bytes.size();
  bool complete = false;
  while (!complete) {
    char const* const limit = position + std::min(kBytesAtOnce, static_cast<std::size_t>(end - position));
    char16_t* target = units.data();
    UErrorCode error = U_ZERO_ERROR;
    ucnv_toUnicode(converter_.get(), &target, units.data() + units.size(), &position, limit, nullptr,
                   static_cast<UBool>(limit == end), &error);
    throwIfOutOfMemory(error);
    bool const full = error == U_BUFFER_OVERFLOW_ERROR;
    if (U_FAILURE(error) && !full) throwInvalid(static_cast<std::size_t>(position - bytes.data()));
    if (!take({units.data(), target})) return;
    complete = position == end && !full;
  }
}

// ICU has taken the invalid bytes already, so that their first one stands before `taken`.
void CharsetDecoder::throwInvalid(std::size_t taken) {
  char invalid[kLongestInvalid];
  auto length = static_cast<int8_t>(sizeof invalid);
  UErrorCode error = U_ZERO_ERROR;
  ucnv_getInvalidChars(converter_.get(), invalid, &length, &error);
  std::size_t const count = U_SUCCESS(error) ? static_cast<std::size_t>(length) : 0;
  throw opc::UndecodableText(notValid(charset_, taken - std::min(count, taken)));
}

codecvt_string_to_ustring::codecvt_string_to_ustring(std::string const& charset, bool strict)
    : charset_(charset), strict_(strict) {
  CharsetDecoder(charset_, CharsetDecoder::Invalid::Throw);
}

std::u16string codecvt_string_to_ustring::do_convert(char const* bytes, std::size_t count) const {
  CharsetDecoder decoder(charset_, strict_ ? CharsetDecoder::Invalid::Throw : CharsetDecoder::Invalid::Replace);
  std::u16string text;
  opc::reserveToFill(text, count);  // nearly every character set has at most one unit for a byte
  decoder.decode({bytes, count}, [&text](std::u16string_view piece) {
    text.append(piece);
    return true;
  });
  return text;
}

std::string ustring_to_utf8(std::u16string const& text) {
  std::string utf8;
  opc::reserveToFill(utf8, text.size());
  if (!opc::unicode::appendUTF8(utf8, text)) throw opc::UndecodableText("Text holds a lone surrogate");
  return utf8;
}

}  // namespace fl::i18n
