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

/// Decrypted content, and what has little of a secret for a moment.
using WipedBytes = std::vector<unsigned char, WipingAllocator<unsigned char>>;

/// Whole pages of memory, which the system keeps out of core files and, as far as the process may lock memory, out of
/// the swap space. Throws std::bad_alloc. The second wipes them and gives them back.
void* allocateSecret(std::size_t count);
void freeSecret(void* memory, std::size_t count) noexcept;

template <typename T>
struct SecretAllocator {
  using value_type = T;

  SecretAllocator() = default;
  template <typename Other>
  SecretAllocator(SecretAllocator<Other> const&) noexcept {}

  T* allocate(std::size_t count) { return static_cast<T*>(allocateSecret(count * sizeof(T))); }
  void deallocate(T* memory, std::size_t count) noexcept { freeSecret(memory, count * sizeof(T)); }
  friend bool operator==(SecretAllocator const&, SecretAllocator const&) { return true; }
};

/// Keys, passwords and values derived from them. Each takes a page at least, and some calls of the system.
using SecretBytes = std::vector<unsigned char, SecretAllocator<unsigned char>>;

}  // namespace foundation::crypto
