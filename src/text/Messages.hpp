// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

/// What this layer says about text that it cannot read.
namespace fl::i18n::messages {

inline constexpr char kCannotTell[] = "The character set of the text cannot be told";
inline constexpr char kLoneSurrogate[] = "Text holds a lone surrogate";

inline std::string unknownCharset(std::string const& name) { return "Unknown character set: " + name; }

inline std::string notValid(std::string const& charset, std::size_t position) {
  return "Text is not valid " + charset + " at byte " + std::to_string(position);
}

inline std::string takenAs(std::string const& name, std::string const& charset) {
  return name + ": the character set cannot be told; taken for " + charset;
}

}  // namespace fl::i18n::messages
