// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "io/FileHandle.hpp"
#include "support/TestSupport.hpp"

namespace {

using opc::FileHandle;
namespace errc = boost::system::errc;
namespace fs = std::filesystem;

class AFileHandle : public testing::Test {
 protected:
  FileHandle open(std::string const& name, int flags) {
    return FileHandle::open((directory / name).c_str(), flags, error);
  }

  zt_test::TemporaryDirectory directory;
  boost::system::error_code error = make_error_code(errc::argument_out_of_domain);
};

TEST_F(AFileHandle, OfAMissingFileIsNotOpen) {
  EXPECT_FALSE(open("none", O_RDONLY).isOpen());
  EXPECT_EQ(error, errc::no_such_file_or_directory);
}

TEST_F(AFileHandle, ClosesWhenAnotherProgramStarts) {
  FileHandle const file = open("new", O_WRONLY | O_CREAT);
  EXPECT_EQ(fcntl(file.descriptor(), F_GETFD), FD_CLOEXEC);
}

TEST_F(AFileHandle, ReadsAtAnyOffsetWhatItWrote) {
  FileHandle file = open("new", O_RDWR | O_CREAT);
  file.writeAll("alpha", 5, error);
  file.writeAllAt(1, "LP", 2, error);
  char bytes[4];
  EXPECT_EQ(file.readAt(1, bytes, 4, error), 4U);
  EXPECT_EQ(std::string(bytes, 4), "LPha");
  EXPECT_FALSE(error);
}

TEST_F(AFileHandle, ReadsFewerBytesBeyondTheEndWithoutAnError) {
  zt_test::writeFile(directory / "file", "alpha");
  FileHandle const file = open("file", O_RDONLY);
  char bytes[9];
  EXPECT_EQ(file.readAt(3, bytes, 9, error), 2U);
  EXPECT_FALSE(error);
}

TEST_F(AFileHandle, GivesTheSystemsCodeWhereACallFails) {
  zt_test::writeFile(directory / "file", "alpha");
  FileHandle file = open("file", O_RDONLY);
  file.writeAll("x", 1, error);
  EXPECT_EQ(error, errc::bad_file_descriptor);
  char byte = 0;
  EXPECT_EQ(FileHandle().read(&byte, 1, error), 0U);
  EXPECT_EQ(error, errc::bad_file_descriptor);
}

TEST_F(AFileHandle, CopiesARangeToItsEnd) {
  zt_test::writeFile(directory / "from", "0123456789");
  FileHandle const from = open("from", O_RDONLY);
  FileHandle to = open("to", O_WRONLY | O_CREAT);
  to.writeAll("x", 1, error);
  to.copyFrom(from.descriptor(), 2, 5, error);
  EXPECT_FALSE(error);
  EXPECT_EQ(zt_test::readFile(directory / "to"), "x23456");
}

TEST_F(AFileHandle, CopiesARangeWhereTheKernelCannot) {
  zt_test::writeFile(directory / "from", "0123456789");
  FileHandle const from = open("from", O_RDONLY);
  FileHandle to = open("to", O_WRONLY | O_CREAT | O_APPEND);  // which the kernel's copy refuses
  to.copyFrom(from.descriptor(), 2, 5, error);
  EXPECT_FALSE(error) << error.message();
  EXPECT_EQ(zt_test::readFile(directory / "to"), "23456");
}

TEST_F(AFileHandle, FailsWhereTheSourceIsTooShort) {
  zt_test::writeFile(directory / "from", "0123456789");
  FileHandle const from = open("from", O_RDONLY);
  FileHandle to = open("to", O_WRONLY | O_CREAT);
  to.copyFrom(from.descriptor(), 8, 5, error);
  EXPECT_EQ(error, errc::io_error);
}

TEST_F(AFileHandle, HoldsTheLockUntilItIsReleased) {
  FileHandle const first = open("", O_RDONLY | O_DIRECTORY), second = open("", O_RDONLY | O_DIRECTORY);
  first.tryLock(error);
  EXPECT_FALSE(error);
  second.tryLock(error);
  EXPECT_EQ(error, errc::operation_would_block);
  first.unlock();
  second.tryLock(error);
  EXPECT_FALSE(error);
}

TEST_F(AFileHandle, HasAnotherIdentityAfterAnEditWhoseTimeIsPutBack) {
  zt_test::writeFile(directory / "file", "alpha");
  FileHandle const file = open("file", O_RDWR);
  struct stat before {
  }, after{};
  ASSERT_TRUE(file.getStatus(before, error));
  file.writeAllAt(0, "A", 1, error);
  file.setModificationTime(before.st_mtim, error);
  ASSERT_TRUE(file.getStatus(after, error));
  EXPECT_NE(opc::FileIdentity::of(before), opc::FileIdentity::of(after));
  EXPECT_TRUE(opc::FileIdentity::of(before).isOfSameFile(opc::FileIdentity::of(after)));
  ASSERT_TRUE(open("file2", O_WRONLY | O_CREAT).getStatus(after, error));
  EXPECT_FALSE(opc::FileIdentity::of(before).isOfSameFile(opc::FileIdentity::of(after)));
}

TEST_F(AFileHandle, ClosesTwiceWithoutAnError) {
  FileHandle file = open("new", O_WRONLY | O_CREAT);
  for (int i = 0; i < 2; ++i) {
    file.close(error);
    EXPECT_FALSE(error) << error.message();
    EXPECT_FALSE(file.isOpen());
  }
}

TEST_F(AFileHandle, OfANewFileHasTheModeThatTheUmaskLeaves) {
  mode_t const before = umask(027);
  mode_t const mode = opc::modeOfNewFiles();
  umask(before);
  EXPECT_EQ(mode, mode_t{0640});
}

TEST_F(AFileHandle, OfAFolderListsItsEntriesWithoutTheDots) {
  zt_test::writeFile(directory / "a", "");
  fs::create_directory(directory / "b");
  opc::DirectoryStream stream(open("", O_RDONLY | O_DIRECTORY), error);
  ASSERT_FALSE(error);
  std::vector<std::string> names;
  while (dirent const* const entry = stream.next(error)) names.push_back(entry->d_name);
  EXPECT_FALSE(error);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"a", "b"}));
}

TEST_F(AFileHandle, OfAFileHasNoEntriesToList) {
  opc::DirectoryStream const stream(open("file", O_RDONLY | O_CREAT), error);
  EXPECT_EQ(error, errc::not_a_directory);
}

}  // namespace
