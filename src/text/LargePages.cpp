// SPDX-License-Identifier: Apache-2.0
#include "text/LargePages.hpp"

#include <cstddef>
#include <memory>
#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace opc {
namespace {

[[maybe_unused]] constexpr std::size_t kLargePage = 2 << 20;

}  // namespace

// The system may ignore the advice.
void preferLargePages([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t size) noexcept {
#if defined(MADV_HUGEPAGE)
  if (std::align(kLargePage, kLargePage, memory, size))
    static_cast<void>(madvise(memory, size & ~(kLargePage - 1), MADV_HUGEPAGE));
#endif
}

}  // namespace opc
