// SPDX-License-Identifier: Apache-2.0
// Other threads than the first one get no memory.
#include <atomic>
#include <cstdlib>
#include <gtest/gtest.h>
#include <iterator>
#include <new>
#include <string>

#include "disk/FilesAhead.hpp"
#include "support/TestSupport.hpp"

namespace {

thread_local bool mayAllocate = false;
std::atomic<long> allocationsOfOthers = -1;  // until there is no memory left; below 0 there always is some

void* tryAllocate(std::size_t size) noexcept {
  if (!mayAllocate && allocationsOfOthers >= 0 && allocationsOfOthers.fetch_sub(1) <= 0) {
    allocationsOfOthers = 0;
    return nullptr;
  }
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

namespace ztpkg {
namespace {

TEST(FilesAheadWithoutMemory, LeavesAllFilesToTheDisk) {
  zt_test::TemporaryDirectory const directory;
  opc::LocalFileSystemOps disk;
  ForwardingOps::Paths paths;
  for (char name = 'a'; name <= 'z'; ++name) {
    zt_test::writeFile(directory / std::string(1, name), std::string(1, name));
    paths.push_back(directory.u16(std::string(1, name)));
  }
  mayAllocate = true;
  for (long left = 0; left < 300; left += 7) {
    allocationsOfOthers = left;
    FilesAhead ahead(disk, paths);
    for (std::u16string const& path : paths) {
      opc::OpenedFile const file = ahead.openForAdding(path);
      ASSERT_TRUE(file.content);
      EXPECT_EQ(std::string(std::istreambuf_iterator(*file.content), {}),
                std::string(1, static_cast<char>(path.back())));
    }
  }
  allocationsOfOthers = -1;
}

}  // namespace
}  // namespace ztpkg
