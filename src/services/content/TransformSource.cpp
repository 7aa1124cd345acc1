// SPDX-License-Identifier: Apache-2.0
#include "opc/ztservices/Transforms.hpp"
#include "services/content/EntireStreamTransformer.hpp"
#include "services/content/SingleBufferTransformer.hpp"
#include "services/content/TransformErrors.hpp"

namespace opc::ztservices {

using model::ContentType;

TransformSource::TransformSource(std::unique_ptr<IContentSource> source) : source_(std::move(source)) {
  if (!source_) throw Exception("There is no content source to transform");
}

TransformSource::~TransformSource() = default;

ContentType TransformSource::getContentType() {
  ContentType const in = source_->getContentType();
  ContentType out = in;
  if (!transformContentType(in, out)) throwCouldNotTransformContentType(*source_);
  return out;
}

InputStream& TransformSource::getInputStream() {
  if (!transformer_) {
    if (mustTransformEntireStream())
      transformer_ = std::make_unique<EntireStreamTransformer>(*this, *source_);
    else
      transformer_ = std::make_unique<SingleBufferTransformer>(*this, *source_);
  }
  return transformer_->getInputStream();
}

}  // namespace opc::ztservices
