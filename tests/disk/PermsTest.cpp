// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <gtest/gtest.h>
#include <optional>

#include "opc/ConfinedFileSystemOps.hpp"
#include "opc/FileSystemOps.hpp"
#include "opc/ForwardingFileSystemOps.hpp"
#include "support/TestSupport.hpp"

namespace {

using opc::Perms;

TEST(Perms, TakesAModeInOctalDigits) {
  Perms::Perms_tag const bits = Perms(0640);
  EXPECT_EQ(bits, Perms::OwnerRead | Perms::OwnerWrite | Perms::GroupRead);
  EXPECT_EQ(Perms(Perms::OwnerRead | Perms::OthersRead), 0404u);
  static_assert(Perms(07777) == 07777);
}

TEST(Perms, RefusesWhatIsNoMode) { EXPECT_THROW(Perms(010000), opc::Exception); }

TEST(FileSystemOps, TellsTheSizeOfAFileAndOfNothingElse) {
  zt_test::TemporaryDirectory const directory;
  zt_test::writeFile(directory / "a", "12345");
  opc::LocalFileSystemOps disk;
  EXPECT_EQ(disk.getFileSize(directory.u16("a")), 5u);
  EXPECT_EQ(disk.getFileSize(directory.u16()), std::nullopt);
  EXPECT_EQ(disk.getFileSize(directory.u16("none")), std::nullopt);
  EXPECT_EQ(opc::ForwardingFileSystemOps(disk).getFileSize(directory.u16("a")), 5u);
}

TEST(FileSystemOps, TakesAConfinedRootAsAPath) {
  zt_test::TemporaryDirectory const directory;
  opc::ConfinedFileSystemOps const byPath(directory / "one");
  opc::ConfinedFileSystemOps const byText((directory / "two").string());
  EXPECT_TRUE(std::filesystem::is_directory(directory / "one"));
  EXPECT_TRUE(std::filesystem::is_directory(directory / "two"));
}

}  // namespace
