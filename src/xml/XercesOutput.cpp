// SPDX-License-Identifier: Apache-2.0
#include "xml/XercesOutput.hpp"

namespace opc::model {
namespace {

constexpr std::size_t kFlushAt = 65'536;

}  // namespace

void XercesOutput::writeChars(XMLByte const* bytes, XMLSize_t count, xercesc::XMLFormatter*) {
  if (thrown_) return;
  try {
    buffer_.append(reinterpret_cast<char const*>(bytes), count);
    if (buffer_.size() >= kFlushAt) handOver();
  } catch (...) {
    thrown_ = std::current_exception();
  }
}

void XercesOutput::finish() {
  if (thrown_) std::rethrow_exception(thrown_);
  handOver();
}

void XercesOutput::handOver() {
  output_.write(buffer_.data(), buffer_.size());
  buffer_.clear();
}

}  // namespace opc::model
