// SPDX-License-Identifier: Apache-2.0
#include "foundation/core/LargePages.hpp"

#include <cstdint>
#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace opc {
namespace {

[[maybe_unused]] constexpr std::uintptr_t kLargePage = 2 << 20;

}  // namespace

// An advice: where it is not taken, the memory is as it would have been.
void preferLargePages([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t size) noexcept {
#if defined(MADV_HUGEPAGE)
  auto const begin = reinterpret_cast<std::uintptr_t>(memory);
  std::uintptr_t const first = (begin + kLargePage - 1) & ~(kLargePage - 1), last = (begin + size) & ~(kLargePage - 1);
  if (first < last) static_cast<void>(madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE));
#endif
}

}  // namespace opc
