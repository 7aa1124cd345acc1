// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>

#include <filesystem>
#include <string>

#include "disk/ConfinedRoot.hpp"
#include "disk/DiskSamples.hpp"

namespace {

namespace fs = std::filesystem;

using Open = opc::FileHandle (*)(int, std::string const&, int, mode_t, boost::system::error_code&);

/// Both ways, in one step and segment by segment, give the same answers.
class OpenBeneath : public testing::TestWithParam<Open> {
 protected:
  OpenBeneath() : folder_(opc::FileHandle::open(directory.path().c_str(), O_PATH | O_DIRECTORY, error)) {
    fs::create_directories(directory / "a/b");
    zt_test::writeFile(directory / "a/b/file", "text");
  }
  bool opens(std::string const& path, int flags = O_RDONLY) {
    return GetParam()(folder_.descriptor(), path, flags, 0600, error).isOpen();
  }

  zt_test::TemporaryDirectory directory;
  boost::system::error_code error;

 private:
  opc::FileHandle folder_;
};

TEST_P(OpenBeneath, OpensFilesAndFoldersAtAnyDepth) {
  EXPECT_TRUE(opens("a/b/file")) << error.message();
  EXPECT_TRUE(opens("a/b", O_PATH | O_DIRECTORY)) << error.message();
  EXPECT_TRUE(opens(".", O_PATH | O_DIRECTORY)) << error.message();
  EXPECT_FALSE(error);
}

TEST_P(OpenBeneath, MakesAFile) {
  EXPECT_TRUE(opens("a/new", O_WRONLY | O_CREAT | O_EXCL)) << error.message();
  EXPECT_TRUE(fs::exists(directory / "a/new"));
}

TEST_P(OpenBeneath, GoesThroughNoLink) {
  fs::create_directory_symlink("a", directory / "link");
  EXPECT_FALSE(opens("link/b/file"));
  EXPECT_EQ(error, boost::system::errc::too_many_symbolic_link_levels);
}

TEST_P(OpenBeneath, OpensNoLink) {
  fs::create_symlink("file", directory / "a/b/link");
  EXPECT_FALSE(opens("a/b/link"));
  EXPECT_EQ(error, boost::system::errc::too_many_symbolic_link_levels);
}

TEST_P(OpenBeneath, TakesNoLinkForAFolder) {
  fs::create_directory_symlink("a", directory / "link");
  EXPECT_FALSE(opens("link", O_PATH | O_DIRECTORY));
  EXPECT_TRUE(error);
}

TEST_P(OpenBeneath, ReportsWhatIsMissingAndWhatIsNoFolder) {
  EXPECT_FALSE(opens("a/none/file"));
  EXPECT_EQ(error, boost::system::errc::no_such_file_or_directory);
  EXPECT_FALSE(opens("a/b/file/x"));
  EXPECT_EQ(error, boost::system::errc::not_a_directory);
}

INSTANTIATE_TEST_SUITE_P(InOneStep, OpenBeneath, testing::Values(&opc::openBeneath));
INSTANTIATE_TEST_SUITE_P(BySegments, OpenBeneath, testing::Values(&opc::openBeneathBySegments));

}  // namespace
