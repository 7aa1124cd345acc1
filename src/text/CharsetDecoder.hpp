// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

struct UConverter;

namespace fl::i18n {

/// Throws std::bad_alloc where the UErrorCode of an ICU call says that memory ran out.
void throwIfOutOfMemory(int icuError);

/// The message about bytes that `charset` does not have, the first of them at `position`.
std::string notValid(std::string const& charset, std::size_t position);

/// Decodes text of one character set into pieces of UTF-16. One thread at a time.
class CharsetDecoder {
 public:
  /// How invalid bytes are treated: throw, or replace them by U+FFFD.
  enum class Invalid { Throw, Replace };
  using Piece = std::function<bool(std::u16string_view)>;

  /// Throws opc::UndecodableText for an unknown character set.
  CharsetDecoder(std::string const& charset, Invalid invalid);

  /// Whether each byte is one character, regardless of the bytes around it.
  bool isSingleByte() const;

  /// Whether text can be decoded line by line: the byte of a line feed is nothing else, and changes nothing.
  bool endsLinesAsASCII();

  /// Decodes all of `bytes` and hands one piece after the other to `take` until that returns false. Each call starts
  /// afresh. Throws opc::UndecodableText, which names the position of the first invalid byte.
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
