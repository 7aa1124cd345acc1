// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

#include "container/RandomAccessBytes.hpp"
#include "opc/model/ContainerExceptions.hpp"
#include "support/TestSupport.hpp"

namespace opc::model::zip {
namespace {
using namespace zt_test;

std::string read(RandomAccessBytes const& bytes, std::uint64_t offset, std::size_t count) {
  std::string text(count, '\0');
  bytes.readAt(offset, text.data(), count);
  return text;
}

int codeOf(std::string const& path) {
  try {
    openFileBytes(path);
  } catch (CouldNotOpenPackage const& thrown) {
    return thrown.getErrorCode().value();
  }
  return 0;
}

TEST(RandomAccessBytes, AreReadFromMemoryAndFileAlike) {
  TemporaryDirectory directory;
  zt_test::writeFile(directory / "f", "0123456789");
  for (auto const& bytes :
       {makeMemoryBytes(zt_test::bytesOf("0123456789")), openFileBytes((directory / "f").string())}) {
    EXPECT_EQ(bytes->size(), 10u);
    EXPECT_EQ(read(*bytes, 0, 10), "0123456789");
    EXPECT_EQ(read(*bytes, 3, 4), "3456");
    EXPECT_EQ(read(*bytes, 10, 0), "");
  }
}

TEST(RandomAccessBytes, RefuseToBeReadBeyondTheEnd) {
  TemporaryDirectory directory;
  zt_test::writeFile(directory / "f", "0123456789");
  for (auto const& bytes :
       {makeMemoryBytes(zt_test::bytesOf("0123456789")), openFileBytes((directory / "f").string())}) {
    EXPECT_THROW_MESSAGE(read(*bytes, 5, 6), InvalidPackage, "Damaged ZIP archive: it ends too early");
    EXPECT_THROW(read(*bytes, UINT64_MAX, 2), InvalidPackage);
    EXPECT_THROW(read(*bytes, 11, 0), InvalidPackage);
  }
}

TEST(RandomAccessBytes, OfAFileStayReadableWhenItIsReplaced) {
  TemporaryDirectory directory;
  zt_test::writeFile(directory / "f", "old");
  auto const bytes = openFileBytes((directory / "f").string());
  std::filesystem::remove(directory / "f");
  zt_test::writeFile(directory / "f", "new");
  EXPECT_EQ(read(*bytes, 0, 3), "old");
}

TEST(RandomAccessBytes, OfAFileThatShrinksAreAnError) {
  TemporaryDirectory directory;
  zt_test::writeFile(directory / "f", "0123456789");
  auto const bytes = openFileBytes((directory / "f").string());
  std::filesystem::resize_file(directory / "f", 5);
  EXPECT_THROW_MESSAGE(read(*bytes, 4, 3), InvalidPackage, "Damaged ZIP archive: it became shorter while it was open");
}

TEST(RandomAccessBytes, HaveADescriptorWhenTheyAreAFile) {
  TemporaryDirectory directory;
  zt_test::writeFile(directory / "f", "x");
  EXPECT_GE(openFileBytes((directory / "f").string())->descriptor(), 0);
  EXPECT_EQ(makeMemoryBytes({})->descriptor(), -1);
}

TEST(RandomAccessBytes, OfAMissingFileCannotBeOpened) {
  TemporaryDirectory directory;
  std::string const path = (directory / "\u00E4").string();
  EXPECT_EQ(codeOf(path), ENOENT);
  EXPECT_EQ(codeOf(std::string("/tmp\0x", 6)), EINVAL);
  EXPECT_THROW_MESSAGE(openFileBytes("/no\x1Bwhere"), CouldNotOpenPackage,
                       "Could not open package: /no\\u{1B}where: No such file or directory");
}

TEST(RandomAccessBytes, OfWhatIsNoRegularFileCannotBeOpened) {
  TemporaryDirectory directory;
  ASSERT_EQ(mkfifo((directory / "fifo").c_str(), 0600), 0);
  EXPECT_EQ(codeOf(directory.path().string()), EISDIR);
  EXPECT_EQ(codeOf((directory / "fifo").string()), EINVAL);
  EXPECT_EQ(codeOf("/dev/null"), EINVAL);
}

}  // namespace
}  // namespace opc::model::zip
