// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

struct UConverter;

namespace fl::i18n {

/// Takes text of one character set apart into pieces of UTF-16.
class CharsetDecoder {
 public:
  /// What to do about bytes that are no characters: throw, or deliver U+FFFD in their place.
  enum class Invalid { Throw, Replace };
  using Piece = std::function<bool(std::u16string_view)>;

  /// Throws opc::UndecodableText for a character set that is not known.
  CharsetDecoder(std::string const& charset, Invalid invalid);

  /// Whether each byte is a character of its own, wherever it stands.
  bool isSingleByte() const;

  /// Decodes all of `bytes`, handing out one piece after the other until `take` returns false. Begins anew at
  /// each call. Throws opc::UndecodableText, which names the position of what is no character.
  void decode(std::string_view bytes, Piece const& take);

 private:
  struct Closer {
    void operator()(UConverter* converter) const noexcept;
  };

  [[noreturn]] void throwInvalid(std::size_t taken);

  std::string charset_;
  std::unique_ptr<UConverter, Closer> converter_;
};

}  // namespace fl::i18n
