// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "xml/XercesHelper.hpp"
#include "xml/XercesObjects.hpp"
#include "xml/XmlStreamReader.hpp"

namespace opc::model {

/// The XML of a small part that is one record: a root whose child elements, all of the root's namespace, hold one text
/// each. Keeps a parser and a pretty-printing writer. One thread at a time.
class XmlTextRecord {
 public:
  /// With a schema, read() validates every document against it. Throws InvalidXMLSchema: "Schema could not be loaded: "
  /// and the parser's message.
  XmlTextRecord(std::u16string const& namespaceURI, std::u16string const& rootName,
                std::optional<XmlSchemaText> const& schema = std::nullopt);

  /// The texts by the names of their elements; of repeated names the first text. Empty optional for another root.
  /// Throws InvalidXMLDocument with position and message. Exceptions of the stream pass through.
  std::optional<std::map<std::u16string, std::u16string>> read(InputStream& input);

  /// Writes the texts with the names of their elements, in this order; does not close the stream. Throws
  /// InvalidXMLDocument, before anything is written, for characters that XML 1.0 cannot carry and for a
  /// document that read() would refuse as too long.
  void write(std::vector<std::pair<char16_t const*, std::u16string>> const& texts, OutputStream& output);

 private:
  using Document = XercesOwned<xercesc::DOMDocument>;

  XercesGuard guard_;  // outlives the members below
  XercesString namespaceURI_;
  XercesString rootName_;
  bool validates_;
  XercesOwned<xercesc::DOMLSParser> parser_;
  XercesOwned<xercesc::DOMLSSerializer> writer_;
};

}  // namespace opc::model
