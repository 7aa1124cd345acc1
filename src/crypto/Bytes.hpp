// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
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

/// Memory that is wiped before it is freed. The first throws std::bad_alloc.
void* allocateWiped(std::size_t count);
void freeWiped(void* memory, std::size_t count) noexcept;

/// Pages that only secrets use. The system keeps them out of core files, and out of the swap space while the process
/// may lock that much memory. They are wiped before they are freed. The first throws std::bad_alloc.
void* allocateSecret(std::size_t count);
void freeSecret(void* memory, std::size_t count) noexcept;

/// Leaves no copies behind when a container grows or is destroyed.
template <typename T, void* (*Allocate)(std::size_t), void (*Free)(void*, std::size_t) noexcept>
struct WipingAllocator {
  using value_type = T;
  template <typename Other>
  struct rebind {
    using other = WipingAllocator<Other, Allocate, Free>;
  };

  WipingAllocator() = default;
  template <typename Other>
  WipingAllocator(WipingAllocator<Other, Allocate, Free> const&) noexcept {}

  T* allocate(std::size_t count) { return static_cast<T*>(Allocate(count * sizeof(T))); }
  void deallocate(T* memory, std::size_t count) noexcept { Free(memory, count * sizeof(T)); }
  friend bool operator==(WipingAllocator const&, WipingAllocator const&) { return true; }
};

/// Decrypted content, and bytes that are partly secret for a short time.
using WipedBytes = std::vector<unsigned char, WipingAllocator<unsigned char, allocateWiped, freeWiped>>;
/// Keys, passwords and values derived from them. Each takes a page at least, and some calls of the system.
using SecretBytes = std::vector<unsigned char, WipingAllocator<unsigned char, allocateSecret, freeSecret>>;

}  // namespace foundation::crypto
