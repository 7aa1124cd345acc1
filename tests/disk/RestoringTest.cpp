// SPDX-License-Identifier: Apache-2.0
#include <sys/inotify.h>

#include <boost/date_time/posix_time/conversion.hpp>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "disk/DiskSamples.hpp"
#include "opc/ConfinedFileSystemOps.hpp"

namespace {

namespace fs = std::filesystem;
using opc::Perms;
using Step = opc::FileOutputStream::Step;
using zt_test::readFile;
using zt_test::writeFile;

auto const kTime = boost::posix_time::from_time_t(1'111'111'111);
constexpr auto kPrivate = Perms::Perms_tag(0600);

/// Both disks, at a root of their own.
class Restoring : public testing::TestWithParam<bool> {
 protected:
  Restoring() {
    fs::create_directories(directory / "root/a");
    if (GetParam()) ops = std::make_unique<opc::ConfinedFileSystemOps>(directory.u16("root"));
  }
  std::u16string at(std::string const& name) const { return directory.u16("root/" + name); }
  fs::path path(std::string const& name) const { return directory / ("root/" + name); }
  std::string restored(std::string const& name, std::string const& text, Perms::Perms_tag permissions = kPrivate,
                       boost::posix_time::ptime const& time = kTime) {
    auto const file = ops->createForRestoring(at(name), permissions, time, error);
    if (!file) return error.message();
    *file << text;
    file->commit(error);
    step = file->getFailedStep();
    return error ? error.message() : "";
  }
  mode_t modeOf(std::string const& name) const {
    struct stat status {};
    EXPECT_EQ(lstat(path(name).c_str(), &status), 0);
    return status.st_mode & 07777;
  }

  zt_test::TemporaryDirectory directory;
  std::unique_ptr<opc::FileSystemOps> ops = std::make_unique<opc::LocalFileSystemOps>();
  boost::system::error_code error;
  Step step = Step::Content;
};

INSTANTIATE_TEST_SUITE_P(OnDisk, Restoring, testing::Bool(),
                         [](auto const& disk) { return disk.param ? "Confined" : "Local"; });

/// The names of a folder's entries to which something happened, in order, with what happened.
class Watcher {
 public:
  explicit Watcher(fs::path const& folder) : descriptor_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    inotify_add_watch(descriptor_, folder.c_str(), IN_CREATE | IN_ATTRIB | IN_MODIFY | IN_MOVED_TO);
  }
  ~Watcher() { close(descriptor_); }
  Watcher(Watcher const&) = delete;
  Watcher& operator=(Watcher const&) = delete;

  std::vector<std::pair<std::string, unsigned>> events() const {
    std::vector<std::pair<std::string, unsigned>> found;
    alignas(inotify_event) char buffer[4096];
    ssize_t const size = read(descriptor_, buffer, sizeof buffer);
    for (ssize_t at = 0; at < size;) {
      auto const* const event = reinterpret_cast<inotify_event const*>(buffer + at);
      found.emplace_back(event->name, event->mask);
      at += static_cast<ssize_t>(sizeof *event + event->len);
    }
    return found;
  }

 private:
  int descriptor_;
};

TEST_P(Restoring, GivesAFileItsContentTimeAndPermissions) {
  EXPECT_EQ(restored("a/file", "text"), "");
  EXPECT_EQ(readFile(path("a/file")), "text");
  EXPECT_EQ(modeOf("a/file"), mode_t{0600});
  EXPECT_EQ(ops->getLastModifiedTime(at("a/file"), error), kTime);
}

TEST_P(Restoring, DoesNothingToAFileOnceItHasItsName) {
  Watcher const watcher(path("a"));
  ASSERT_EQ(restored("a/file", "text"), "");
  std::vector<unsigned> toFile;
  for (auto const& [name, event] : watcher.events())
    if (name == "file") toFile.push_back(event);
  EXPECT_EQ(toFile, std::vector<unsigned>{IN_MOVED_TO});
}

TEST_P(Restoring, KeepsAnUnfinishedFilePrivateAndUnderAnotherName) {
  auto const file = ops->createForRestoring(at("a/file"), Perms::Perms_tag(0644), kTime, error);
  ASSERT_TRUE(file) << error.message();
  *file << "text" << std::flush;
  EXPECT_FALSE(fs::exists(path("a/file")));
  for (auto const& entry : fs::directory_iterator(path("a")))
    EXPECT_EQ(entry.status().permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_P(Restoring, PreparesAFileWithoutGivingItItsName) {
  auto const file = ops->createForRestoring(at("a/file"), kPrivate, kTime, error);
  ASSERT_TRUE(file) << error.message();
  *file << "text";
  file->prepare();
  EXPECT_FALSE(fs::exists(path("a/file")));
  file->commit(error);
  EXPECT_FALSE(error) << error.message();
  EXPECT_EQ(readFile(path("a/file")), "text");
  EXPECT_EQ(modeOf("a/file"), mode_t{0600});
  EXPECT_EQ(ops->getLastModifiedTime(at("a/file"), error), kTime);
}

TEST_P(Restoring, ReportsWhatCouldNotBePreparedWhenTheFileIsToTakeItsName) {
  auto file = ops->createForRestoring(at("a/file"), Perms::Perms_tag(0200000), kTime, error);
  ASSERT_TRUE(file) << error.message();
  file->prepare();
  file->commit(error);
  EXPECT_EQ(error, boost::system::errc::invalid_argument);
  EXPECT_EQ(file->getFailedStep(), Step::Permissions);
  file.reset();
  EXPECT_TRUE(fs::is_empty(path("a")));
}

TEST_P(Restoring, IsThreadSafe) { EXPECT_TRUE(ops->isThreadSafe()); }

TEST_P(Restoring, RefusesBeforeContentIsWrittenWhereAFolderHasTheName) {
  EXPECT_FALSE(ops->createForRestoring(at("a"), kPrivate, kTime, error));
  EXPECT_EQ(error, boost::system::errc::is_a_directory);
}

TEST_P(Restoring, LocksAnUnfinishedFileAgainstRemovalAsALeftover) {
  auto const file = ops->createForRestoring(at("a/file"), kPrivate, kTime, error);
  ASSERT_TRUE(file) << error.message();
  *file << "text" << std::flush;
  opc::ConfinedFileSystemOps(directory.u16("root")).removeLeftovers(at("a"), error);
  EXPECT_FALSE(error) << error.message();
  file->commit(error);
  EXPECT_FALSE(error) << error.message();
  EXPECT_EQ(readFile(path("a/file")), "text");
}

TEST_P(Restoring, LeavesNothingOfAFileThatIsNotCommitted) {
  ops->createForRestoring(at("a/file"), kPrivate, kTime, error);
  EXPECT_TRUE(fs::is_empty(path("a")));
}

TEST_P(Restoring, TouchesNothingThatTookTheNameOfTheFile) {
  writeFile(directory / "outside", "outside");
  fs::permissions(directory / "outside", fs::perms(0640));
  auto file = ops->createForRestoring(at("a/file"), Perms::Perms_tag(0777), kTime, error);
  ASSERT_TRUE(file) << error.message();
  file->commit(error);
  fs::remove(path("a/file"));
  fs::create_hard_link(directory / "outside", path("a/file"));
  file->commit(error);
  file.reset();
  EXPECT_EQ(modeOf("a/file"), mode_t{0640});
}

TEST_P(Restoring, LeavesUnknownAttributesAsANewFileHasThem) {
  core_test::ScopedUmask const umask(027);
  if (GetParam()) ops = std::make_unique<opc::ConfinedFileSystemOps>(directory.u16("root"));
  EXPECT_EQ(restored("file", "text", Perms::NotKnown, boost::posix_time::ptime()), "");
  EXPECT_EQ(modeOf("file"), mode_t{0640});
  EXPECT_NE(ops->getLastModifiedTime(at("file"), error), kTime);
}

TEST_P(Restoring, ReplacesAFileWithoutWritingThroughItsOtherNames) {
  writeFile(directory / "outside", "outside");
  fs::create_hard_link(directory / "outside", path("file"));
  EXPECT_EQ(restored("file", "new"), "");
  EXPECT_EQ(readFile(path("file")), "new");
  EXPECT_EQ(readFile(directory / "outside"), "outside");
}

TEST_P(Restoring, NamesTheStepThatFailed) {
  EXPECT_EQ(restored("a/file", "text", Perms::Perms_tag(010000)), "Invalid argument");
  EXPECT_EQ(step, Step::Permissions);
  EXPECT_EQ(restored("a/file", "text", kPrivate, boost::posix_time::ptime(boost::posix_time::pos_infin)),
            "Invalid argument");
  EXPECT_EQ(step, Step::Time);
  EXPECT_TRUE(fs::is_empty(path("a")));
}

TEST_P(Restoring, ReportsAFullDiskAsAFaultOfTheContent) {
  core_test::ScopedLimit const limit(RLIMIT_FSIZE, 100);
  EXPECT_EQ(restored("a/file", std::string(200'000, 'x')), "File too large");
  EXPECT_EQ(step, Step::Content);
  EXPECT_TRUE(fs::is_empty(path("a")));
}

TEST_P(Restoring, DoesNotReplaceAFolder) {
  EXPECT_EQ(restored("a", "text"), "Is a directory");
  EXPECT_TRUE(fs::is_directory(path("a")));
}

TEST_P(Restoring, FailsWhereTheFolderIsMissing) {
  EXPECT_EQ(restored("none/file", "text"), "No such file or directory");
}

TEST(LocalRestoring, DoesNotReplaceALink) {
  zt_test::TemporaryDirectory directory;
  writeFile(directory / "file", "kept");
  fs::create_symlink("file", directory / "link");
  boost::system::error_code error;
  EXPECT_FALSE(opc::LocalFileSystemOps().createForRestoring(directory.u16("link"), kPrivate, kTime, error));
  EXPECT_EQ(error, boost::system::errc::too_many_symbolic_link_levels);
}

/// Counts what it is asked to do by path.
class CountingDisk final : public opc::LocalFileSystemOps {
 public:
  void setPermissions(std::u16string const& path, Perms::Perms_tag permissions,
                      boost::system::error_code& error) override {
    calls += "permissions ";
    LocalFileSystemOps::setPermissions(path, permissions, error);
  }
  void setLastModifiedTime(std::u16string const& path, boost::posix_time::ptime const& time,
                           boost::system::error_code& error) override {
    calls += "time ";
    LocalFileSystemOps::setLastModifiedTime(path, time, error);
  }
  std::string calls;
};

TEST(DerivedRestoring, CallsTheOperationsOfTheDerivedClassInTheirOrder) {
  zt_test::TemporaryDirectory directory;
  CountingDisk disk;
  boost::system::error_code error;
  auto const file = disk.createForRestoring(directory.u16("file"), kPrivate, kTime, error);
  ASSERT_TRUE(file) << error.message();
  *file << "text";
  file->commit(error);
  EXPECT_FALSE(error) << error.message();
  file->commit(error);
  EXPECT_EQ(disk.calls, "time permissions ");
  EXPECT_EQ(readFile(directory / "file"), "text");
}

class HeldFolder : public testing::Test {
 protected:
  HeldFolder() { fs::create_directories(directory / "root/a"); }
  std::string made(std::string const& name) {
    auto const file = disk.createForRestoring(directory.u16("root/" + name), kPrivate, kTime, error);
    if (file) file->commit(error);
    return error ? error.message() : "";
  }

  zt_test::TemporaryDirectory directory;
  opc::ConfinedFileSystemOps disk{directory.u16("root")};
  boost::system::error_code error;
};

TEST_F(HeldFolder, StaysTheSameFolderWhenALinkTakesItsName) {
  fs::create_directory(directory / "outside");
  EXPECT_EQ(made("a/1"), "");
  fs::rename(directory / "root/a", directory / "root/b");
  fs::create_directory_symlink(directory / "outside", directory / "root/a");
  EXPECT_EQ(made("a/2"), "");
  EXPECT_TRUE(fs::exists(directory / "root/b/2"));
  EXPECT_TRUE(fs::is_empty(directory / "outside"));
}

TEST_F(HeldFolder, IsFoundAgainWhenItWasRemovedAndMadeAnew) {
  EXPECT_EQ(made("a/1"), "");
  fs::remove_all(directory / "root/a");
  EXPECT_EQ(made("a/2"), "No such file or directory");
  fs::create_directory(directory / "root/a");
  EXPECT_EQ(made("a/2"), "");
  EXPECT_TRUE(fs::exists(directory / "root/a/2"));
}

TEST_F(HeldFolder, IsFoundAgainAfterItWasAskedFor) {
  EXPECT_EQ(made("a/1"), "");
  fs::rename(directory / "root/a", directory / "root/b");
  fs::create_directory(directory / "root/a");
  EXPECT_TRUE(disk.exists(directory.u16("root/a"), error));
  EXPECT_EQ(made("a/2"), "");
  EXPECT_TRUE(fs::exists(directory / "root/a/2"));
}

TEST_F(HeldFolder, IsOneOfFewAtATime) {
  for (int i = 0; i < 40; ++i) {
    std::string const name = "d" + std::to_string(i);
    fs::create_directory(directory / ("root/" + name));
    EXPECT_EQ(made(name + "/f"), "");
    EXPECT_EQ(made("a/" + name), "");
  }
  auto const open = std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  EXPECT_LT(open, 30);
}

/// Both disks again.
class Opening : public Restoring {};
INSTANTIATE_TEST_SUITE_P(OnDisk, Opening, testing::Bool(),
                         [](auto const& disk) { return disk.param ? "Confined" : "Local"; });

TEST_P(Opening, GivesContentAndAttributesOfOneFile) {
  ASSERT_EQ(restored("file", "text", Perms::Perms_tag(0640)), "");
  opc::OpenedFile const file = ops->openForAdding(at("file"));
  fs::remove(path("file"));
  ASSERT_TRUE(file.content) << file.openError.message();
  EXPECT_EQ(std::string(std::istreambuf_iterator(*file.content), {}), "text");
  EXPECT_EQ(file.permissions, 0640U);
  EXPECT_EQ(file.time, kTime);
  EXPECT_EQ(file.size, 4U);
}

TEST_P(Opening, RefusesLinksFoldersAndWhatIsMissing) {
  fs::create_symlink("/etc/passwd", path("link"));
  EXPECT_EQ(ops->openForAdding(at("link")).openError, boost::system::errc::too_many_symbolic_link_levels);
  EXPECT_EQ(ops->openForAdding(at("a")).openError, boost::system::errc::is_a_directory);
  opc::OpenedFile const missing = ops->openForAdding(at("none"));
  EXPECT_EQ(missing.openError, boost::system::errc::no_such_file_or_directory);
  EXPECT_FALSE(missing.content);
}

TEST_P(Opening, DoesNotWaitForTheWriterOfAFifo) {
  ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
  EXPECT_EQ(ops->openForAdding(at("fifo")).openError, boost::system::errc::invalid_argument);
}

/// Extraction by the rules of a Confinement.
class ConfinedRestoring : public testing::Test {
 protected:
  boost::system::error_code restore(opc::Confinement const& rules, std::string const& text, std::size_t step,
                                    boost::posix_time::ptime const& time = kTime) {
    opc::ConfinedFileSystemOps ops(directory.u16(), rules);
    boost::system::error_code error;
    auto const file = ops.createForRestoring(directory.u16("file"), Perms::Perms_tag(0640), time, error);
    if (!file) return error;
    for (std::size_t at = 0; at < text.size(); at += step) *file << std::string_view(text).substr(at, step);
    file->commit(error);
    hasInexactTime = file->hasInexactTime();
    return error;
  }
  struct stat status() const {
    struct stat status {};
    EXPECT_EQ(lstat((directory / "file").c_str(), &status), 0);
    return status;
  }
  /// In bytes.
  off_t room() const { return status().st_blocks * 512; }

  zt_test::TemporaryDirectory directory;
  bool hasInexactTime = false;
};

std::string const kBlock(4096, 'x'), kZeros(1 << 20, '\0');

TEST_F(ConfinedRestoring, MakesHolesOfLongRunsOfZerosWhereToldTo) {
  std::string const text = kBlock + kZeros + "y" + kZeros + kBlock + kZeros;
  for (std::size_t const step : {std::size_t{1000}, std::size_t{65'536}, text.size()}) {
    ASSERT_FALSE(restore({.makeHoles = true}, text, step));
    EXPECT_TRUE(readFile(directory / "file") == text) << step;
    EXPECT_LE(room(), 64 * 1024) << step;
    EXPECT_EQ(status().st_mode & 07777, 0640U);
    EXPECT_EQ(status().st_mtim.tv_sec, boost::posix_time::to_time_t(kTime));
  }
}

TEST_F(ConfinedRestoring, WritesZerosOtherwise) {
  ASSERT_FALSE(restore({}, kBlock + kZeros, 65'536));
  EXPECT_GE(room(), static_cast<off_t>(kZeros.size()));
}

TEST_F(ConfinedRestoring, WritesShortRunsOfZeros) {
  std::string const text = kZeros.substr(0, 32'768) + kBlock + kZeros.substr(0, 32'768) + "y" + kZeros.substr(0, 9);
  ASSERT_FALSE(restore({.makeHoles = true}, text, 10'000));
  EXPECT_TRUE(readFile(directory / "file") == text);
  EXPECT_GE(room(), static_cast<off_t>(text.size()));
}

TEST_F(ConfinedRestoring, KeepsTheSizeOfAFileOfZerosAlone) {
  ASSERT_FALSE(restore({.makeHoles = true}, kZeros, kZeros.size()));
  EXPECT_EQ(status().st_size, static_cast<off_t>(kZeros.size()));
}

TEST_F(ConfinedRestoring, DropsSpecialPermissionBits) {
  opc::ConfinedFileSystemOps ops(directory.u16());
  boost::system::error_code error;
  auto const file = ops.createForRestoring(directory.u16("file"), static_cast<Perms::Perms_tag>(07754), kTime, error);
  ASSERT_TRUE(file) << error.message();
  file->commit(error);
  EXPECT_FALSE(error) << error.message();
  EXPECT_EQ(status().st_mode & 07777, 0754U);
}

TEST_F(ConfinedRestoring, TakesATimeThatTheDiskCannotHoldForAnErrorOrTheNearestAsToldTo) {
  auto const time = boost::posix_time::from_time_t(250'000'000'000);  // in the year 9892
  boost::system::error_code const error = restore({}, "text", 4, time);
  if (!error) GTEST_SKIP() << "the file system reaches so far";
  EXPECT_EQ(error, boost::system::errc::result_out_of_range);
  EXPECT_FALSE(fs::exists(directory / "file"));
  EXPECT_FALSE(restore({.allowInexactTimes = true}, "text", 4, time));
  EXPECT_TRUE(hasInexactTime);
  EXPECT_EQ(readFile(directory / "file"), "text");
  EXPECT_EQ(status().st_mode & 07777, 0640U);
  EXPECT_FALSE(restore({.allowInexactTimes = true}, "text", 4));
  EXPECT_FALSE(hasInexactTime);
}

}  // namespace
