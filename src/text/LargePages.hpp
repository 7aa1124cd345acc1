// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace opc {

/// Asks the system for large pages behind memory that is about to be filled. Page faults are most of the cost of
/// copying tens of megabytes.
void preferLargePages(void* memory, std::size_t size) noexcept;

/// Reserves room for `size` elements that are about to be appended to the string or vector.
template <typename Container>
void reserveToFill(Container& container, std::size_t size) {
  container.reserve(size);
  preferLargePages(container.data(), container.capacity() * sizeof(typename Container::value_type));
}

}  // namespace opc
