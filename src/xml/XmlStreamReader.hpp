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

/// The attributes of one element, in document order, without namespace declarations. Valid during the call that passes
/// them.
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

/// A handler throws this for a wrong document. It holds the text only; the reader adds the position.
class XmlContentFault : public Exception {
 public:
  using Exception::Exception;
};

/// Receives the content of a document while it is read. After an exception of the handler the reader reads the rest of
/// the document and makes no more calls; if it finds no fault, read() throws the exception. XmlContentFault becomes
/// InvalidXMLDocument with line and column; every other exception is unchanged.
class XmlContentHandler {
 public:
  /// A namespace declaration of the element that starts next. The prefix of the default namespace is empty.
  virtual void namespaceDeclared(std::u16string_view prefix, std::u16string_view namespaceURI);
  virtual void startElement(std::u16string_view namespaceURI, std::u16string_view localName,
                            XmlAttributes const& attributes) = 0;
  virtual void endElement(std::u16string_view namespaceURI, std::u16string_view localName);
  /// May be called several times for one text. Not called for white space where a schema allows only elements.
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

/// Reads documents as streams: XML 1.0 in UTF-8 or UTF-16, without DTD, network and entities other than the five
/// predefined ones, within limits. Validates if grammars are given. A document that is not well formed, not valid or
/// beyond a limit throws InvalidXMLDocument with the parser's message, line and column. After an invalid place the rest
/// is read, because a document that is not well formed is reported as such. A fault of the document has precedence over
/// an exception of the handler. Exceptions of the stream pass through at once. The reader can be used again after an
/// exception, and should be kept for many documents. One thread at a time, and not from within its own handler.
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
