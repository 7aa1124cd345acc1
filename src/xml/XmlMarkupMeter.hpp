// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "xml/XmlLimits.hpp"

namespace opc::model {

enum class XmlEncoding { Utf8, Utf16, Other };

/// Measures the bytes of a document before the parser gets them, because the parser collects a whole tag before it
/// reports anything: attribute values, their number, and each tag, comment, processing instruction and CDATA section.
/// It also refuses NUL and half a character, which the parser takes for the document's end. In a document that is not
/// well formed its state does not matter, because the parser stops there. It does not parse document type declarations,
/// which are refused.
class XmlMarkupMeter {
 public:
  explicit XmlMarkupMeter(XmlLimits const& limits) : limits_(limits) {}

  /// Begins a document. Its first bytes (four, or fewer in a shorter document) show its encoding.
  void begin(unsigned char const* bytes, std::size_t count);
  XmlEncoding encoding() const { return encoding_; }

  /// How many of the next bytes the parser may read: all, or about those before the refused byte.
  std::size_t admit(unsigned char const* bytes, std::size_t count);
  /// There are no more bytes.
  void end();
  /// Why no more bytes are admitted; empty while more are.
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
  int firstHalf_ = -1;            // first byte of a 16-bit unit whose second byte is missing; or -1
  std::size_t missingBytes_ = 0;  // of the UTF-8 character in which the bytes so far end

  State state_ = State::Content;
  char16_t quote_ = 0;
  std::size_t run_ = 0;  // length of the current run of a closing mark's character
  std::size_t markupBytes_ = 0;
  std::size_t valueBytes_ = 0;
  std::size_t attributes_ = 0;
  std::string refusal_;
};

}  // namespace opc::model
