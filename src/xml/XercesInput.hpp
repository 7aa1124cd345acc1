// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <xercesc/sax/InputSource.hpp>

#include "opc/Streams.hpp"
#include "xml/XmlFault.hpp"
#include "xml/XmlMarkupMeter.hpp"

namespace opc::model {

/// Lets a Xerces parser read from a stream, within limits. What the stream throws passes through the parser.
/// A limit is reported where the parser stands once it has read all that was within it, so that a fault
/// of the document before that place is reported first. Stream, meter and limits outlive the source.
class XercesInput final : public xercesc::InputSource {
 public:
  using Position = std::function<XmlPosition()>;

  XercesInput(InputStream& input, XmlMarkupMeter& meter, XmlLimits const& limits, Position position);
  xercesc::BinInputStream* makeStream() const override;

 private:
  class Stream;

  InputStream& input_;
  XmlMarkupMeter& meter_;
  XmlLimits const& limits_;
  Position position_;
};

}  // namespace opc::model
