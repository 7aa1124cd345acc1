// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>
#include <xercesc/util/XercesDefs.hpp>

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

}  // namespace opc::model
