// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "text/LanguageModels.hpp"

namespace fl::i18n {

enum class CharsetKind { SingleBytes, SeveralBytes, Ebcdic, DamagedUtf8 };

/// A character set that a text may be in.
struct CharsetCandidate {
  char const* name;
  char const* languages;  // those it is made for, separated by blanks
  Nats rarity;            // the negative logarithm of its frequency, relative to the commonest
  CharsetKind kind = CharsetKind::SingleBytes;
};

std::span<CharsetCandidate const> charsetCandidates();

/// The characters of the bytes 0x80 to 0xFF in a single-byte set. U+FFFD stands for an undefined byte or a control.
class ByteTable {
 public:
  /// Throws opc::UndecodableText for a character set that is not known.
  explicit ByteTable(std::string const& charset);

  /// Nothing where a byte is no character.
  std::optional<std::u16string> decode(std::string_view bytes) const;

 private:
  std::u16string characters_;
};

}  // namespace fl::i18n
