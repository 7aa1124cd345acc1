// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <boost/date_time/posix_time/posix_time.hpp>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <utility>

#include "disk/FilesAhead.hpp"
#include "opc/Strings.hpp"
#include "support/TestSupport.hpp"

namespace ztpkg {
namespace {

class FilesAheadOf : public testing::Test {
 protected:
  zt_test::TemporaryDirectory directory;
  opc::LocalFileSystemOps disk;

  void make(std::string const& name, std::string const& content) {
    zt_test::writeFile(directory / name, content);
    std::filesystem::permissions(directory / name, std::filesystem::perms(0640));
    timespec const times[] = {{1, 0}, {1'772'368'200, 250'000'999}};
    ASSERT_EQ(utimensat(AT_FDCWD, (directory / name).c_str(), times, 0), 0);
  }
};

std::string contentOf(opc::OpenedFile const& file) {
  return file.content ? std::string(std::istreambuf_iterator(*file.content), {}) : file.openError.message();
}

TEST_F(FilesAheadOf, SmallFilesHandsOverContentPermissionsAndTimeByPath) {
  make("a", "");
  make("b", "alpha");
  FilesAhead ahead(disk, {directory.u16("a"), directory.u16("b")});
  opc::OpenedFile const first = ahead.openForAdding(directory.u16("a"));
  opc::OpenedFile const second = ahead.openForAdding(directory.u16("b"));
  EXPECT_TRUE(FilesAhead::isHeld(first) && FilesAhead::isHeld(second));
  EXPECT_EQ(contentOf(first), "");
  EXPECT_EQ(contentOf(second), "alpha");
  EXPECT_EQ(second.permissions, opc::Perms::Perms_tag(0640));
  EXPECT_EQ(second.size, 5U);
  EXPECT_EQ(boost::posix_time::to_iso_extended_string(second.time), "2026-03-01T12:30:00.250000");
}

TEST_F(FilesAheadOf, FilesThatAreSkippedRepeatedOrUnknownGivesEachItsOwnContent) {
  for (std::string const name : {"a", "b", "c", "d", "e"}) make(name, name);
  FilesAhead ahead(disk, {directory.u16("a"), directory.u16("b"), directory.u16("d"), directory.u16("e")});
  for (std::string const name : {"b", "b", "a", "c", "e", "d", "e"})
    EXPECT_EQ(contentOf(ahead.openForAdding(directory.u16(name))), name);
}

TEST_F(FilesAheadOf, WhatIsNoSmallFileLeavesItToTheDisk) {
  make("small", "s");
  make("large", std::string((1u << 20) + 1, 'x'));
  std::filesystem::create_symlink("small", directory / "link");
  std::filesystem::create_directory(directory / "folder");
  ASSERT_EQ(mkfifo((directory / "fifo").c_str(), 0600), 0);
  ForwardingOps::Paths const paths = {u"/proc/self/status",   directory.u16("fifo"), directory.u16("folder"),
                                      directory.u16("large"), directory.u16("link"), directory.u16("missing"),
                                      directory.u16("small")};
  ForwardingOps::Paths sorted = paths;
  std::ranges::sort(sorted);
  FilesAhead ahead(disk, sorted);
  for (std::u16string const& path : sorted)
    EXPECT_EQ(FilesAhead::isHeld(ahead.openForAdding(path)), path == directory.u16("small")) << opc::toUDEString(path);
}

TEST_F(FilesAheadOf, MoreThanItHoldsAtOnceHandsOverAll) {
  ForwardingOps::Paths paths;
  for (char name = 'a'; name <= 'x'; ++name) {
    make(std::string(1, name), std::string(1u << 20, name));
    paths.push_back(directory.u16(std::string(1, name)));
  }
  FilesAhead ahead(disk, paths);
  for (char name = 'a'; name <= 'x'; ++name) {
    opc::OpenedFile const file = ahead.openForAdding(directory.u16(std::string(1, name)));
    EXPECT_TRUE(FilesAhead::isHeld(file));
    EXPECT_TRUE(contentOf(file) == std::string(1u << 20, name));
  }
}

TEST_F(FilesAheadOf, FilesThatNobodyAsksForEndsAllTheSame) {
  ForwardingOps::Paths paths;
  for (int i = 0; i < 8; ++i) {
    make(std::to_string(i), std::string(1u << 20, 'x'));
    paths.push_back(directory.u16(std::to_string(i)));
  }
  EXPECT_NO_THROW(FilesAhead(disk, std::move(paths)));
}

/// Every file changes between its opening and its end.
class ChangingDisk final : public ForwardingOps {
 public:
  using ForwardingOps::ForwardingOps;

  opc::OpenedFile openForAdding(std::u16string const& path) override {
    opc::OpenedFile file = inner().openForAdding(path);
    file.identity->changeNanoseconds ^= 1;
    return file;
  }
};

TEST_F(FilesAheadOf, FilesThatChangeWhileTheyAreReadLeavesThemToTheDisk) {
  make("a", "alpha");
  ChangingDisk changing(static_cast<opc::FileSystemOps&>(disk));
  FilesAhead ahead(changing, {directory.u16("a")});
  opc::OpenedFile const file = ahead.openForAdding(directory.u16("a"));
  EXPECT_FALSE(FilesAhead::isHeld(file));
  EXPECT_EQ(contentOf(file), "alpha");
}

}  // namespace
}  // namespace ztpkg
