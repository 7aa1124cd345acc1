// SPDX-License-Identifier: Apache-2.0
#include "package/MarkupHandler.hpp"

#include <algorithm>
#include <cstddef>

#include "package/Messages.hpp"
#include "xml/XmlCharacters.hpp"

namespace opc::model::detail {

void MarkupHandler::fail(std::string const& fault) { throw XmlContentFault(fault); }

void MarkupHandler::failAtElement(std::u16string_view name) { fail("Unexpected element: " + messages::shown(name)); }

void MarkupHandler::startElement(std::u16string_view namespaceURI, std::u16string_view localName,
                                 XmlAttributes const& attributes) {
  bool const isRoot = depth_ == 0;
  if (depth_ > 1 || namespaceURI != namespaceURI_ || (isRoot && localName != root_)) failAtElement(localName);
  ++depth_;
  if (isRoot)
    requireOnly(attributes, localName, {});
  else
    child(localName, attributes);
}

void MarkupHandler::endElement(std::u16string_view, std::u16string_view) { --depth_; }

void MarkupHandler::characters(std::u16string_view text) {
  if (depth_ == 2 && text_ == TextInChildren::Allowed) return;
  if (text.find_first_not_of(kXmlWhiteSpace) != std::u16string_view::npos) fail("Unexpected text");
}

std::u16string_view MarkupHandler::required(XmlAttributes const& attributes, std::u16string_view element,
                                            std::u16string_view name) {
  auto const value = attributes.find(name);
  if (!value) fail("Missing attribute: " + messages::shown(element) + "/@" + messages::shown(name));
  return *value;
}

void MarkupHandler::requireOnly(XmlAttributes const& attributes, std::u16string_view element,
                                std::span<std::u16string_view const> names) {
  for (std::size_t i = 0; i < attributes.size(); ++i)
    if (!attributes.namespaceURI(i).empty() ||
        std::find(names.begin(), names.end(), attributes.localName(i)) == names.end())
      fail("Unexpected attribute: " + messages::shown(element) + "/@" + messages::shown(attributes.localName(i)));
}

}  // namespace opc::model::detail
