// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <string>
#include <xercesc/framework/XMLFormatter.hpp>

#include "opc/Streams.hpp"

namespace opc::model {

/// Lets a Xerces writer write to a stream, in larger pieces than its own. What the stream throws is kept,
/// with everything after it dropped, and thrown by finish(): a writer need not let it pass.
class XercesOutput final : public xercesc::XMLFormatTarget {
 public:
  explicit XercesOutput(OutputStream& output) : output_(output) {}

  void writeChars(XMLByte const* bytes, XMLSize_t count, xercesc::XMLFormatter* formatter) override;
  /// Hands over what is left. Does not close the stream.
  void finish();

 private:
  void handOver();

  OutputStream& output_;
  std::string buffer_;
  std::exception_ptr thrown_;
};

}  // namespace opc::model
