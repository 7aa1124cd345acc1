// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "xml/XmlStreamReader.hpp"

namespace opc::model::detail {

/// Reads the two documents of the package itself, content types and relationships: a root element and a
/// flat list of children, all of one namespace, with attributes in none. Everything else is a fault
/// (ECMA-376-2, 7.2 and 7.3), thrown as XmlContentFault; markup compatibility too, which
/// content types must not use (10.1.2.5) and relationships have behind them when they come here.
class MarkupHandler : public XmlContentHandler {
 public:
  enum class TextInChildren { Refused, Allowed };

  void startElement(std::u16string_view namespaceURI, std::u16string_view localName,
                    XmlAttributes const& attributes) final;
  void endElement(std::u16string_view namespaceURI, std::u16string_view localName) final;
  void characters(std::u16string_view text) final;

 protected:
  MarkupHandler(std::u16string_view namespaceURI, std::u16string_view root, TextInChildren text)
      : namespaceURI_(namespaceURI), root_(root), text_(text) {}

  virtual void child(std::u16string_view name, XmlAttributes const& attributes) = 0;

  [[noreturn]] static void fail(std::string const& fault);
  [[noreturn]] static void failAtElement(std::u16string_view name);
  static std::u16string_view required(XmlAttributes const& attributes, std::u16string_view element,
                                      std::u16string_view name);
  /// No attributes but these.
  static void requireOnly(XmlAttributes const& attributes, std::u16string_view element,
                          std::span<std::u16string_view const> names);

 private:
  std::u16string_view namespaceURI_, root_;
  TextInChildren text_;
  std::size_t depth_ = 0;
};

}  // namespace opc::model::detail
