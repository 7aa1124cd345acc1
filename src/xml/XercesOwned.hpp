// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

namespace opc::model {

struct XercesRelease {
  template <typename T>
  void operator()(T* object) const {
    object->release();
  }
};

/// What XercesHelper hands out: documents, parsers, writers. The XercesGuard of its owner has to outlive it.
template <typename T>
using XercesOwned = std::unique_ptr<T, XercesRelease>;

}  // namespace opc::model
