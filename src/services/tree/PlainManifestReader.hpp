// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "opc/Streams.hpp"
#include "xml/XmlStreamReader.hpp"

namespace opc::ztservices {

/// The lines of a stream, which end with a line feed.
class LineReader {
 public:
  /// The longest line that is read, with its end.
  static constexpr std::size_t kCapacity = 262'144;

  explicit LineReader(InputStream& input) : input_(input) {}

  /// Without its end. Valid until the next call. Empty optional at the end of the stream, and for a line that is too
  /// long or has no end.
  std::optional<std::string_view> next();
  /// Whether the stream has ended and every line was taken.
  bool isAtEnd() const { return hasEnded_ && begin_ == end_; }

 private:
  InputStream& input_;
  std::unique_ptr<char[]> buffer_ = std::make_unique_for_overwrite<char[]>(kCapacity);
  std::size_t begin_ = 0, end_ = 0;  // of what was read and not taken
  bool hasEnded_ = false;
};

/// Reads a manifest of the current version in the layout that writeManifest() prints, several times as fast as a
/// parser. Knows nothing else: it accepts no document that a validating parser refuses, and refuses many that a parser
/// accepts.
class PlainManifestReader {
 public:
  explicit PlainManifestReader(InputStream& input) : lines_(input) {}

  /// Makes the calls that an XmlStreamReader with the schema of the manifest makes. Returns false where the document
  /// departs from the layout or the handler throws: a parser then reads the document from its beginning, and finds what
  /// is wrong. Exceptions of the stream pass through.
  bool read(model::XmlContentHandler& handler);

 private:
  struct Name;

  /// Keeps the memory of its values for the next element.
  class Attributes final : public model::XmlAttributes {
   public:
    std::size_t size() const override { return size_; }
    std::u16string_view namespaceURI(std::size_t) const override { return {}; }
    std::u16string_view localName(std::size_t index) const override { return names_[index]; }
    std::u16string_view value(std::size_t index) const override { return values_[index]; }

    void clear() { size_ = 0; }
    /// An empty value. There are five attributes at most.
    std::u16string& add(std::u16string_view name);
    std::u16string_view last() const { return values_[size_ - 1]; }

   private:
    std::array<std::u16string_view, 5> names_;
    std::array<std::u16string, 5> values_;
    std::size_t size_ = 0;
  };

  bool readLine();
  bool readRoot();
  bool readEntries(model::XmlContentHandler& handler);
  bool readEntry();
  bool readEndOfEntry();
  bool take(std::string_view text);
  bool takeAttribute(Name const& name);
  bool takeValue(std::u16string& value);
  bool takeEscape(std::u16string& value);
  bool takeBeyondAscii(std::u16string& value);

  LineReader lines_;
  std::string_view rest_;  // of the line
  Attributes attributes_;
  std::u16string text_;  // of the entry
  bool isEmptyRoot_ = false;
};

}  // namespace opc::ztservices
