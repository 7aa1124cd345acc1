// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <xercesc/framework/XMLGrammarPool.hpp>
#include <xercesc/sax/InputSource.hpp>

#include "xml/XercesFaults.hpp"
#include "xml/XercesObjects.hpp"
#include "xml/XmlStreamReader.hpp"

namespace opc::model {

/// Hands the schema's text to `load`, which says whether a grammar came of it and whose parser reports to
/// `errors`. Whatever goes wrong leaves as InvalidXMLSchema.
void loadXmlSchema(XmlSchemaText const& schema, XercesErrorHandler& errors,
                   std::function<bool(xercesc::InputSource&)> const& load);

/// A pool of grammars that never changes once it is made, so that any number of readers may share it,
/// each in its own thread.
class XmlGrammars {
 public:
  explicit XmlGrammars(std::initializer_list<XmlSchemaText> schemas);

  xercesc::XMLGrammarPool& pool() const { return *pool_; }

 private:
  XercesGuard guard_;
  std::unique_ptr<xercesc::XMLGrammarPool> pool_;
};

}  // namespace opc::model
