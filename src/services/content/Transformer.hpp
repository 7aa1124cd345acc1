// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opc/Streams.hpp"

namespace opc::ztservices {

/// What stands behind TransformSource::getInputStream(): one way of bringing a stream through a transform.
class Transformer {
 public:
  virtual ~Transformer() = default;
  /// The same stream at every call, living as long as the transformer.
  virtual InputStream& getInputStream() = 0;

 protected:
  Transformer() = default;
  Transformer(Transformer const&) = delete;
  Transformer& operator=(Transformer const&) = delete;
};

}  // namespace opc::ztservices
