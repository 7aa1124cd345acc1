// SPDX-License-Identifier: Apache-2.0
#include "xml/XercesInput.hpp"

#include <algorithm>
#include <utility>
#include <xercesc/util/BinInputStream.hpp>

namespace opc::model {
namespace {

constexpr std::size_t kSignatureBytes = 4;  // what tells the encoding

}  // namespace

class XercesInput::Stream final : public xercesc::BinInputStream {
 public:
  explicit Stream(XercesInput const& source) : source_(source) {}

  XMLFilePos curPos() const override { return delivered_; }
  XMLCh const* getContentType() const override { return nullptr; }

  XMLSize_t readBytes(XMLByte* bytes, XMLSize_t count) override {
    if (!refusal_.empty()) throw xmlFault(source_.position_(), refusal_);
    std::size_t const got = fill(bytes, count);
    if (delivered_ == 0) recognise(bytes, got);
    if (got == 0) source_.meter_.end();
    std::size_t const admitted = withinLimits(bytes, got);
    if (admitted == 0 && !refusal_.empty()) throw xmlFault(source_.position_(), refusal_);
    delivered_ += admitted;
    return admitted;
  }

 private:
  /// Any number of bytes, but at the beginning enough to tell the encoding; none only at the end.
  std::size_t fill(XMLByte* bytes, std::size_t count) {
    std::size_t const wanted = delivered_ == 0 ? std::min(kSignatureBytes, count) : 1;
    std::size_t got = 0;
    while (got < wanted) {
      std::size_t const now = source_.input_.read(bytes + got, count - got);
      got += now;
      if (now == 0 && source_.input_.isEnd()) break;
    }
    return got;
  }

  void recognise(XMLByte const* bytes, std::size_t count) {
    source_.meter_.begin(bytes, count);
    if (source_.meter_.encoding() == XmlEncoding::Other) throw xmlFault({}, xml_text::notUnicode());
  }

  std::size_t withinLimits(XMLByte const* bytes, std::size_t count) {
    std::uint64_t const room = source_.limits_.documentBytes - delivered_;
    std::size_t const admitted =
        source_.meter_.admit(bytes, static_cast<std::size_t>(std::min<std::uint64_t>(count, room)));
    refusal_ = source_.meter_.refusal();
    if (refusal_.empty() && count > room) refusal_ = xml_text::documentTooLong(source_.limits_.documentBytes);
    return admitted;
  }

  XercesInput const& source_;
  std::uint64_t delivered_ = 0;  // never above the document's limit
  std::string refusal_;          // why the bytes after those delivered are not
};

XercesInput::XercesInput(InputStream& input, XmlMarkupMeter& meter, XmlLimits const& limits, Position position)
    : input_(input), meter_(meter), limits_(limits), position_(std::move(position)) {}

xercesc::BinInputStream* XercesInput::makeStream() const { return new Stream(*this); }

}  // namespace opc::model
