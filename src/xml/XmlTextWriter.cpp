// SPDX-License-Identifier: Apache-2.0
#include "xml/XmlTextWriter.hpp"

#include <algorithm>
#include <utility>

#include "opc/model/InvalidState.hpp"
#include "text/Unicode.hpp"
#include "xml/XmlCharacters.hpp"

namespace opc::model {
namespace {

constexpr std::size_t kFlushAt = 65'536;
constexpr std::size_t kTextPiece = 8'192;
constexpr std::size_t kIndentWidth = 2;

std::u16string_view takePiece(std::u16string_view& text) {
  std::u16string_view const piece = unicode::beginning(text, kTextPiece);
  text.remove_prefix(piece.size());
  return piece;
}

}  // namespace

/// One call on the writer. Refuses a call out of order, and marks the document as broken if the call does not complete.
class XmlTextWriter::Step {
 public:
  Step(XmlTextWriter& writer, bool inOrder) : broken_(writer.broken_) {
    if (std::exchange(broken_, true)) throw InvalidState("The XML document was broken off before");
    if (!inOrder) throw InvalidState("The XML document is not written in order");
  }
  void complete() { broken_ = false; }

 private:
  bool& broken_;
};

XmlTextWriter::XmlTextWriter(OutputStream& output) : output_(output) {}

void XmlTextWriter::startRoot(std::u16string_view namespaceURI, std::u16string_view name) {
  Step step(*this, !hasRoot_);
  hasRoot_ = true;
  buffer_.append("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>\n");
  openTag(name);
  if (!namespaceURI.empty()) {
    buffer_.append(" xmlns=\"");
    buffer_.appendAttributeValue(namespaceURI);
    buffer_.append('"');
  }
  step.complete();
}

void XmlTextWriter::startElement(std::u16string_view name) {
  Step step(*this, !open_.empty());
  closeStartTag();
  if (open_.size() == 1 && !textBrokeLine_) buffer_.append('\n');  // an empty line before each child of the root
  breakLine(open_.size());
  openTag(name);
  flushIfFull();
  step.complete();
}

void XmlTextWriter::attribute(std::u16string_view name, std::u16string_view value) {
  Step step(*this, inStartTag_);
  Attribute& slot = slotFor(name);
  slot.value = values_.size();
  values_.append(' ');
  values_.appendName(name);
  values_.append("=\"");
  values_.appendAttributeValue(value);
  values_.append('"');
  slot.end = values_.size();
  step.complete();
}

void XmlTextWriter::text(std::u16string_view text) {
  Step step(*this, !open_.empty());
  closeStartTag();
  noteText(text);
  while (!text.empty()) {
    buffer_.appendText(takePiece(text));
    flushIfFull();
  }
  step.complete();
}

void XmlTextWriter::endElement() {
  Step step(*this, !open_.empty());
  Open const open = open_.back();
  open_.pop_back();
  if (inStartTag_) {
    writeAttributes();
    buffer_.append("/>");
    inStartTag_ = false;
  } else {
    closeLine(open);
    buffer_.append("</");
    buffer_.append(std::string_view(names_).substr(open.name));
    buffer_.append('>');
  }
  names_.resize(open.name);
  flushIfFull();
  step.complete();
}

void XmlTextWriter::finish() {
  Step step(*this, hasRoot_ && open_.empty() && !finished_);
  buffer_.append('\n');
  output_.write(buffer_.bytes().data(), buffer_.size());
  buffer_.clear();
  finished_ = true;
  step.complete();
}

void XmlTextWriter::openTag(std::u16string_view name) {
  buffer_.append('<');
  std::size_t const begin = buffer_.size();
  buffer_.appendName(name);
  open_.push_back({names_.size(), lineBreaks_});
  names_.append(buffer_.bytes().substr(begin));
  inStartTag_ = true;
}

void XmlTextWriter::closeStartTag() {
  if (!inStartTag_) return;
  writeAttributes();
  buffer_.append('>');
  inStartTag_ = false;
}

void XmlTextWriter::writeAttributes() {
  for (Attribute const& attribute : attributes_)
    buffer_.append(values_.bytes().substr(attribute.value, attribute.end - attribute.value));
  attributes_.clear();
  attributeNames_.clear();
  values_.clear();
}

std::u16string_view XmlTextWriter::nameOf(Attribute const& attribute) const {
  return std::u16string_view(attributeNames_).substr(attribute.name, attribute.nameLength);
}

/// The attribute of that name; if there is none, inserts one in order.
XmlTextWriter::Attribute& XmlTextWriter::slotFor(std::u16string_view name) {
  auto const isBefore = [this](Attribute const& a, std::u16string_view b) { return nameOf(a) < b; };
  auto const place = std::lower_bound(attributes_.begin(), attributes_.end(), name, isBefore);
  if (place != attributes_.end() && nameOf(*place) == name) return *place;
  Attribute const made{attributeNames_.size(), name.size(), 0, 0};
  attributeNames_.append(name);
  return *attributes_.insert(place, made);
}

/// White-space text with a line break counts as layout: the next tag on its own line gets no further break, and the
/// blanks at the end of the text count as indentation.
void XmlTextWriter::noteText(std::u16string_view text) {
  bool const isWhiteSpace = text.find_first_not_of(kXmlWhiteSpace) == text.npos;
  std::size_t lastBreak = isWhiteSpace ? text.rfind(u'\n') : text.npos;
  if (isWhiteSpace && lastBreak == text.npos) lastBreak = text.rfind(u'\r');
  textBrokeLine_ = lastBreak != text.npos;
  textIndent_ = textBrokeLine_ ? text.size() - lastBreak : 0;
}

/// An end tag stands on its own line if there were line breaks since its start tag; before that of the root there is an
/// empty line.
void XmlTextWriter::closeLine(Open const& open) {
  if (open.lineBreak == lineBreaks_) return;
  if (open_.empty()) buffer_.append('\n');
  breakLine(open_.size());
}

void XmlTextWriter::breakLine(std::size_t level) {
  if (!std::exchange(textBrokeLine_, false)) {
    buffer_.append('\n');
    ++lineBreaks_;
  }
  indent(level);
}

void XmlTextWriter::indent(std::size_t level) {
  std::size_t const there = std::exchange(textIndent_, 0) / kIndentWidth;
  if (level > there) buffer_.appendBlanks(kIndentWidth * (level - there));
}

void XmlTextWriter::flushIfFull() {
  if (buffer_.size() < kFlushAt) return;
  output_.write(buffer_.bytes().data(), buffer_.size());
  buffer_.clear();
}

}  // namespace opc::model
