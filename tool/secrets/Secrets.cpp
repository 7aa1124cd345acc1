// SPDX-License-Identifier: Apache-2.0
#include "secrets/Secrets.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace ztpkg {

void keepInMemory(void const* memory, std::size_t count) noexcept {
  if (count == 0) return;
  auto const page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  auto const address = reinterpret_cast<std::uintptr_t>(memory);
  std::uintptr_t const offset = address % page;
  // Both only read the address, and take whole pages.
  void* const begin = const_cast<char*>(static_cast<char const*>(memory)) - offset;
  static_cast<void>(mlock(begin, count + offset));  // refused beyond RLIMIT_MEMLOCK
#ifdef MADV_DONTDUMP
  static_cast<void>(madvise(begin, count + offset, MADV_DONTDUMP));
#endif
}

}  // namespace ztpkg
