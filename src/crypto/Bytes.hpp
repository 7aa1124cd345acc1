// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace foundation::crypto {

using Bytes = std::vector<unsigned char>;
/// Bytes that the caller keeps alive during the call.
using BytesView = std::span<unsigned char const>;

/// Overwrites memory in a way that no optimiser removes.
void wipe(void* memory, std::size_t count) noexcept;

/// Whether both hold the same bytes. The time of the comparison reveals their lengths only.
bool isEqualSecret(BytesView a, BytesView b) noexcept;

/// Wipes memory before it frees it, so that a container leaves no copies behind when it grows or is destroyed.
template <typename T>
struct WipingAllocator {
  using value_type = T;

  WipingAllocator() = default;
  template <typename Other>
  WipingAllocator(WipingAllocator<Other> const&) noexcept {}

  T* allocate(std::size_t count) { return std::allocator<T>().allocate(count); }
  void deallocate(T* memory, std::size_t count) noexcept {
    wipe(memory, count * sizeof(T));
    std::allocator<T>().deallocate(memory, count);
  }
  friend bool operator==(WipingAllocator const&, WipingAllocator const&) { return true; }
};

/// Keys, passwords and values derived from them.
using SecretBytes = std::vector<unsigned char, WipingAllocator<unsigned char>>;

}  // namespace foundation::crypto
