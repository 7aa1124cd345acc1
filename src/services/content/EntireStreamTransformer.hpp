// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <vector>

#include "opc/ztservices/Transforms.hpp"
#include "services/content/Transformer.hpp"

namespace opc::ztservices {

/// Reads and transforms a whole stream when it is made, and keeps the outcome.
class EntireStreamTransformer final : public Transformer {
 public:
  /// Borrows both; `source` is what `transform` wraps.
  EntireStreamTransformer(TransformSource& transform, IContentSource& source);

  InputStream& getInputStream() override { return *stream_; }

 private:
  std::vector<unsigned char> readAll();

  TransformSource& transform_;
  IContentSource& source_;
  std::vector<unsigned char> transformed_;
  std::unique_ptr<InputStream> stream_;  // over transformed_, so it goes first
};

}  // namespace opc::ztservices
