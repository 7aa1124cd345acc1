// SPDX-License-Identifier: Apache-2.0
#include "xml/XercesErrors.hpp"

#include <xercesc/dom/DOMException.hpp>
#include <xercesc/sax/SAXException.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/XMLException.hpp>

#include "opc/Strings.hpp"
#include "xml/XmlFault.hpp"

namespace opc::model {

std::string toMessage(XMLCh const* text) { return text ? toUDEString(text) : std::string(); }

void rethrowXercesException() {
  try {
    throw;
  } catch (xercesc::SAXParseException const& e) {
    throw xmlFault({e.getLineNumber(), e.getColumnNumber()}, toMessage(e.getMessage()));
  } catch (xercesc::SAXException const& e) {
    throw InvalidXMLDocument(toMessage(e.getMessage()));
  } catch (xercesc::XMLException const& e) {
    throw InvalidXMLDocument(toMessage(e.getMessage()));
  } catch (xercesc::DOMException const& e) {
    throw InvalidXMLDocument(toMessage(e.getMessage()));
  } catch (xercesc::OutOfMemoryException const&) {  // stands apart from Xerces' other exceptions
    throw InvalidXMLDocument(xml_text::outOfMemory());
  }
}

}  // namespace opc::model
