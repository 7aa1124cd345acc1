// SPDX-License-Identifier: Apache-2.0
#include "xml/XercesFaults.hpp"

#include <new>
#include <xercesc/dom/DOMError.hpp>
#include <xercesc/dom/DOMException.hpp>
#include <xercesc/dom/DOMLocator.hpp>
#include <xercesc/sax/SAXException.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/XMLException.hpp>

#include "opc/Strings.hpp"
#include "xml/XmlFault.hpp"

namespace opc::model {
namespace {

void keepFirst(std::optional<InvalidXMLDocument>& kept, XmlPosition const& where, std::string const& text) {
  if (!kept) kept = xmlFault(where, text);
}

XmlPosition positionOf(xercesc::SAXParseException const& exception) {
  return {exception.getLineNumber(), exception.getColumnNumber()};
}

}  // namespace

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
  } catch (xercesc::OutOfMemoryException const&) {  // has no base class in common with the others
    throw std::bad_alloc();                         // the document may be sound
  }
}

void XercesErrorHandler::addFault(XmlPosition const& where, std::string const& text) {
  keepFirst(invalid_, where, text);
}

void XercesErrorHandler::throwFault() const {
  if (failure_) std::rethrow_exception(failure_);
  if (fatal_) throw InvalidXMLDocument(*fatal_);
  if (invalid_) throw InvalidXMLDocument(*invalid_);
}

bool XercesErrorHandler::handleError(xercesc::DOMError const& error) try { return keep(error); } catch (...) {
  failure_ = std::current_exception();
  return false;
}

bool XercesErrorHandler::keep(xercesc::DOMError const& error) {
  if (error.getSeverity() == xercesc::DOMError::DOM_SEVERITY_WARNING) return true;
  bool const isFatal = error.getSeverity() == xercesc::DOMError::DOM_SEVERITY_FATAL_ERROR;
  xercesc::DOMLocator const* const locator = error.getLocation();
  XmlPosition where;
  if (locator) where = {locator->getLineNumber(), locator->getColumnNumber()};
  keepFirst(isFatal ? fatal_ : invalid_, where, toMessage(error.getMessage()));
  return !isFatal;
}

void XercesErrorHandler::warning(xercesc::SAXParseException const&) {}

void XercesErrorHandler::error(xercesc::SAXParseException const& exception) {
  keepFirst(invalid_, positionOf(exception), toMessage(exception.getMessage()));
}

void XercesErrorHandler::fatalError(xercesc::SAXParseException const& exception) {
  keepFirst(fatal_, positionOf(exception), toMessage(exception.getMessage()));
}

void XercesErrorHandler::resetErrors() {
  failure_ = nullptr;
  fatal_.reset();
  invalid_.reset();
}

}  // namespace opc::model
