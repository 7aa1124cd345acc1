// SPDX-License-Identifier: Apache-2.0
#include "xml/XmlStreamReader.hpp"

#include <utility>

#include "opc/model/InvalidState.hpp"
#include "xml/XercesFaults.hpp"
#include "xml/XercesObjects.hpp"
#include "xml/XmlGrammars.hpp"
#include "xml/XmlSaxParser.hpp"

namespace opc::model {

std::optional<std::u16string_view> XmlAttributes::find(std::u16string_view name) const {
  for (std::size_t i = 0; i < size(); ++i)
    if (localName(i) == name && namespaceURI(i).empty()) return value(i);
  return std::nullopt;
}

void XmlContentHandler::namespaceDeclared(std::u16string_view, std::u16string_view) {}

void XmlContentHandler::endElement(std::u16string_view, std::u16string_view) {}

void XmlContentHandler::characters(std::u16string_view) {}

XmlContentHandler::~XmlContentHandler() = default;

struct XmlStreamReader::Impl {
  XercesGuard guard;
  std::shared_ptr<XmlGrammars const> grammars;
  XmlLimits limits;
  XmlSchemaLocations locations;
  std::unique_ptr<XmlSaxParser> parser;  // kept, because construction takes longer than reading a small document
  bool isReading = false;

  void makeParser() {
    callXerces(
        [&] { parser = std::make_unique<XmlSaxParser>(grammars ? &grammars->pool() : nullptr, limits, locations); });
  }
};

XmlStreamReader::XmlStreamReader(std::shared_ptr<XmlGrammars const> grammars, XmlLimits const& limits,
                                 XmlSchemaLocations locations)
    : impl_(new Impl{{}, std::move(grammars), limits, locations, nullptr, false}) {}

XmlStreamReader::~XmlStreamReader() = default;

void XmlStreamReader::read(InputStream& input, XmlContentHandler& handler) {
  if (impl_->isReading) throw InvalidState("An XML reader is used by its own handler");
  if (!impl_->parser) impl_->makeParser();
  impl_->isReading = true;
  try {
    impl_->parser->read(input, handler);
  } catch (...) {
    impl_->parser.reset();  // after it ran out of memory it stays busy
    impl_->isReading = false;
    throw;
  }
  impl_->isReading = false;
}

}  // namespace opc::model
