// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

namespace fl::i18n {

/// Converts text of one character set to UTF-16. A byte-order mark is text like any other where the name of the
/// character set says the byte order ("UTF-16LE"). One thread at a time.
class codecvt_string_to_ustring {
 public:
  /// Where `strict`, bytes that are no characters of the character set are an error; otherwise U+FFFD stands in
  /// their place. Throws opc::UndecodableText for a character set that is not known.
  codecvt_string_to_ustring(std::string const& charset, bool strict);

  /// Throws opc::UndecodableText, which names the position of what is no character.
  std::u16string do_convert(char const* bytes, std::size_t count) const;

 private:
  std::string charset_;
  bool strict_;
};

/// Throws opc::UndecodableText for a lone surrogate.
std::string ustring_to_utf8(std::u16string const& text);

}  // namespace fl::i18n
