// SPDX-License-Identifier: Apache-2.0
#include "xml/XmlGrammars.hpp"

#include <cstring>
#include <string>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/XMLGrammarPoolImpl.hpp>
#include <xercesc/validators/schema/ComplexTypeInfo.hpp>
#include <xercesc/validators/schema/SchemaGrammar.hpp>

#include "xml/XercesFaults.hpp"
#include "xml/XmlSaxParser.hpp"

namespace opc::model {

void loadXmlSchema(XmlSchemaText const& schema, XercesErrorHandler& errors,
                   std::function<bool(xercesc::InputSource&)> const& load) {
  try {
    errors.resetErrors();
    callXerces([&] {
      xercesc::MemBufInputSource source(reinterpret_cast<XMLByte const*>(schema.text), std::strlen(schema.text),
                                        schema.fileName);
      bool const isLoaded = load(source);
      errors.throwFault();
      if (!isLoaded) throw InvalidXMLDocument("There is no schema in the text");
    });
  } catch (InvalidXMLDocument const& e) {
    throw InvalidXMLSchema(std::string("Schema could not be loaded: ") + e.what());
  }
}

namespace {

/// Xerces makes the content model of a type when a document first needs it, without a lock. Two threads that share the
/// grammar would both make it.
void completeTypes(xercesc::XMLGrammarPool& pool) {
  xercesc::RefHashTableOfEnumerator<xercesc::Grammar> grammars = pool.getGrammarEnumerator();
  while (grammars.hasMoreElements()) {
    auto& grammar = dynamic_cast<xercesc::SchemaGrammar&>(grammars.nextElement());
    xercesc::RefHashTableOfEnumerator<xercesc::ComplexTypeInfo> types(grammar.getComplexTypeRegistry());
    while (types.hasMoreElements()) {
      xercesc::ComplexTypeInfo& type = types.nextElement();
      type.getContentModel();
      type.getFormattedContentModel();
    }
  }
}

}  // namespace

XmlGrammars::XmlGrammars(std::initializer_list<XmlSchemaText> schemas) {
  callXerces([&] {
    pool_ = std::make_unique<xercesc::XMLGrammarPoolImpl>(xercesc::XMLPlatformUtils::fgMemoryManager);
    XmlSaxParser parser(pool_.get(), {}, XmlSchemaLocations::Ignore);
    for (XmlSchemaText const& schema : schemas) parser.loadSchema(schema);
    completeTypes(*pool_);
    pool_->lockPool();
  });
}

std::shared_ptr<XmlGrammars const> loadXmlGrammars(std::initializer_list<XmlSchemaText> schemas) {
  return std::make_shared<XmlGrammars const>(schemas);
}

}  // namespace opc::model
