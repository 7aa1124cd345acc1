// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "xml/XmlLimits.hpp"

namespace opc::model {

enum class XmlEncoding { Utf8, Utf16, Other };

/// Watches the bytes of a document on their way into the parser, which collects a whole tag before it says
/// a word: measures attribute values, their number, and each tag, comment, processing instruction and CDATA
/// section. It also stops at NUL and at half a character, which the parser takes for the document's end. It follows the
/// document only as far as the parser will get: what it makes of a document that is not well formed does not matter. A
/// document type declaration is not understood; it is refused.
class XmlMarkupMeter {
 public:
  explicit XmlMarkupMeter(XmlLimits const& limits) : limits_(limits) {}

  /// Begins a document, whose first bytes (four, or all there are) tell its encoding.
  void begin(unsigned char const* bytes, std::size_t count);
  XmlEncoding encoding() const { return encoding_; }

  /// How many of the next bytes the parser may see: all, or about those before the byte that is refused.
  std::size_t admit(unsigned char const* bytes, std::size_t count);
  /// There are no more bytes.
  void end();
  /// Why no more is admitted; empty while there is no reason.
  std::string const& refusal() const { return refusal_; }

 private:
  enum class State { Content, Opened, Bang, Tag, Value, Instruction, Comment, Section };

  std::size_t admitNarrow(unsigned char const* bytes, std::size_t count);
  std::size_t admitSound(unsigned char const* bytes, std::size_t count);
  std::size_t admitWide(unsigned char const* bytes, std::size_t count);
  std::size_t skip(unsigned char const* bytes, std::size_t count);
  bool take(char16_t unit);
  void open(char16_t unit);
  void takeInTag(char16_t unit);
  void takeUntil(char16_t terminator, std::size_t times, char16_t unit);
  void grow(std::size_t bytes);
  void noteTail(unsigned char const* bytes, std::size_t count);

  XmlLimits limits_;
  XmlEncoding encoding_ = XmlEncoding::Utf8;
  bool bigEndian_ = false;
  std::size_t unitBytes_ = 1;
  int firstHalf_ = -1;            // of a 16-bit unit whose second byte is still to come
  std::size_t missingBytes_ = 0;  // that the UTF-8 character lacks in whose midst the bytes so far end

  State state_ = State::Content;
  char16_t quote_ = 0;
  std::size_t run_ = 0;  // how many characters of a closing mark came one after the other
  std::size_t markupBytes_ = 0;
  std::size_t valueBytes_ = 0;
  std::size_t attributes_ = 0;
  std::string refusal_;
};

}  // namespace opc::model
