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

/// Passes the schema's text to `load`, which returns whether it made a grammar and whose parser reports to `errors`.
/// Every failure becomes InvalidXMLSchema.
void loadXmlSchema(XmlSchemaText const& schema, XercesErrorHandler& errors,
                   std::function<bool(xercesc::InputSource&)> const& load);

/// A pool of grammars that never changes after construction, so that any number of readers may share it, each in its
/// own thread.
class XmlGrammars {
 public:
  explicit XmlGrammars(std::initializer_list<XmlSchemaText> schemas);

  xercesc::XMLGrammarPool& pool() const { return *pool_; }

 private:
  XercesGuard guard_;
  std::unique_ptr<xercesc::XMLGrammarPool> pool_;
};

}  // namespace opc::model
