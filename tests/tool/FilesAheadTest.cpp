// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/stat.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <gtest/gtest.h>

#include "disk/FilesAhead.hpp"
#include "opc/Strings.hpp"
#include "support/TestSupport.hpp"

namespace ztpkg {
namespace {

class FilesAheadOf : public testing::Test {
 protected:
  zt_test::TemporaryDirectory directory;

  void make(std::string const& name, std::string const& content) {
    zt_test::writeFile(directory / name, content);
    std::filesystem::permissions(directory / name, std::filesystem::perms(0640));
    timespec const times[] = {{1, 0}, {1'772'368'200, 250'000'999}};
    ASSERT_EQ(utimensat(AT_FDCWD, (directory / name).c_str(), times, 0), 0);
  }
};

TEST_F(FilesAheadOf, SmallFilesHandsOverContentPermissionsAndTimeInOrder) {
  make("a", "alpha");
  make("b", "");
  FilesAhead ahead({directory.u16("b"), directory.u16("a")});
  auto const first = ahead.next(), second = ahead.next();
  ASSERT_TRUE(first && second);
  EXPECT_EQ(first->content.text(), "");
  EXPECT_EQ(second->content.text(), "alpha");
  EXPECT_EQ(second->permissions, opc::Perms::Perms_tag(0640));
  EXPECT_EQ(boost::posix_time::to_iso_extended_string(second->time), "2026-03-01T12:30:00.250000");
}

TEST_F(FilesAheadOf, WhatIsNoSmallFileLeavesItToTheCaller) {
  make("small", "s");
  make("large", std::string((1u << 20) + 1, 'x'));
  std::filesystem::create_symlink("small", directory / "link");
  std::filesystem::create_directory(directory / "folder");
  ASSERT_EQ(mkfifo((directory / "fifo").c_str(), 0600), 0);
  FilesAhead ahead({directory.u16("large"), directory.u16("link"), directory.u16("folder"), directory.u16("missing"),
                    directory.u16("fifo"), u"/proc/self/status", directory.u16("small")});
  for (int i = 0; i < 6; ++i) EXPECT_FALSE(ahead.next()) << i;
  EXPECT_TRUE(ahead.next());
}

TEST_F(FilesAheadOf, MoreThanItHoldsAtOnceHandsOverAll) {
  std::vector<std::u16string> paths;
  for (int i = 0; i < 24; ++i) {
    make(std::to_string(i), std::string(1u << 20, static_cast<char>('a' + i)));
    paths.push_back(directory.u16(std::to_string(i)));
  }
  FilesAhead ahead(std::move(paths));
  for (int i = 0; i < 24; ++i) {
    auto const file = ahead.next();
    ASSERT_TRUE(file);
    EXPECT_TRUE(file->content.text() == std::string(1u << 20, static_cast<char>('a' + i)));
  }
}

TEST_F(FilesAheadOf, FilesThatNobodyAsksForEndsAllTheSame) {
  std::vector<std::u16string> paths;
  for (int i = 0; i < 8; ++i) {
    make(std::to_string(i), std::string(1u << 20, 'x'));
    paths.push_back(directory.u16(std::to_string(i)));
  }
  EXPECT_NO_THROW(FilesAhead(std::move(paths)));
}

}  // namespace
}  // namespace ztpkg
