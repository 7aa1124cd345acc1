// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

/// Allocations that fail when a test says so. A program that links zt_failing_allocations has its own operator new and
/// delete.
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

}  // namespace zt_test
