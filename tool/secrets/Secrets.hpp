// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string.h>

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// Memory that is overwritten before it is given back.
namespace ztpkg {

/// Overwrites memory in a way that no optimiser removes.
inline void wipe(void* memory, std::size_t count) noexcept {
  if (count > 0) explicit_bzero(memory, count);  // it takes no null pointer
}

/// The system keeps the pages of this memory out of core files until the process ends, and out of the swap space while
/// the process may lock that much memory. The few secrets of a command share few pages.
void keepInMemory(void const* memory, std::size_t count) noexcept;

/// Wipes memory before it frees it, so that growing and destroying a container leaves nothing behind.
template <typename T>
struct WipingAllocator {
  using value_type = T;

  WipingAllocator() = default;
  template <typename Other>
  WipingAllocator(WipingAllocator<Other> const&) noexcept {}

  T* allocate(std::size_t count) {
    T* const memory = std::allocator<T>().allocate(count);
    keepInMemory(memory, count * sizeof(T));
    return memory;
  }
  void deallocate(T* memory, std::size_t count) noexcept {
    wipe(memory, count * sizeof(T));
    std::allocator<T>().deallocate(memory, count);
  }
  friend bool operator==(WipingAllocator const&, WipingAllocator const&) { return true; }
};

/// A password as it was read.
using SecretBytes = std::vector<char, WipingAllocator<char>>;

/// A key. It neither moves nor copies.
class Secret {
 public:
  explicit Secret(std::vector<unsigned char> bytes = {}) { set(std::move(bytes)); }
  ~Secret() { wipe(bytes_.data(), bytes_.capacity()); }
  Secret(Secret const&) = delete;
  Secret& operator=(Secret const&) = delete;

  /// Takes the memory over, once.
  void set(std::vector<unsigned char> bytes) {
    bytes_ = std::move(bytes);
    keepInMemory(bytes_.data(), bytes_.capacity());
  }
  std::vector<unsigned char> const& bytes() const { return bytes_; }

 private:
  std::vector<unsigned char> bytes_;
};

/// A password as the library takes it. It neither moves nor copies, so that there is one place to wipe.
class Password {
 public:
  /// `decode` fills the text, which has room for so many code units and must not be made longer.
  template <typename Decode>
  Password(std::size_t units, Decode const& decode) : text_(units, u'\0') {
    keepInMemory(text_.data(), text_.capacity() * sizeof(char16_t));
    decode(text_);
  }
  ~Password() { wipe(text_.data(), text_.capacity() * sizeof(char16_t)); }
  Password(Password const&) = delete;
  Password& operator=(Password const&) = delete;

  std::u16string const& text() const { return text_; }

 private:
  std::u16string text_;
};

}  // namespace ztpkg
