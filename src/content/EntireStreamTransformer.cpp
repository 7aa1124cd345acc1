// SPDX-License-Identifier: Apache-2.0
#include "content/EntireStreamTransformer.hpp"

#include "content/TransformErrors.hpp"

namespace opc::ztservices {

EntireStreamTransformer::EntireStreamTransformer(TransformSource& transform, IContentSource& source)
    : transform_(transform), source_(source) {
  if (!transform_.transformData(readAll(), transformed_)) throwCouldNotTransformContentData(source_);
  stream_ = std::make_unique<ByteArrayInAdaptor>(transformed_);
}

std::vector<unsigned char> EntireStreamTransformer::readAll() {
  std::vector<unsigned char> bytes;
  ByteArrayOutAdaptor output(bytes);
  StreamHelper::copyStreamToStream(source_.getInputStream(), output);
  output.close();
  return bytes;
}

}  // namespace opc::ztservices
