// SPDX-License-Identifier: Apache-2.0
#include "allocation/FailingAllocations.hpp"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr long kUnlimited = std::numeric_limits<long>::max();

std::atomic<long> leftForOthers = kUnlimited;
thread_local bool isOther = true;  // not the thread that limits the memory

std::atomic<std::uint64_t> scarcity = 0;  // one in so many allocations fails; 0 for none
std::atomic<std::int64_t> sparedYet = 0;
std::atomic<std::uint64_t> chance = 0;
std::atomic<std::uint64_t> failed = 0;

/// Spreads numbers that follow each other over all of 64 bits (the finalizer of SplitMix64).
std::uint64_t spread(std::uint64_t number) {
  number = (number ^ (number >> 30)) * 0xbf58476d1ce4e5b9U;
  number = (number ^ (number >> 27)) * 0x94d049bb133111ebU;
  return number ^ (number >> 31);
}

bool othersHaveMemory() {
  long left = leftForOthers;
  while (left != kUnlimited && left > 0 && !leftForOthers.compare_exchange_weak(left, left - 1)) continue;
  return left > 0;
}

void* tryAllocate(std::size_t size) noexcept {
  if (zt_test::allocationsUntilFailure > 0 && --zt_test::allocationsUntilFailure == 0) return nullptr;
  if (isOther && !othersHaveMemory()) return nullptr;
  if (zt_test::isMemoryScarce()) return nullptr;
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

ScarceMemory::ScarceMemory(std::uint64_t seed, std::uint64_t period, std::int64_t spared) {
  sparedYet = spared;
  chance = spread(seed);
  failed = 0;
  scarcity = period;
}

std::uint64_t ScarceMemory::end() {
  scarcity = 0;
  return failed;
}

bool isMemoryScarce() noexcept {
  std::uint64_t const period = scarcity;
  if (period == 0 || sparedYet-- > 0 || spread(chance += 0x9e3779b97f4a7c15U) % period != 0) return false;
  ++failed;
  return true;
}

}  // namespace zt_test
