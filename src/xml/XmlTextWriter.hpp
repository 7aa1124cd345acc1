// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "opc/Streams.hpp"
#include "xml/XmlByteBuffer.hpp"

namespace opc::model {

/// Writes a pretty-printed XML document as a stream; what it prints is, byte for byte, what the DOM writer
/// prints for the same document, each call of text() being one text node. Attributes come out sorted by
/// name; one that is given twice has the later value. Characters that XML 1.0 cannot carry throw
/// InvalidXMLDocument; calls out of order throw InvalidState. After anything was thrown the document
/// cannot be completed: every further call throws InvalidState. finish() ends the document and hands what
/// is left to the stream, which it does not close. Names are not checked beyond their characters.
class XmlTextWriter {
 public:
  explicit XmlTextWriter(OutputStream& output);
  XmlTextWriter(XmlTextWriter const&) = delete;
  XmlTextWriter& operator=(XmlTextWriter const&) = delete;

  /// The root element in the default namespace `namespaceURI`; the elements below are in it too. An empty
  /// one is none.
  void startRoot(std::u16string_view namespaceURI, std::u16string_view name);
  void startElement(std::u16string_view name);
  /// Belongs to the element that was just started.
  void attribute(std::u16string_view name, std::u16string_view value);
  void text(std::u16string_view text);
  void endElement();
  void finish();

 private:
  struct Open {
    std::size_t name;       // where the element's name begins in names_
    std::size_t lineBreak;  // lineBreaks_ when its start tag was written
  };
  struct Attribute {
    std::size_t name, nameLength;  // in attributeNames_
    std::size_t value, end;        // in values_, as it will be written
  };
  class Step;

  void openTag(std::u16string_view name);
  void closeStartTag();
  void writeAttributes();
  void closeLine(Open const& open);
  void breakLine(std::size_t level);
  void indent(std::size_t level);
  void noteText(std::u16string_view text);
  void flushIfFull();
  std::u16string_view nameOf(Attribute const& attribute) const;
  Attribute& slotFor(std::u16string_view name);

  OutputStream& output_;
  XmlByteBuffer buffer_;
  std::string names_;       // of the elements under way, one behind the other
  std::vector<Open> open_;  // root first
  // The attributes of the start tag under way. What they take up is used again for the next tag.
  std::vector<Attribute> attributes_;  // sorted by name
  std::u16string attributeNames_;
  XmlByteBuffer values_;

  std::size_t lineBreaks_ = 0;  // how many were made by the layout
  bool textBrokeLine_ = false;  // white space in the document stands for the next line break
  std::size_t textIndent_ = 0;  // and so many characters at its end for indentation
  bool inStartTag_ = false;
  bool hasRoot_ = false;
  bool finished_ = false;
  bool broken_ = false;
};

}  // namespace opc::model
