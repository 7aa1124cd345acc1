// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <ios>
#include <random>
#include <string>

#include "disk/DiskSamples.hpp"
#include "text/EpochTime.hpp"

namespace {

namespace fs = std::filesystem;
using boost::posix_time::ptime;
using opc::Perms;
using zt_test::writeFile;

class LocalFileMetadata : public core_test::Disk {
 protected:
  LocalFileMetadata() { writeFile(directory / "file", "content"); }

  // The system's own view of the file's time.
  timespec systemTime(std::string const& name) const {
    struct stat status {};
    EXPECT_EQ(::stat(native(name).c_str(), &status), 0);
    return status.st_mtim;
  }
  void setSystemTime(std::string const& name, timespec const& time) const {
    timespec const times[2] = {time, time};
    ASSERT_EQ(::utimensat(AT_FDCWD, native(name).c_str(), times, 0), 0);
  }
};

TEST_F(LocalFileMetadata, KeepsEveryPermission) {
  for (unsigned mode = 0; mode < 01000; ++mode) {
    ops.setPermissions(at("file"), static_cast<Perms::Perms_tag>(mode), error);
    ASSERT_FALSE(error) << error.message();
    EXPECT_EQ(ops.getPermissions(at("file"), error), mode);
    EXPECT_FALSE(error);
  }
}

TEST_F(LocalFileMetadata, KeepsTheSpecialBits) {
  fs::create_directory(directory / "folder");
  auto const bits = static_cast<Perms::Perms_tag>(Perms::Sticky | Perms::SetUserID | Perms::SetGroupID | 0755);
  ops.setPermissions(at("folder"), bits, error);
  ASSERT_FALSE(error) << error.message();
  EXPECT_EQ(ops.getPermissions(at("folder"), error), bits);
}

TEST_F(LocalFileMetadata, RefusesToSetUnknownPermissions) {
  ops.setPermissions(at("file"), static_cast<Perms::Perms_tag>(0640), error);
  ops.setPermissions(at("file"), Perms::NotKnown, error);
  EXPECT_EQ(error.value(), EINVAL);
  EXPECT_EQ(ops.getPermissions(at("file"), error), 0640u);
}

TEST_F(LocalFileMetadata, ReportsAMissingFile) {
  EXPECT_EQ(ops.getPermissions(at("missing"), error), Perms::NotKnown);
  EXPECT_EQ(error.value(), ENOENT);
  error.clear();
  ops.setPermissions(at("missing"), Perms::OwnerRead, error);
  EXPECT_EQ(error.value(), ENOENT);
  error.clear();
  EXPECT_TRUE(ops.getLastModifiedTime(at("missing"), error).is_not_a_date_time());
  EXPECT_EQ(error.value(), ENOENT);
  error.clear();
  ops.setLastModifiedTime(at("missing"), opc::fromEpoch({0, 0}), error);
  EXPECT_EQ(error.value(), ENOENT);
}

TEST_F(LocalFileMetadata, ReadsTheTimeToTheMicrosecond) {
  setSystemTime("file", {1'700'000'000, 123'456'789});
  EXPECT_EQ(ops.getLastModifiedTime(at("file"), error), opc::fromEpoch({1'700'000'000, 123'456}));
  EXPECT_FALSE(error);
}

TEST_F(LocalFileMetadata, ReadsATimeBefore1970) {
  setSystemTime("file", {-2, 999'999'999});
  EXPECT_EQ(ops.getLastModifiedTime(at("file"), error), opc::fromEpoch({-2, 999'999}));
}

TEST_F(LocalFileMetadata, SetsTheTimeToTheMicrosecond) {
  ops.setLastModifiedTime(at("file"), opc::fromEpoch({1'700'000'000, 123'456}), error);
  ASSERT_FALSE(error) << error.message();
  EXPECT_EQ(systemTime("file").tv_sec, 1'700'000'000);
  EXPECT_EQ(systemTime("file").tv_nsec, 123'456'000);
}

TEST_F(LocalFileMetadata, ReadsBackEveryTimeThatItSets) {
  std::mt19937_64 random(11);
  std::uniform_int_distribution<std::int64_t> seconds(-2'000'000'000, 4'000'000'000), parts(0, 999'999);
  for (int i = 0; i < 1000; ++i) {
    ptime const time = opc::fromEpoch({seconds(random), parts(random)});
    ops.setLastModifiedTime(at("file"), time, error);
    ASSERT_FALSE(error) << error.message();
    EXPECT_EQ(ops.getLastModifiedTime(at("file"), error), time);
  }
}

TEST_F(LocalFileMetadata, ReportsATimeThatTheFileSystemCannotKeep) {
  ptime const medieval = opc::fromEpoch({-17'000'000'000, 0});
  ops.setLastModifiedTime(at("file"), medieval, error);
  if (error)
    EXPECT_EQ(error, boost::system::errc::result_out_of_range);
  else
    EXPECT_EQ(ops.getLastModifiedTime(at("file"), error), medieval);
}

TEST_F(LocalFileMetadata, ReportsATimeThatTheTimeTypeCannotHold) {
  timespec const beyond{253'402'300'800, 0};  // the year 10000
  setSystemTime("file", beyond);
  if (systemTime("file").tv_sec != beyond.tv_sec) GTEST_SKIP() << "the file system does not reach so far";
  EXPECT_TRUE(ops.getLastModifiedTime(at("file"), error).is_not_a_date_time());
  EXPECT_EQ(error, boost::system::errc::result_out_of_range);
}

TEST_F(LocalFileMetadata, LeavesTheTimeOfAccessAlone) {
  timespec const times[2] = {{1'000'000'000, 0}, {1'000'000'000, 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, native("file").c_str(), times, 0), 0);
  ops.setLastModifiedTime(at("file"), opc::fromEpoch({1'700'000'000, 0}), error);
  struct stat status {};
  ASSERT_EQ(::stat(native("file").c_str(), &status), 0);
  EXPECT_EQ(status.st_atim.tv_sec, 1'000'000'000);
}

TEST_F(LocalFileMetadata, RefusesToSetASpecialTime) {
  setSystemTime("file", {1'700'000'000, 0});
  for (ptime const& time : {ptime(), ptime(boost::posix_time::pos_infin), ptime(boost::posix_time::neg_infin)}) {
    error.clear();
    ops.setLastModifiedTime(at("file"), time, error);
    EXPECT_EQ(error.value(), EINVAL);
  }
  EXPECT_EQ(systemTime("file").tv_sec, 1'700'000'000);
}

TEST_F(LocalFileMetadata, SetsTheTimeOfAFileThatNobodyMayWrite) {
  fs::permissions(directory / "file", fs::perms::owner_read);
  ops.setLastModifiedTime(at("file"), opc::fromEpoch({1'700'000'000, 1}), error);
  EXPECT_FALSE(error) << error.message();
  EXPECT_EQ(systemTime("file").tv_nsec, 1000);
}

TEST_F(LocalFileMetadata, IsThatOfALinksTarget) {
  fs::create_symlink("file", directory / "link");
  ops.setPermissions(at("link"), static_cast<Perms::Perms_tag>(0604), error);
  EXPECT_EQ(ops.getPermissions(at("file"), error), 0604u);
  EXPECT_EQ(ops.getPermissions(at("link"), error), 0604u);
}

TEST_F(LocalFileMetadata, OfAnOpenFileShowsAnEditWhoseTimeIsPutBack) {
  opc::OpenedFile const file = ops.openForAdding(at("file"));
  ASSERT_TRUE(file.identity);
  EXPECT_EQ(file.getIdentityNow(), file.identity);
  auto const time = ops.getLastModifiedTime(at("file"), error);
  std::fstream(native("file"), std::ios::in | std::ios::out) << 'X';
  ops.setLastModifiedTime(at("file"), time, error);
  EXPECT_EQ(ops.getLastModifiedTime(at("file"), error), time);
  EXPECT_NE(file.getIdentityNow(), file.identity);
  EXPECT_TRUE(file.getIdentityNow()->isOfSameFile(*file.identity));
}

}  // namespace
