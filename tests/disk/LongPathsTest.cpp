// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>

#include <boost/date_time/posix_time/conversion.hpp>
#include <ios>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "disk/DiskSamples.hpp"
#include "opc/ConfinedFileSystemOps.hpp"

namespace {

using testing::ElementsAre;

/// Both disks, in a folder whose path is longer than the system takes at once.
class LongPaths : public testing::TestWithParam<bool> {
 protected:
  LongPaths() {
    if (GetParam()) ops = std::make_unique<opc::ConfinedFileSystemOps>(directory.u16(""));
    for (int i = 0; i < 60; ++i) folder += u"/" + std::u16string(100, u'd');
    ops->createFolders(folder, error);
    EXPECT_FALSE(error) << error.message();
    EXPECT_GT(folder.size(), PATH_MAX);
  }

  void write(std::u16string const& path, std::string const& text) {
    auto const file = ops->createOutputStream(path, std::ios::out | std::ios::binary, error);
    ASSERT_TRUE(file) << error.message();
    *file << text;
    file->commit(error);
    EXPECT_FALSE(error) << error.message();
  }
  std::string read(std::u16string const& path) {
    auto const file = ops->createInputStream(path, std::ios::in | std::ios::binary, error);
    return file ? std::string(std::istreambuf_iterator(*file), {}) : error.message();
  }

  zt_test::TemporaryDirectory directory;
  std::unique_ptr<opc::FileSystemOps> ops = std::make_unique<opc::LocalFileSystemOps>();
  std::u16string folder = directory.u16("");
  boost::system::error_code error;
};

INSTANTIATE_TEST_SUITE_P(OnDisk, LongPaths, testing::Bool(),
                         [](auto const& disk) { return disk.param ? "Confined" : "Local"; });

TEST_P(LongPaths, CanBeWrittenListedAndRead) {
  write(folder + u"/file", "text");
  EXPECT_EQ(read(folder + u"/file"), "text");
  EXPECT_TRUE(ops->isFile(folder + u"/file"));
  EXPECT_TRUE(ops->exists(folder + u"/file", error));
  std::vector<std::u16string> found;
  ops->getFiles(directory.u16(""), found, true, error);
  EXPECT_FALSE(error) << error.message();
  EXPECT_THAT(found, ElementsAre(folder + u"/file"));
  ops->getFolders(directory.u16(""), found, true, error);
  EXPECT_FALSE(error) << error.message();
  EXPECT_EQ(found.size(), 60U);
}

TEST_P(LongPaths, HaveLinksTimesAndPermissions) {
  ops->createSymlink(u"file", folder + u"/link", error);
  EXPECT_FALSE(error) << error.message();
  EXPECT_TRUE(ops->isSymlink(folder + u"/link"));
  EXPECT_EQ(ops->getLinkTarget(folder + u"/link"), u"file");
  auto const time = boost::posix_time::from_time_t(1'111'111'111);
  auto const file = ops->createForRestoring(folder + u"/file", opc::Perms::Perms_tag(0640), time, error);
  ASSERT_TRUE(file) << error.message();
  file->commit(error);
  EXPECT_FALSE(error) << error.message();
  opc::OpenedFile const opened = ops->openForAdding(folder + u"/file");
  EXPECT_EQ(opened.permissions, opc::Perms::Perms_tag(0640));
  EXPECT_EQ(opened.time, time);
  ops->setPermissions(folder + u"/file", opc::Perms::Perms_tag(0600), error);
  ops->setLastModifiedTime(folder + u"/file", time + boost::posix_time::seconds(1), error);
  EXPECT_EQ(ops->getPermissions(folder + u"/file", error), opc::Perms::Perms_tag(0600));
  EXPECT_EQ(ops->getLastModifiedTime(folder + u"/file", error), time + boost::posix_time::seconds(1));
}

TEST_P(LongPaths, WhoseNamesAreTooLongAreAnError) {
  std::u16string const path = directory.u16(std::string(PATH_MAX, 'x'));
  EXPECT_FALSE(ops->exists(path, error));
  EXPECT_EQ(error.value(), ENAMETOOLONG);
}

}  // namespace
