// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "xml/XmlStreamReader.hpp"

namespace opc::model::detail {

/// Reads the package's own documents, content types and relationships: a root element and a flat list of children, all
/// of one namespace, with attributes in none. Throws XmlContentFault for everything else (ECMA-376-2, 7.2 and 7.3),
/// also for markup compatibility, which content types must not use (10.1.2.5) and which is already processed in
/// relationships.
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
  /// Throws for other attributes than these.
  static void requireOnly(XmlAttributes const& attributes, std::u16string_view element,
                          std::span<std::u16string_view const> names);

 private:
  std::u16string_view namespaceURI_, root_;
  TextInChildren text_;
  std::size_t depth_ = 0;
};

/// The namespace of ECMA-376-3.
inline constexpr std::u16string_view kCompatibilityNamespace =
    u"http://schemas.openxmlformats.org/markup-compatibility/2006";

/// Preprocesses a document for a reader that understands one namespace (ECMA-376-3, 10). It leaves out ignorable
/// content (10.1.1) except content marked for processing (10.1.2), selects the first alternate content that the reader
/// understands (10.2), and refuses a document that the reader must understand and does not (10.1.4). For one document.
/// Throws its faults as XmlContentFault.
class MarkupCompatibility final : public XmlContentHandler {
 public:
  /// Both arguments are kept by reference.
  MarkupCompatibility(XmlContentHandler& reader, std::u16string_view understood)
      : reader_(reader), understood_(understood) {}

  void namespaceDeclared(std::u16string_view prefix, std::u16string_view namespaceURI) override;
  void startElement(std::u16string_view namespaceURI, std::u16string_view localName,
                    XmlAttributes const& attributes) override;
  void endElement(std::u16string_view namespaceURI, std::u16string_view localName) override;
  void characters(std::u16string_view text) override;

 private:
  /// The handling of an element: passed on, replaced by its content, or a container of alternate content.
  enum class Fate { PassedOn, Unwrapped, Alternatives };

  struct Element {
    Fate fate;
    std::size_t declared, ignorable, processed;  // their numbers outside it
    bool hasChoice = false, isDecided = false, hasFallback = false;
  };

  bool isUnderstood(std::u16string_view namespaceURI) const;
  bool isIgnored(std::u16string_view namespaceURI) const;
  bool isProcessed(std::u16string_view namespaceURI, std::u16string_view localName) const;
  std::u16string const& namespaceOf(std::u16string_view prefix) const;
  bool areUnderstood(std::u16string_view prefixes) const;

  void open();
  void close();
  void skip();
  void takeRules(XmlAttributes const& attributes);
  void takeIgnorable(std::u16string_view prefix);
  void takeProcessed(std::u16string_view name);
  void requireUnderstood(XmlAttributes const& attributes) const;
  void requireNoOthers(std::u16string_view element, XmlAttributes const& attributes, std::u16string_view allowed) const;
  void startOwn(std::u16string_view name, XmlAttributes const& attributes, Element* alternatives);
  void startChoice(XmlAttributes const& attributes, Element& alternatives);
  void startFallback(XmlAttributes const& attributes, Element& alternatives);
  void decide(bool isChosen, XmlAttributes const& attributes, Element& alternatives);
  void passOn(std::u16string_view namespaceURI, std::u16string_view localName, XmlAttributes const& attributes);

  XmlContentHandler& reader_;
  std::u16string_view understood_;
  std::vector<Element> elements_;  // the open ones, without skipped ones
  std::size_t skipped_ = 0;        // depth within a skipped element
  std::size_t passedOn_ = 0;       // number of open elements that were passed on
  bool hasRoot_ = false;

  // The rules in force, and the order of their appearance, so that they can be undone. Sets, since a document of a few
  // megabytes can declare and list hundreds of thousands of names.
  using Declarations = std::map<std::u16string, std::vector<std::u16string>, std::less<>>;
  Declarations declarations_;  // by prefix, the innermost last
  std::vector<Declarations::iterator> declared_;
  std::size_t outerDeclared_ = 0;  // number without those of the next element
  std::set<std::u16string, std::less<>> ignorable_;
  std::vector<std::set<std::u16string, std::less<>>::iterator> ignorableOrder_;
  using Name = std::pair<std::u16string_view, std::u16string>;  // a view of its namespace in ignorable_
  std::set<Name> processed_;                                    // "*" for all of the namespace
  std::vector<std::set<Name>::iterator> processedOrder_;
};

}  // namespace opc::model::detail
