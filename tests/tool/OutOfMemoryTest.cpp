// SPDX-License-Identifier: Apache-2.0
// Other threads than the first one get no memory.
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <vector>

#include "allocation/FailingAllocations.hpp"
#include "disk/FilesAhead.hpp"
#include "support/TestSupport.hpp"

namespace ztpkg {
namespace {

TEST(FilesAheadWithoutMemory, LeavesAllFilesToTheDisk) {
  zt_test::TemporaryDirectory const directory;
  opc::LocalFileSystemOps disk;
  std::vector<std::u16string> paths;
  for (char name = 'a'; name <= 'z'; ++name) {
    zt_test::writeFile(directory / std::string(1, name), std::string(1, name));
    paths.push_back(directory.u16(std::string(1, name)));
  }
  for (long left = 0; left < 300; left += 7) {
    zt_test::MemoryOfOtherThreads const memory(left);
    FilesAhead ahead(disk, paths);
    for (std::u16string const& path : paths) {
      opc::OpenedFile const file = ahead.openForAdding(path);
      ASSERT_TRUE(file.content);
      EXPECT_EQ(std::string(std::istreambuf_iterator(*file.content), {}),
                std::string(1, static_cast<char>(path.back())));
    }
  }
}

}  // namespace
}  // namespace ztpkg
