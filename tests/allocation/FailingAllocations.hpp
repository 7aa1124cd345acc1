// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

/// Allocations that fail when a test says so. A program that links zt_failing_allocations has its own operator new and
/// delete; one that has FailingMalloc.cpp too has its own malloc.
namespace zt_test {

/// The allocations of this thread until one fails, that one included; 0 for none. Only that one fails.
extern thread_local std::size_t allocationsUntilFailure;

/// While it lives, the other threads get memory that many times in all, and then none.
class MemoryOfOtherThreads {
 public:
  explicit MemoryOfOtherThreads(long allocations);
  ~MemoryOfOtherThreads();
  MemoryOfOtherThreads(MemoryOfOtherThreads const&) = delete;
  MemoryOfOtherThreads& operator=(MemoryOfOtherThreads const&) = delete;
};

/// While it lives, one in `period` allocations of any thread fails behind the first `spared` ones; which ones depends
/// on the seed.
class ScarceMemory {
 public:
  ScarceMemory(std::uint64_t seed, std::uint64_t period, std::int64_t spared);
  ~ScarceMemory() { end(); }
  ScarceMemory(ScarceMemory const&) = delete;
  ScarceMemory& operator=(ScarceMemory const&) = delete;

  /// From here on there is memory. Returns how many allocations have failed.
  std::uint64_t end();
};

/// Whether the allocation that is about to be made fails for lack of memory.
bool isMemoryScarce() noexcept;

}  // namespace zt_test
