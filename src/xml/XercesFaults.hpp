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

/// Called while an exception is being handled: throws InvalidXMLDocument with the parser's message in
/// place of any exception of Xerces, and everything else (what streams and content handlers threw) as it is.
[[noreturn]] void rethrowXercesException();

/// Runs what calls Xerces, so that none of its exceptions gets any further.
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

/// Takes a Xerces parser's errors, by either of its two interfaces, and turns them into an exception when
/// the parser is done. It does not throw from the parser's midst: DOM parsers swallow what their handler
/// throws, and a document that is not well formed has to say so even after a place that is only invalid.
/// So of several faults the fatal one counts, otherwise the first. Warnings are no faults.
class XercesErrorHandler final : public xercesc::DOMErrorHandler, public xercesc::ErrorHandler {
 public:
  /// Keeps a fault that the parser does not know of; it counts like an invalid place.
  void addFault(XmlPosition const& where, std::string const& text);
  bool hasFault() const { return failure_ || fatal_ || invalid_; }
  /// Throws InvalidXMLDocument with place and message, if there was a fault.
  void throwFault() const;

  /// Never throws: what does go wrong, for want of memory, is thrown by throwFault().
  bool handleError(xercesc::DOMError const& error) override;

  void warning(xercesc::SAXParseException const& exception) override;
  void error(xercesc::SAXParseException const& exception) override;
  void fatalError(xercesc::SAXParseException const& exception) override;
  /// Forgets what there was.
  void resetErrors() override;

 private:
  bool keep(xercesc::DOMError const& error);

  std::exception_ptr failure_;
  std::optional<InvalidXMLDocument> fatal_;
  std::optional<InvalidXMLDocument> invalid_;
};

}  // namespace opc::model
