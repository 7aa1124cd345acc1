// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "opc/Streams.hpp"
#include "opc/model/XmlExceptions.hpp"
#include "xml/XmlLimits.hpp"

namespace opc::model {

/// The attributes of one element, in document order, without namespace declarations; valid during the
/// call that hands them out.
class XmlAttributes {
 public:
  virtual std::size_t size() const = 0;
  virtual std::u16string_view namespaceURI(std::size_t index) const = 0;
  virtual std::u16string_view localName(std::size_t index) const = 0;
  virtual std::u16string_view value(std::size_t index) const = 0;
  /// The value of an attribute in no namespace.
  std::optional<std::u16string_view> find(std::u16string_view localName) const;

 protected:
  ~XmlAttributes() = default;
};

/// Thrown by a handler: the document is not what it should be. The text alone; the reader adds where.
class XmlContentFault : public Exception {
 public:
  using Exception::Exception;
};

/// What a document holds, as it streams by. An exception thrown from here passes out of read(), once the rest
/// of the document has been read without a fault; nothing more is told meanwhile. An XmlContentFault becomes
/// an InvalidXMLDocument that names line and column, every other one stays what it is.
class XmlContentHandler {
 public:
  /// A namespace declaration of the element whose start comes next; an empty prefix for the default one.
  virtual void namespaceDeclared(std::u16string_view prefix, std::u16string_view namespaceURI);
  virtual void startElement(std::u16string_view namespaceURI, std::u16string_view localName,
                            XmlAttributes const& attributes) = 0;
  virtual void endElement(std::u16string_view namespaceURI, std::u16string_view localName);
  /// May be called several times for one text. Not called for white space where a schema allows elements only.
  virtual void characters(std::u16string_view text);
  virtual ~XmlContentHandler();
};

/// Schemas held in memory, parsed once and locked; shared by readers.
class XmlGrammars;

/// Loads schemas; `fileName` is the system identifier. Throws InvalidXMLSchema ("Schema could not be
/// loaded: " and the parser's message).
struct XmlSchemaText {
  char const* fileName;
  char const* text;
};
std::shared_ptr<XmlGrammars const> loadXmlGrammars(std::initializer_list<XmlSchemaText> schemas);

/// Reads documents as streams: no DTD, no entities but the five, no network, XML 1.0 in UTF-8 or UTF-16
/// only, within limits; validated where grammars are given. A document that is not well formed, not valid
/// or beyond a limit throws InvalidXMLDocument with the parser's message, line and column; after a place
/// that is only invalid the rest is read on, since a document that is not even well formed says so
/// first. A fault of the document goes before what the handler threw; what the stream throws passes out at
/// once. Can be used again after it threw, and should be kept for many documents. One thread at a time, and
/// not from within its own handler.
class XmlStreamReader {
 public:
  explicit XmlStreamReader(std::shared_ptr<XmlGrammars const> grammars = nullptr, XmlLimits const& limits = {},
                           XmlSchemaLocations schemaLocations = XmlSchemaLocations::Ignore);
  ~XmlStreamReader();
  XmlStreamReader(XmlStreamReader const&) = delete;
  XmlStreamReader& operator=(XmlStreamReader const&) = delete;

  void read(InputStream& input, XmlContentHandler& handler);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace opc::model
