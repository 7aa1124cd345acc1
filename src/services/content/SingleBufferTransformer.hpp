// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "opc/ztservices/Transforms.hpp"
#include "services/content/Transformer.hpp"

namespace opc::ztservices {

/// Transforms a stream block by block while it is read. A block is as large as the read that asks for it; what
/// it becomes is handed out before the next one is read.
class SingleBufferTransformer final : public Transformer, public InputStream {
 public:
  /// Borrows both; `source` is what `transform` wraps.
  SingleBufferTransformer(TransformSource& transform, IContentSource& source)
      : transform_(transform), source_(source) {}

  InputStream& getInputStream() override { return *this; }

  void reset() override;
  std::size_t read(void* buffer, std::size_t count) override;
  bool isEnd() override;
  void clear() override;

 private:
  bool hasPending() const { return delivered_ < pending_.size(); }
  void transformBlock(std::size_t count);
  std::size_t deliver(void* buffer, std::size_t count);

  TransformSource& transform_;
  IContentSource& source_;
  std::vector<unsigned char> pending_;
  std::size_t delivered_ = 0;  // how much of the front of pending_ has gone out
};

}  // namespace opc::ztservices
