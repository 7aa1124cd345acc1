// SPDX-License-Identifier: Apache-2.0
#include "services/content/SingleBufferTransformer.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

#include "services/content/TransformErrors.hpp"

namespace opc::ztservices {

void SingleBufferTransformer::reset() { source_.getInputStream().reset(); }

std::size_t SingleBufferTransformer::read(void* buffer, std::size_t count) {
  if (isEnd()) return 0;
  if (!hasPending()) transformBlock(count);
  return deliver(buffer, count);
}

bool SingleBufferTransformer::isEnd() { return !hasPending() && source_.getInputStream().isEnd(); }

void SingleBufferTransformer::clear() { source_.getInputStream().clear(); }

// Nothing is pending while the transform may fail, so that what it leaves in its output is never delivered.
void SingleBufferTransformer::transformBlock(std::size_t count) {
  std::vector<unsigned char> block(count);
  block.resize(source_.getInputStream().read(block.data(), count));
  std::vector<unsigned char> transformed = std::exchange(pending_, {});  // for its memory
  transformed.clear();
  delivered_ = 0;
  if (!transform_.transformData(block, transformed)) throwCouldNotTransformContentData(source_);
  pending_ = std::move(transformed);
}

std::size_t SingleBufferTransformer::deliver(void* buffer, std::size_t count) {
  std::size_t const delivery = std::min(count, pending_.size() - delivered_);
  if (delivery > 0) std::memcpy(buffer, pending_.data() + delivered_, delivery);
  delivered_ += delivery;
  return delivery;
}

}  // namespace opc::ztservices
