// SPDX-License-Identifier: Apache-2.0
// The C library's allocations for a whole program, its libraries included: they fail where ScarceMemory says so.
#include <malloc.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>

#include "allocation/FailingAllocations.hpp"

extern "C" {

// What the C library has for those who put their own malloc in front of its.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

static bool fails() noexcept {
  if (!zt_test::isMemoryScarce()) return false;
  errno = ENOMEM;
  return true;
}

void* malloc(std::size_t size) noexcept { return fails() ? nullptr : __libc_malloc(size); }
void* calloc(std::size_t count, std::size_t size) noexcept { return fails() ? nullptr : __libc_calloc(count, size); }
void* realloc(void* memory, std::size_t size) noexcept { return fails() ? nullptr : __libc_realloc(memory, size); }
void* memalign(std::size_t alignment, std::size_t size) noexcept {
  return fails() ? nullptr : __libc_memalign(alignment, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept { return memalign(alignment, size); }

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) noexcept {
  if (fails()) return ENOMEM;
  *memory = __libc_memalign(alignment, size);
  return *memory ? 0 : ENOMEM;
}

}  // extern "C"
