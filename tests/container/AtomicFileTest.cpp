// SPDX-License-Identifier: Apache-2.0
#include <grp.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "container/AtomicFile.hpp"
#include "opc/model/ContainerExceptions.hpp"
#include "support/TestSupport.hpp"

namespace opc::model::zip {
namespace {
using namespace zt_test;
namespace fs = std::filesystem;
using Target = AtomicFile::Target;

void put(fs::path const& path, std::string const& text, Target rule = Target::MayExist) {
  AtomicFile file(path.string(), {.target = rule});
  file.write(text.data(), text.size());
  file.commit();
}

std::size_t countFiles(fs::path const& directory) {
  return static_cast<std::size_t>(std::distance(fs::directory_iterator(directory), fs::directory_iterator()));
}

std::string onlyTemporary(fs::path const& directory) {
  for (auto const& entry : fs::directory_iterator(directory))
    if (entry.path().filename().string().find(".ztservices-") != std::string::npos)
      return entry.path().filename().string();
  return {};
}

mode_t modeOf(fs::path const& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0);
  return status.st_mode & 07777;
}

int codeOf(std::function<void()> const& action) {
  try {
    action();
  } catch (CouldNotSavePackage const& thrown) {
    return thrown.getErrorCode().value();
  }
  return 0;
}

TEST(AtomicFile, AppearsAtCommit) {
  TemporaryDirectory directory;
  {
    AtomicFile file((directory / "new").string(), {});
    file.write("content", 7);
    EXPECT_FALSE(fs::exists(directory / "new"));
    file.commit();
    EXPECT_EQ(readFile(directory / "new"), "content");
  }
  EXPECT_EQ(countFiles(directory.path()), 1u);
}

TEST(AtomicFile, LeavesTheTargetAloneWithoutCommit) {
  TemporaryDirectory directory;
  zt_test::writeFile(directory / "old", "old");
  { AtomicFile((directory / "old").string(), {}).write("new", 3); }
  EXPECT_EQ(readFile(directory / "old"), "old");
  EXPECT_EQ(countFiles(directory.path()), 1u);
}

TEST(AtomicFile, WritesUnderARecognisablePrivateName) {
  TemporaryDirectory directory;
  AtomicFile file((directory / "name.pkg").string(), {});
  std::string const temporary = onlyTemporary(directory.path());
  EXPECT_EQ(temporary.substr(0, 21), ".name.pkg.ztservices-");
  EXPECT_EQ(temporary.size(), 27u);
  EXPECT_EQ(modeOf(directory / temporary), 0600u);
}

TEST(AtomicFile, CutsALongNameForItsTemporary) {
  TemporaryDirectory directory;
  std::string const ascii(NAME_MAX, 'n');
  std::string umlauts;
  for (int i = 0; i < NAME_MAX / 2; ++i) umlauts += "\u00E4";
  for (auto const& name : {ascii, umlauts}) {
    AtomicFile file((directory / name).string(), {});
    std::string const temporary = onlyTemporary(directory.path());
    EXPECT_LE(temporary.size(), static_cast<std::size_t>(NAME_MAX));
    EXPECT_EQ(temporary.find(name.substr(0, 200)), 1u);
    file.commit();
    EXPECT_TRUE(fs::exists(directory / name));
  }
}

TEST(AtomicFile, KeepsTheModeOfTheFileThatItReplaces) {
  TemporaryDirectory directory;
  zt_test::writeFile(directory / "old", "old");
  for (mode_t const mode : {0640u, 0777u, 0400u, 04755u}) {
    ASSERT_EQ(chmod((directory / "old").c_str(), mode), 0);
    put(directory / "old", "new");
    EXPECT_EQ(modeOf(directory / "old"), mode);
  }
}

TEST(AtomicFile, KeepsTheOwnerWherePermitted) {
  if (geteuid() != 0) GTEST_SKIP() << "only root may give files away";
  TemporaryDirectory directory;
  zt_test::writeFile(directory / "old", "old");
  ASSERT_EQ(chown((directory / "old").c_str(), 12345, 23456), 0);
  put(directory / "old", "new");
  struct stat status {};
  ASSERT_EQ(stat((directory / "old").c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 12345u);
  EXPECT_EQ(status.st_gid, 23456u);
}

TEST(AtomicFile, GivesANewFileTheModeOfTheUmask) {
  TemporaryDirectory directory;
  mode_t const before = umask(027);
  put(directory / "new", "new");
  umask(before);
  EXPECT_EQ(modeOf(directory / "new"), 0640u);
}

TEST(AtomicFile, FollowsASymbolicLink) {
  TemporaryDirectory directory;
  fs::create_directories(directory / "real");
  zt_test::writeFile(directory / "real/file", "old");
  fs::create_symlink("real/file", directory / "link");
  fs::create_symlink("link", directory / "link2");
  put(directory / "link2", "new");
  EXPECT_TRUE(fs::is_symlink(directory / "link"));
  EXPECT_TRUE(fs::is_symlink(directory / "link2"));
  EXPECT_EQ(readFile(directory / "real/file"), "new");
  EXPECT_EQ(countFiles(directory / "real"), 1u);
}

TEST(AtomicFile, MakesTheTargetOfADanglingLink) {
  TemporaryDirectory directory;
  fs::create_directories(directory / "real");
  fs::create_symlink("real/file", directory / "link");
  put(directory / "link", "new");
  EXPECT_TRUE(fs::is_symlink(directory / "link"));
  EXPECT_EQ(readFile(directory / "real/file"), "new");
  fs::create_symlink("nowhere/file", directory / "bad");
  EXPECT_EQ(codeOf([&] { put(directory / "bad", "new"); }), ENOENT);
}

TEST(AtomicFile, ReplacesNothingWhereNothingMayBe) {
  TemporaryDirectory directory;
  put(directory / "file", "first", Target::MustNotExist);
  EXPECT_THROW_MESSAGE(put(directory / "file", "second", Target::MustNotExist), CouldNotSavePackage,
                       "Could not save package: " + (directory / "file").string() + ": File exists");
  EXPECT_EQ(readFile(directory / "file"), "first");
  EXPECT_EQ(countFiles(directory.path()), 1u);
}

TEST(AtomicFile, ReplacesNothingThatAppearedMeanwhile) {
  TemporaryDirectory directory;
  AtomicFile file((directory / "file").string(), {.target = Target::MustNotExist});
  file.write("mine", 4);
  zt_test::writeFile(directory / "file", "theirs");
  EXPECT_EQ(codeOf([&] { file.commit(); }), EEXIST);
  EXPECT_EQ(readFile(directory / "file"), "theirs");
  EXPECT_EQ(countFiles(directory.path()), 1u);
}

TEST(AtomicFile, LetsOneOfManyWinWhereNothingMayBe) {
  TemporaryDirectory directory;
  std::vector<int> won(8);
  std::vector<std::thread> threads;
  for (int& mine : won)
    threads.emplace_back([&] { mine = codeOf([&] { put(directory / "file", "x", Target::MustNotExist); }) == 0; });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(std::count(won.begin(), won.end(), 1), 1);
  EXPECT_EQ(countFiles(directory.path()), 1u);
}

TEST(AtomicFile, ReportsAMissingDirectory) {
  TemporaryDirectory directory;
  std::string const path = (directory / "gone/file").string();
  EXPECT_THROW_MESSAGE(put(path, ""), CouldNotSavePackage,
                       "Could not save package: " + path + ": No such file or directory");
  EXPECT_EQ(codeOf([&] { put(path, ""); }), ENOENT);
}

TEST(AtomicFile, WorksInADirectoryThatMayNotBeRead) {
  if (geteuid() == 0) GTEST_SKIP() << "root may read everything";
  TemporaryDirectory directory;
  fs::create_directory(directory / "box");
  fs::permissions(directory / "box", fs::perms::owner_write | fs::perms::owner_exec);
  put(directory / "box/file", "content");
  EXPECT_EQ(readFile(directory / "box/file"), "content");
}

TEST(AtomicFile, ReportsADirectoryThatMayNotBeWritten) {
  if (geteuid() == 0) GTEST_SKIP() << "root may write everywhere";
  TemporaryDirectory directory;
  fs::create_directory(directory / "locked");
  fs::permissions(directory / "locked", fs::perms::owner_read | fs::perms::owner_exec);
  EXPECT_EQ(codeOf([&] { put(directory / "locked/file", ""); }), EACCES);
}

TEST(AtomicFile, RefusesWhatIsNoRegularFile) {
  TemporaryDirectory directory;
  fs::create_directory(directory / "folder");
  zt_test::writeFile(directory / "file", "");
  ASSERT_EQ(mkfifo((directory / "fifo").c_str(), 0600), 0);
  EXPECT_EQ(codeOf([&] { put(directory / "folder", ""); }), EISDIR);
  EXPECT_EQ(codeOf([&] { put(directory / "folder/", ""); }), EISDIR);
  EXPECT_EQ(codeOf([&] { put(directory / "absent/", ""); }), EISDIR);
  EXPECT_EQ(codeOf([&] { put(directory / "file/x", ""); }), ENOTDIR);
  EXPECT_EQ(codeOf([&] { put(directory / "fifo", ""); }), EINVAL);
  EXPECT_EQ(codeOf([&] { put("", ""); }), ENOENT);
  EXPECT_EQ(codeOf([&] { put(std::string("/tmp/a\0b", 8), ""); }), EINVAL);
  EXPECT_EQ(countFiles(directory.path()), 3u);
}

TEST(AtomicFile, TakesAPathRelativeToTheCurrentDirectory) {
  TemporaryDirectory directory;
  fs::path const before = fs::current_path();
  fs::current_path(directory.path());
  put("file", "content");
  fs::current_path(before);
  EXPECT_EQ(readFile(directory / "file"), "content");
}

TEST(AtomicFile, CopiesARangeOfAnotherFile) {
  TemporaryDirectory directory;
  std::string const text(3'000'000, 'x');
  zt_test::writeFile(directory / "from", "head" + text + "tail");
  std::FILE* const from = std::fopen((directory / "from").c_str(), "rb");
  AtomicFile file((directory / "to").string(), {});
  file.write("[", 1);
  file.copyFrom(fileno(from), 4, text.size());
  file.write("]", 1);
  file.commit();
  std::fclose(from);
  EXPECT_TRUE(readFile(directory / "to") == "[" + text + "]");
}

TEST(AtomicFile, ReportsASourceThatIsTooShort) {
  TemporaryDirectory directory;
  zt_test::writeFile(directory / "from", "short");
  std::FILE* const from = std::fopen((directory / "from").c_str(), "rb");
  AtomicFile file((directory / "to").string(), {});
  EXPECT_EQ(codeOf([&] { file.copyFrom(fileno(from), 2, 100); }), EIO);
  std::fclose(from);
  EXPECT_EQ(countFiles(directory.path()), 1u);
  EXPECT_NE(codeOf([&] { file.commit(); }), 0);
  EXPECT_FALSE(fs::exists(directory / "to"));
}

TEST(AtomicFile, CopiesFromAnotherDisk) {
  TemporaryDirectory directory;
  std::FILE* const from = std::fopen("/proc/self/maps", "rb");  // a file that the kernel does not copy
  ASSERT_NE(from, nullptr);
  AtomicFile file((directory / "to").string(), {});
  file.copyFrom(fileno(from), 0, 100);
  file.commit();
  std::fclose(from);
  EXPECT_EQ(fs::file_size(directory / "to"), 100u);
}

TEST(AtomicFile, LeavesTheOldFileOnAFullDisk) {
  TemporaryDirectory directory;
  if (mount("none", directory.path().c_str(), "tmpfs", 0, "size=1m") != 0) GTEST_SKIP() << "cannot mount a small disk";
  zt_test::writeFile(directory / "file", "old");
  {
    AtomicFile file((directory / "file").string(), {});
    std::string const large(2 << 20, 'x');
    EXPECT_EQ(codeOf([&] { file.write(large.data(), large.size()); }), ENOSPC);
    EXPECT_EQ(countFiles(directory.path()), 1u);
    EXPECT_NE(codeOf([&] { file.write("x", 1); }), 0);
    EXPECT_NE(codeOf([&] { file.commit(); }), 0);
  }
  EXPECT_EQ(readFile(directory / "file"), "old");
  put(directory / "file", "new");
  EXPECT_EQ(readFile(directory / "file"), "new");
  EXPECT_EQ(umount(directory.path().c_str()), 0);
}

TEST(AtomicFile, ShowsThePathEscaped) {
  EXPECT_THROW_MESSAGE(put("/nowhere\n/a", ""), CouldNotSavePackage,
                       "Could not save package: /nowhere\\n/a: No such file or directory");
}

TEST(AtomicFile, IsInPlaceWhenTheDirectoryIsSyncedLater) {
  TemporaryDirectory directory;
  AtomicFile file((directory / "new").string(), {.target = Target::MustNotExist});
  file.write("content", 7);
  file.replace();
  EXPECT_EQ(readFile(directory / "new"), "content");
  EXPECT_EQ(countFiles(directory.path()), 1u);
  file.syncDirectory();
}

/// Somebody without rights over other people's files, for a while.
class SomebodyElse {
 public:
  SomebodyElse() { EXPECT_TRUE(setegid(kNobody) == 0 && seteuid(kNobody) == 0); }
  ~SomebodyElse() { EXPECT_TRUE(seteuid(0) == 0 && setegid(0) == 0); }
  SomebodyElse(SomebodyElse const&) = delete;
  SomebodyElse& operator=(SomebodyElse const&) = delete;

  static constexpr unsigned kNobody = 65534;
};

struct Ownership {
  uid_t owner;
  gid_t group;
  mode_t mode;
};

/// What somebody who may not keep the owner makes of the file, with `replacesProtected` or without.
Ownership replacedBySomebodyElse(Ownership const& before, bool replacesProtected = true) {
  TemporaryDirectory directory;
  fs::path const path = directory / "file";
  writeFile(path, "old");
  EXPECT_EQ(chmod(directory.path().c_str(), 0777), 0);
  EXPECT_EQ(chown(path.c_str(), before.owner, before.group), 0);
  EXPECT_EQ(chmod(path.c_str(), before.mode), 0);
  {
    SomebodyElse const somebody;
    int const code = codeOf([&] {
      AtomicFile file(path.string(), {.replacesProtected = replacesProtected});
      file.write("new", 3);
      file.commit();
    });
    EXPECT_EQ(code == 0, replacesProtected);
  }
  EXPECT_EQ(readFile(path), replacesProtected ? "new" : "old");
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0);
  return {status.st_uid, status.st_gid, status.st_mode & 07777};
}

TEST(AtomicFile, LeavesAFileWhoseOwnerOrRightsItCannotKeep) {
  if (geteuid() != 0) GTEST_SKIP() << "only root may give files away";
  for (mode_t const mode : {0444U, 0640U, 0666U}) {
    auto const after = replacedBySomebodyElse({0, 12345, mode}, false);
    EXPECT_EQ(after.owner, 0U);
    EXPECT_EQ(after.group, 12345U);
    EXPECT_EQ(after.mode, mode);
  }
}

TEST(AtomicFile, GivesOthersNoRightsOfTheGroupThatItCannotKeep) {
  if (geteuid() != 0) GTEST_SKIP() << "only root may give files away";
  auto const after = replacedBySomebodyElse({0, 12345, 06774});
  EXPECT_EQ(after.owner, SomebodyElse::kNobody);
  EXPECT_EQ(after.group, SomebodyElse::kNobody);
  EXPECT_EQ(after.mode, 0704u);
}

TEST(AtomicFile, KeepsTheGroupWhereItCannotKeepTheOwner) {
  if (geteuid() != 0) GTEST_SKIP() << "only root may give files away";
  gid_t before[64], extra = 12346;
  int const count = getgroups(64, before);
  ASSERT_GE(count, 0);
  ASSERT_EQ(setgroups(1, &extra), 0);
  auto const after = replacedBySomebodyElse({0, extra, 04664});
  EXPECT_EQ(setgroups(static_cast<std::size_t>(count), before), 0);
  EXPECT_EQ(after.owner, SomebodyElse::kNobody);
  EXPECT_EQ(after.group, extra);
  EXPECT_EQ(after.mode, 0664u);
}

}  // namespace
}  // namespace opc::model::zip
