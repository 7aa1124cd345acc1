// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <boost/date_time/posix_time/posix_time.hpp>
#include <cstddef>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

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
  std::vector<std::u16string> const paths = {directory.u16("a"), directory.u16("b")};
  FilesAhead ahead(disk, paths);
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
  std::vector<std::u16string> const paths = {directory.u16("a"), directory.u16("b"), directory.u16("d"),
                                             directory.u16("e")};
  FilesAhead ahead(disk, paths);
  for (std::string const name : {"b", "b", "a", "c", "e", "d", "e"})
    EXPECT_EQ(contentOf(ahead.openForAdding(directory.u16(name))), name);
}

TEST_F(FilesAheadOf, WhatIsNoSmallFileLeavesItToTheDisk) {
  make("small", "s");
  make("large", std::string((1u << 20) + 1, 'x'));
  std::filesystem::create_symlink("small", directory / "link");
  std::filesystem::create_directory(directory / "folder");
  ASSERT_EQ(mkfifo((directory / "fifo").c_str(), 0600), 0);
  std::vector<std::u16string> const paths = {u"/proc/self/status",   directory.u16("fifo"), directory.u16("folder"),
                                             directory.u16("large"), directory.u16("link"), directory.u16("missing"),
                                             directory.u16("small")};
  std::vector<std::u16string> sorted = paths;
  std::ranges::sort(sorted);
  FilesAhead ahead(disk, sorted);
  for (std::u16string const& path : sorted)
    EXPECT_EQ(FilesAhead::isHeld(ahead.openForAdding(path)), path == directory.u16("small")) << opc::toUDEString(path);
}

TEST_F(FilesAheadOf, MoreThanItHoldsAtOnceHandsOverAll) {
  std::vector<std::u16string> paths;
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
  std::vector<std::u16string> paths;
  for (int i = 0; i < 8; ++i) {
    make(std::to_string(i), std::string(1u << 20, 'x'));
    paths.push_back(directory.u16(std::to_string(i)));
  }
  EXPECT_NO_THROW(FilesAhead(disk, paths));
}

FileFacts factsOf(std::filesystem::path const& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0);
  return {.identity = opc::FileIdentity::of(status), .permissions = status.st_mode & 0777u};
}

TEST_F(FilesAheadOf, FilesThatAreAsTheyWereListedHandsOverContentPermissionsAndTime) {
  make("a", "");
  make("b", "alpha");
  std::vector<FileFacts> const listed = {factsOf(directory / "a"), factsOf(directory / "b")};
  std::vector<std::u16string> const paths = {directory.u16("a"), directory.u16("b")};
  FilesAhead ahead(disk, paths, listed);
  EXPECT_TRUE(ahead.holdsNext(directory.u16("a")));
  EXPECT_FALSE(ahead.holdsNext(directory.u16("b"))) << "it is not the next one";
  opc::OpenedFile const first = ahead.openForAdding(directory.u16("a"));
  EXPECT_TRUE(ahead.holdsNext(directory.u16("b")));
  opc::OpenedFile const second = ahead.openForAdding(directory.u16("b"));
  EXPECT_FALSE(ahead.holdsNext(directory.u16("b")));
  EXPECT_TRUE(FilesAhead::isHeld(first) && FilesAhead::isHeld(second));
  EXPECT_EQ(contentOf(first), "");
  EXPECT_EQ(contentOf(second), "alpha");
  EXPECT_EQ(second.permissions, opc::Perms::Perms_tag(0640));
  EXPECT_EQ(second.size, 5U);
  EXPECT_EQ(second.identity, listed[1].identity);
  EXPECT_EQ(boost::posix_time::to_iso_extended_string(second.time), "2026-03-01T12:30:00.250000");
}

TEST_F(FilesAheadOf, FilesThatAreNotAsTheyWereListedHandsOverWhatIsThereNow) {
  for (std::string const name : {"a", "b", "c", "d"}) make(name, "alpha");
  std::vector<FileFacts> listed;
  std::vector<std::u16string> paths;
  for (std::string const name : {"a", "b", "c", "d"}) {
    listed.push_back(factsOf(directory / name));
    paths.push_back(directory.u16(name));
  }
  make("a", "alphabet");
  make("b", "alp");
  make("c", "omega");
  std::filesystem::remove(directory / "d");
  std::filesystem::create_symlink("a", directory / "d");
  FilesAhead ahead(disk, paths, listed);
  EXPECT_EQ(contentOf(ahead.openForAdding(paths[0])), "alphabet");
  EXPECT_EQ(contentOf(ahead.openForAdding(paths[1])), "alp");
  EXPECT_EQ(contentOf(ahead.openForAdding(paths[2])), "omega");
  EXPECT_FALSE(ahead.holdsNext(paths[3]));
  EXPECT_EQ(ahead.openForAdding(paths[3]).openError, boost::system::errc::too_many_symbolic_link_levels);
}

TEST_F(FilesAheadOf, ManyFilesHandsOverEachOne) {
  std::vector<std::u16string> paths;
  std::vector<FileFacts> listed;
  for (int i = 100; i < 400; ++i) {
    make(std::to_string(i), std::to_string(i));
    paths.push_back(directory.u16(std::to_string(i)));
    listed.push_back(factsOf(directory / std::to_string(i)));
  }
  FilesAhead ahead(disk, paths, listed);
  for (int i = 100; i < 400; ++i)
    EXPECT_EQ(contentOf(ahead.openForAdding(paths[static_cast<std::size_t>(i - 100)])), std::to_string(i));
}

/// Every file changes between its opening and its end.
class ChangingDisk final : public opc::ForwardingFileSystemOps {
 public:
  using ForwardingFileSystemOps::ForwardingFileSystemOps;

  opc::OpenedFile openForAdding(std::u16string const& path) override {
    opc::OpenedFile file = inner().openForAdding(path);
    file.identity->changeNanoseconds ^= 1;
    return file;
  }
};

TEST_F(FilesAheadOf, FilesThatChangeWhileTheyAreReadLeavesThemToTheDisk) {
  make("a", "alpha");
  ChangingDisk changing(static_cast<opc::FileSystemOps&>(disk));
  std::vector<std::u16string> const paths = {directory.u16("a")};
  FilesAhead ahead(changing, paths);
  opc::OpenedFile const file = ahead.openForAdding(directory.u16("a"));
  EXPECT_FALSE(FilesAhead::isHeld(file));
  EXPECT_EQ(contentOf(file), "alpha");
}

}  // namespace
}  // namespace ztpkg
