// SPDX-License-Identifier: Apache-2.0
#include <boost/date_time/posix_time/conversion.hpp>
#include <filesystem>
#include <memory>
#include <string>

#include "disk/DiskSamples.hpp"
#include "opc/ConfinedFileSystemOps.hpp"

namespace {

namespace fs = std::filesystem;
using zt_test::readFile;
using zt_test::writeFile;

/// Files that are restored in a folder that the same operations made, where nothing is replaced.
class NewFolders : public testing::Test {
 protected:
  NewFolders() { ops.createFolders(at("new"), error); }
  std::u16string at(std::string const& name) const { return directory.u16("root/" + name); }
  std::unique_ptr<opc::FileOutputStream> begun() {
    return ops.createForRestoring(at("new/file"), opc::Perms::Perms_tag(0600),
                                  boost::posix_time::from_time_t(1'111'111'111), error);
  }

  zt_test::TemporaryDirectory directory;
  boost::system::error_code error;
  opc::ConfinedFileSystemOps ops{directory.u16("root"), {.replaceExisting = false}};
};

TEST_F(NewFolders, RefusesASecondFileOfTheNameBeforeItIsWritten) {
  auto const first = begun();
  ASSERT_TRUE(first) << error.message();
  first->commit(error);
  ASSERT_FALSE(error) << error.message();
  EXPECT_FALSE(begun());
  EXPECT_EQ(error, boost::system::errc::file_exists);
}

TEST_F(NewFolders, KeepsAFileThatAnotherProgramHasMadeThere) {
  writeFile(directory / "root/new/file", "of another");
  auto const file = begun();
  ASSERT_TRUE(file) << error.message();
  file->commit(error);
  EXPECT_EQ(error, boost::system::errc::file_exists);
  EXPECT_EQ(readFile(directory / "root/new/file"), "of another");
}

TEST_F(NewFolders, FindsAnotherFolderThatTookItsPlace) {
  fs::rename(directory / "root/new", directory / "root/old");
  fs::create_directories(directory / "root/new/file");
  ops.createFolders(at("new"), error);
  EXPECT_FALSE(begun());
  EXPECT_EQ(error, boost::system::errc::is_a_directory);
}

}  // namespace
