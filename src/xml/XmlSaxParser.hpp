// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <exception>
#include <string_view>
#include <vector>
#include <xercesc/parsers/SAX2XMLReaderImpl.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>

#include "xml/XmlDocumentCheck.hpp"
#include "xml/XmlStreamReader.hpp"

namespace opc::model {

/// The streaming parser. Passes a document's content from the scanner to a handler. It derives from the library's SAX2
/// reader because that reader's handlers do not report the XML declaration.
class XmlSaxParser final : public xercesc::SAX2XMLReaderImpl {
 public:
  /// Validates against the pool's grammars; without a pool it does not validate.
  XmlSaxParser(xercesc::XMLGrammarPool* grammars, XmlLimits const& limits, XmlSchemaLocations locations);

  void loadSchema(XmlSchemaText const& schema);
  void read(InputStream& input, XmlContentHandler& handler);

  void XMLDecl(XMLCh const* version, XMLCh const* encoding, XMLCh const* standalone, XMLCh const* actual) override;
  void doctypeDecl(xercesc::DTDElementDecl const& element, XMLCh const* publicId, XMLCh const* systemId,
                   bool hasInternalSubset, bool hasExternalSubset) override;
  void startElement(xercesc::XMLElementDecl const& element, unsigned int uri, XMLCh const* prefix,
                    xercesc::RefVectorOf<xercesc::XMLAttr> const& attributes, XMLSize_t attributeCount, bool isEmpty,
                    bool isRoot) override;
  void endElement(xercesc::XMLElementDecl const& element, unsigned int uri, bool isRoot, XMLCh const* prefix) override;
  void docCharacters(XMLCh const* text, XMLSize_t length, bool isCData) override;
  void ignorableWhitespace(XMLCh const* text, XMLSize_t length, bool isCData) override;
  void docComment(XMLCh const* text) override;
  void docPI(XMLCh const* target, XMLCh const* data) override;

 private:
  /// The attributes of the current element, without those that the parser uses itself.
  class Attributes final : public XmlAttributes {
   public:
    struct One {
      std::u16string_view namespaceURI, localName, value;
    };
    void clear() { all_.clear(); }
    void add(One const& one) { all_.push_back(one); }
    std::size_t size() const override { return all_.size(); }
    std::u16string_view namespaceURI(std::size_t index) const override { return all_.at(index).namespaceURI; }
    std::u16string_view localName(std::size_t index) const override { return all_.at(index).localName; }
    std::u16string_view value(std::size_t index) const override { return all_.at(index).value; }

   private:
    std::vector<One> all_;
  };

  /// Receives the parser's source of its position, which the parser gives to its content handler only.
  class LocatorKeeper final : public xercesc::DefaultHandler {
   public:
    explicit LocatorKeeper(XmlDocumentCheck& check) : check_(check) {}
    void setDocumentLocator(xercesc::Locator const* locator) override { check_.setLocator(locator); }

   private:
    XmlDocumentCheck& check_;
  };

  void collect(xercesc::RefVectorOf<xercesc::XMLAttr> const& attributes, XMLSize_t count);
  template <typename Call>
  void tellHandler(Call&& call);

  XmlDocumentCheck check_;
  LocatorKeeper locatorKeeper_;
  Attributes attributes_;
  XmlContentHandler* handler_ = nullptr;
  std::exception_ptr thrown_;  // by the handler
};

}  // namespace opc::model
