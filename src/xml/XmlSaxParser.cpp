// SPDX-License-Identifier: Apache-2.0
#include "xml/XmlSaxParser.hpp"

#include <utility>
#include <xercesc/framework/XMLAttr.hpp>
#include <xercesc/framework/XMLElementDecl.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xercesc/validators/DTD/DTDElementDecl.hpp>

#include "xml/XmlFault.hpp"
#include "xml/XmlGrammars.hpp"

namespace opc::model {
namespace {

constexpr std::u16string_view kDeclarationNamespace = u"http://www.w3.org/2000/xmlns/";

/// The declaration of a default namespace has no prefix, and the scanner gives it no namespace.
bool isNamespaceDeclaration(std::u16string_view namespaceURI, std::u16string_view name) {
  return namespaceURI == kDeclarationNamespace || (namespaceURI.empty() && name == u"xmlns");
}

}  // namespace

using xercesc::XMLUni;

XmlSaxParser::XmlSaxParser(xercesc::XMLGrammarPool* grammars, XmlLimits const& limits, XmlSchemaLocations locations)
    : SAX2XMLReaderImpl(xercesc::XMLPlatformUtils::fgMemoryManager, grammars),
      check_(limits, locations),
      locatorKeeper_(check_) {
  bool const validate = grammars != nullptr;
  setFeature(XMLUni::fgSAX2CoreNameSpaces, true);
  setFeature(XMLUni::fgSAX2CoreValidation, validate);
  setFeature(XMLUni::fgXercesDynamic, false);
  setFeature(XMLUni::fgXercesSchema, validate);
  setFeature(XMLUni::fgXercesLoadSchema, false);
  setFeature(XMLUni::fgXercesLoadExternalDTD, false);
  setFeature(XMLUni::fgXercesDisableDefaultEntityResolution, true);
  setFeature(XMLUni::fgXercesContinueAfterFatalError, false);
  setFeature(XMLUni::fgXercesCacheGrammarFromParse, false);
  setFeature(XMLUni::fgXercesUseCachedGrammarInParse, validate);
  setProperty(XMLUni::fgXercesSecurityManager, &check_.securityManager());
  XMLSize_t lowWaterMark = kXmlLowWaterMark;
  setProperty(XMLUni::fgXercesLowWaterMark, &lowWaterMark);
  setErrorHandler(&check_.errors());
  setXMLEntityResolver(&check_);
  setContentHandler(&locatorKeeper_);
  setDTDHandler(&locatorKeeper_);  // otherwise the scanner does not report document types
}

void XmlSaxParser::loadSchema(XmlSchemaText const& schema) {
  loadXmlSchema(schema, check_.errors(), [this](xercesc::InputSource& source) {
    return loadGrammar(source, xercesc::Grammar::SchemaGrammarType, true) != nullptr;
  });
}

void XmlSaxParser::read(InputStream& input, XmlContentHandler& handler) {
  handler_ = &handler;
  thrown_ = nullptr;
  check_.run(input, [this](xercesc::InputSource const& source) { parse(source); });
  if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
}

void XmlSaxParser::XMLDecl(XMLCh const* version, XMLCh const* encoding, XMLCh const*, XMLCh const*) {
  check_.xmlDeclaration(version, encoding);
}

void XmlSaxParser::doctypeDecl(xercesc::DTDElementDecl const&, XMLCh const*, XMLCh const*, bool, bool) {
  check_.documentType();
}

void XmlSaxParser::startElement(xercesc::XMLElementDecl const& element, unsigned int uri, XMLCh const* prefix,
                                xercesc::RefVectorOf<xercesc::XMLAttr> const& attributes, XMLSize_t attributeCount,
                                bool isEmpty, bool isRoot) {
  check_.startElement();
  collect(attributes, attributeCount);
  tellHandler([&] { handler_->startElement(getURIText(uri), element.getBaseName(), attributes_); });
  if (isEmpty) endElement(element, uri, isRoot, prefix);
}

void XmlSaxParser::endElement(xercesc::XMLElementDecl const& element, unsigned int uri, bool, XMLCh const*) {
  check_.endElement();
  tellHandler([&] { handler_->endElement(getURIText(uri), element.getBaseName()); });
}

void XmlSaxParser::docCharacters(XMLCh const* text, XMLSize_t length, bool) {
  tellHandler([&] { handler_->characters({text, length}); });
}

void XmlSaxParser::ignorableWhitespace(XMLCh const*, XMLSize_t, bool) {}

void XmlSaxParser::docComment(XMLCh const*) {}

void XmlSaxParser::docPI(XMLCh const*, XMLCh const*) {}

void XmlSaxParser::collect(xercesc::RefVectorOf<xercesc::XMLAttr> const& attributes, XMLSize_t count) {
  attributes_.clear();
  for (XMLSize_t i = 0; i < count; ++i) {
    xercesc::XMLAttr const& attribute = *attributes.elementAt(i);
    std::u16string_view const namespaceURI = getURIText(attribute.getURIId());
    std::u16string_view const name = attribute.getName();
    if (isNamespaceDeclaration(namespaceURI, name))
      tellHandler([&] { handler_->namespaceDeclared(name == u"xmlns" ? u"" : name, attribute.getValue()); });
    else if (!check_.takeSchemaLocation(namespaceURI, name))
      attributes_.add({namespaceURI, name, attribute.getValue()});
  }
}

/// An exception of the handler waits until the whole document has been read, because a fault of the document has
/// precedence. The handler gets no more calls after it, nor after an invalid place.
template <typename Call>
void XmlSaxParser::tellHandler(Call&& call) {
  if (thrown_ || check_.errors().hasFault()) return;
  try {
    call();
  } catch (XmlContentFault const& fault) {
    thrown_ = std::make_exception_ptr(xmlFault(check_.position(), fault.what()));
  } catch (...) {
    thrown_ = std::current_exception();
  }
}

}  // namespace opc::model
