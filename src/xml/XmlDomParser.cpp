// SPDX-License-Identifier: Apache-2.0
#include "xml/XmlDomParser.hpp"

#include <string_view>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/framework/Wrapper4InputSource.hpp>
#include <xercesc/framework/XMLAttr.hpp>
#include <xercesc/framework/XMLElementDecl.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xercesc/validators/DTD/DTDElementDecl.hpp>

#include "xml/XmlGrammars.hpp"

namespace opc::model {

using xercesc::XMLUni;

namespace {

XmlLimits domLimits() {
  XmlLimits limits;
  limits.documentBytes = kXmlDomDocumentBytes;
  return limits;
}

}  // namespace

XmlDomParser::XmlDomParser(XmlSchemaLocations locations) : check_(domLimits(), locations) {
  setParameter(XMLUni::fgDOMErrorHandler, static_cast<xercesc::DOMErrorHandler*>(&check_.errors()));
  setParameter(XMLUni::fgXercesEntityResolver, static_cast<xercesc::XMLEntityResolver*>(&check_));
  setParameter(XMLUni::fgXercesDisableDefaultEntityResolution, true);
  setParameter(XMLUni::fgXercesLoadExternalDTD, false);
  setParameter(XMLUni::fgXercesLoadSchema, false);
  setParameter(XMLUni::fgXercesContinueAfterFatalError, false);
  setParameter(XMLUni::fgXercesCacheGrammarFromParse, false);
  setParameter(XMLUni::fgXercesUseCachedGrammarInParse, true);
  setParameter(XMLUni::fgXercesDoXInclude, false);
  setParameter(XMLUni::fgDOMNamespaces, true);
  setParameter(XMLUni::fgDOMValidateIfSchema, false);
  setSecurityManager(&check_.securityManager());
  setLowWaterMark(kXmlLowWaterMark);
}

void XmlDomParser::loadSchema(char const* schema, char const* fileName) {
  loadXmlSchema({fileName, schema}, check_.errors(), [this](xercesc::InputSource& source) {
    xercesc::Wrapper4InputSource const input(&source, false);
    return DOMLSParserImpl::loadGrammar(&input, xercesc::Grammar::SchemaGrammarType, true) != nullptr;
  });
}

xercesc::DOMDocument* XmlDomParser::read(InputStream& input, bool validate, std::u16string const& rootNamespace,
                                         std::u16string const& rootName) {
  setParameter(XMLUni::fgDOMValidate, validate);
  setParameter(XMLUni::fgXercesSchema, validate);
  rootNamespace_ = rootNamespace;
  rootName_ = rootName;
  try {
    check_.run(input, [this](xercesc::InputSource const& source) { AbstractDOMParser::parse(source); });
  } catch (...) {
    setParseInProgress(false);  // the parser stays busy if memory runs out
    resetDocumentPool();
    throw;
  }
  return adoptDocument();
}

void XmlDomParser::startDocument() {
  check_.setLocator(getScanner()->getLocator());
  DOMLSParserImpl::startDocument();
}

void XmlDomParser::XMLDecl(XMLCh const* version, XMLCh const* encoding, XMLCh const* standalone, XMLCh const* actual) {
  check_.xmlDeclaration(version, encoding);
  DOMLSParserImpl::XMLDecl(version, encoding, standalone, actual);
}

void XmlDomParser::doctypeDecl(xercesc::DTDElementDecl const&, XMLCh const*, XMLCh const*, bool, bool) {
  check_.documentType();
}

void XmlDomParser::startElement(xercesc::XMLElementDecl const& element, unsigned int uri, XMLCh const* prefix,
                                xercesc::RefVectorOf<xercesc::XMLAttr> const& attributes, XMLSize_t attributeCount,
                                bool isEmpty, bool isRoot) {
  check_.startElement();
  if (isRoot) checkRoot(getURIText(uri), element.getBaseName());
  for (XMLSize_t i = 0; i < attributeCount; ++i) {
    xercesc::XMLAttr const& attribute = *attributes.elementAt(i);
    check_.takeSchemaLocation(getURIText(attribute.getURIId()), attribute.getName());
  }
  DOMLSParserImpl::startElement(element, uri, prefix, attributes, attributeCount, isEmpty, isRoot);
  if (isEmpty) check_.endElement();
}

void XmlDomParser::endElement(xercesc::XMLElementDecl const& element, unsigned int uri, bool isRoot,
                              XMLCh const* prefix) {
  check_.endElement();
  DOMLSParserImpl::endElement(element, uri, isRoot, prefix);
}

/// A wrong root counts as an invalid place, as with a schema, and not as a document that is not well formed.
void XmlDomParser::checkRoot(std::u16string_view foundNamespace, std::u16string_view foundName) {
  bool const isWanted =
      (rootNamespace_.empty() || foundNamespace == rootNamespace_) && (rootName_.empty() || foundName == rootName_);
  if (isWanted) return;
  check_.errors().addFault(check_.position(),
                           xml_text::documentElement(foundNamespace, foundName, rootNamespace_, rootName_));
}

}  // namespace opc::model
