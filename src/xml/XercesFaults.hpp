// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <optional>
#include <string>
#include <utility>
#include <xercesc/dom/DOMErrorHandler.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/util/XercesDefs.hpp>

#include "xml/XmlFault.hpp"

namespace opc::model {

/// To be called in a catch block. Replaces an exception of Xerces by InvalidXMLDocument with the parser's message, or
/// by std::bad_alloc, and rethrows every other one, such as those of streams and content handlers.
[[noreturn]] void rethrowXercesException();

/// Runs work that calls Xerces, and converts the exceptions of Xerces.
template <typename Work>
decltype(auto) callXerces(Work&& work) {
  try {
    return std::forward<Work>(work)();
  } catch (...) {
    rethrowXercesException();
  }
}

/// The parser's text in the user's default encoding; empty for null.
std::string toMessage(XMLCh const* text);

/// Collects a Xerces parser's errors, by either of its two interfaces, and converts them to an exception once the
/// parser has ended. It does not throw during parsing, because DOM parsers swallow the exceptions of their handler, and
/// because a document that is not well formed is reported as such even after an invalid place. Of several faults the
/// fatal one counts, otherwise the first. Warnings are no faults.
class XercesErrorHandler final : public xercesc::DOMErrorHandler, public xercesc::ErrorHandler {
 public:
  /// Adds a fault that the parser does not detect. It counts as an invalid place.
  void addFault(XmlPosition const& where, std::string const& text);
  bool hasFault() const { return failure_ || fatal_ || invalid_; }
  /// Throws InvalidXMLDocument with position and message if there was a fault.
  void throwFault() const;

  /// Never throws. If memory runs out, throwFault() throws that.
  bool handleError(xercesc::DOMError const& error) override;

  void warning(xercesc::SAXParseException const& exception) override;
  void error(xercesc::SAXParseException const& exception) override;
  void fatalError(xercesc::SAXParseException const& exception) override;
  /// Removes all faults.
  void resetErrors() override;

 private:
  bool keep(xercesc::DOMError const& error);

  std::exception_ptr failure_;
  std::optional<InvalidXMLDocument> fatal_;
  std::optional<InvalidXMLDocument> invalid_;
};

}  // namespace opc::model
