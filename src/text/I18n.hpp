// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>

/// Text of named character sets, and the locale's.
namespace fl::i18n {

/// Name of the character set that the text is written in, with which codecvt_string_to_ustring converts all of it.
/// "UTF-8" for well-formed UTF-8, plain ASCII and empty text. In this order:
///
/// 1. A byte-order mark decides, and the name says the byte order.
/// 2. UTF-16 and UTF-32 without a mark show by the bytes that other text never has (NUL and the like). Text
///    without a single one, a few ideographs without punctuation, is not recognised.
/// 3. ASCII with the escape sequences of ISO-2022 is in the variant that they belong to.
/// 4. What is well-formed UTF-8 is UTF-8. A few letters are not where they make more sense in the user's encoding.
/// 5. The user's encoding, where it is neither UTF-8 nor ASCII: text that makes sense in it is in it, unless the
///    evidence for another is strong.
/// 6. Samples over the whole text are read in each older character set, and the words compared with those of some
///    fifty languages. A reading wins if it is likelier than every other by a lead, and than random bytes.
///
/// Throws opc::UndecodableText with the reason when there is no such evidence, and for what is never converted: text
/// that contradicts its mark, a cut mark, damaged UTF-8 or a mixture with it, EBCDIC, and bytes with controls that text
/// does not have. `diagnostics` and `name` are not used: what was found is the result, and the caller knows the name.
std::string detect_charset(char const* bytes, std::size_t count, std::ostream& diagnostics, std::u16string const& name);

/// The same for text that is in `charset` where steps 1 to 4 find nothing else. Throws opc::UndecodableText for an
/// unknown character set, and where the text is not in it: bytes without a character, controls that text does not have,
/// and words that make more sense as UTF-8.
std::string detect_unicode_or(char const* bytes, std::size_t count, std::string const& charset);

/// Converts text of one character set to UTF-16. A byte-order mark is text like any other where the name of the
/// character set says the byte order ("UTF-16LE"). One thread at a time.
class codecvt_string_to_ustring {
 public:
  /// Where `strict`, bytes that the character set does not have are an error; otherwise U+FFFD replaces them. Throws
  /// opc::UndecodableText for an unknown character set.
  codecvt_string_to_ustring(std::string const& charset, bool strict);

  /// Throws opc::UndecodableText, which names the position of the first invalid byte.
  std::u16string do_convert(char const* bytes, std::size_t count) const;

 private:
  std::string charset_;
  bool strict_;
};

/// Throws opc::UndecodableText for a lone surrogate.
std::string ustring_to_utf8(std::u16string const& text);

/// Name of the encoding of the user's locale ("UTF-8", "ISO-8859-1", "US-ASCII"), as the environment gives it
/// at the time of the call. May be called from any thread.
std::u16string getGlobalLocaleEncodingName();

}  // namespace fl::i18n
