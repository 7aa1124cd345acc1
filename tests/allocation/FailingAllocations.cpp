// SPDX-License-Identifier: Apache-2.0
#include "allocation/FailingAllocations.hpp"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr long kUnlimited = std::numeric_limits<long>::max();

std::atomic<long> leftForOthers = kUnlimited;
thread_local bool isOther = true;  // not the thread that limits the memory

bool othersHaveMemory() {
  long left = leftForOthers;
  while (left != kUnlimited && left > 0 && !leftForOthers.compare_exchange_weak(left, left - 1)) continue;
  return left > 0;
}

void* tryAllocate(std::size_t size) noexcept {
  if (zt_test::allocationsUntilFailure > 0 && --zt_test::allocationsUntilFailure == 0) return nullptr;
  if (isOther && !othersHaveMemory()) return nullptr;
  return std::malloc(size == 0 ? 1 : size);
}

void* allocate(std::size_t size) {
  if (void* const memory = tryAllocate(size)) return memory;
  throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void* operator new(std::size_t size, std::nothrow_t const&) noexcept { return tryAllocate(size); }
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept { return tryAllocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

namespace zt_test {

thread_local std::size_t allocationsUntilFailure = 0;

MemoryOfOtherThreads::MemoryOfOtherThreads(long allocations) {
  isOther = false;
  leftForOthers = allocations;
}

MemoryOfOtherThreads::~MemoryOfOtherThreads() {
  leftForOthers = kUnlimited;
  isOther = true;
}

}  // namespace zt_test
