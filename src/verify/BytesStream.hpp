// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utility>
#include <vector>

#include "opc/Streams.hpp"

namespace opc::ztservices {

/// Reads bytes that it owns.
class BytesStream final : public InputStream {
 public:
  explicit BytesStream(std::vector<unsigned char> bytes) : bytes_(std::move(bytes)), input_(bytes_) {}
  void reset() override { input_.reset(); }
  std::size_t read(void* buffer, std::size_t count) override { return input_.read(buffer, count); }
  bool isEnd() override { return input_.isEnd(); }
  void clear() override { input_.clear(); }

 private:
  std::vector<unsigned char> bytes_;
  ByteArrayInAdaptor input_;
};

}  // namespace opc::ztservices
