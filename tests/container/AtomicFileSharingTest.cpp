// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "container/AtomicFile.hpp"
#include "io/FileHandle.hpp"
#include "opc/model/ContainerExceptions.hpp"
#include "support/TestSupport.hpp"

namespace opc::model::zip {
namespace {
using namespace zt_test;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

FileIdentity identityOf(fs::path const& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0);
  return FileIdentity::of(status);
}

std::vector<std::string> namesIn(fs::path const& directory) {
  std::vector<std::string> names;
  for (auto const& entry : fs::directory_iterator(directory)) names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

FileIdentity replace(fs::path const& path, std::string const& text, AtomicFile::Rules const& rules) {
  AtomicFile file(path.string(), rules);
  file.write(text.data(), text.size());
  return file.replace();
}

/// Holds the lock of a file or folder as another process would.
class Holder {
 public:
  explicit Holder(fs::path const& path) : file_(FileHandle::open(path.c_str(), O_RDONLY, error_)) {
    file_.tryLock(error_);
    EXPECT_FALSE(error_);
  }
  void letGo() { file_ = FileHandle(); }

 private:
  boost::system::error_code error_;
  FileHandle file_;
};

std::string changedMessage(fs::path const& path) {
  return "Could not save package: " + path.string() + ": it was changed since it was opened";
}

TEST(AtomicFileSharing, ReplacesTheFileThatIsExpected) {
  TemporaryDirectory directory;
  writeFile(directory / "file", "old");
  FileIdentity const first = identityOf(directory / "file");
  FileIdentity const second = replace(directory / "file", "new", {.expected = first});
  EXPECT_NE(second, first);
  EXPECT_TRUE(isSameContent(second, identityOf(directory / "file")));
  replace(directory / "file", "newer", {.expected = second});
  EXPECT_EQ(readFile(directory / "file"), "newer");
}

TEST(AtomicFileSharing, RefusesAFileThatWasChangedBefore) {
  TemporaryDirectory directory;
  writeFile(directory / "file", "old");
  FileIdentity const expected = identityOf(directory / "file");
  writeFile(directory / "file", "theirs");
  EXPECT_THROW_MESSAGE(replace(directory / "file", "mine", {.expected = expected}), PackageHasChanged,
                       changedMessage(directory / "file"));
  EXPECT_EQ(readFile(directory / "file"), "theirs");
  EXPECT_EQ(namesIn(directory.path()), std::vector<std::string>{"file"});
}

TEST(AtomicFileSharing, RefusesAFileThatIsChangedWhileItsSuccessorIsWritten) {
  TemporaryDirectory directory;
  writeFile(directory / "file", "old");
  AtomicFile file((directory / "file").string(), {.expected = identityOf(directory / "file")});
  replace(directory / "file", "theirs", {});
  EXPECT_THROW_MESSAGE(file.replace(), PackageHasChanged, changedMessage(directory / "file"));
  EXPECT_EQ(readFile(directory / "file"), "theirs");
  EXPECT_EQ(namesIn(directory.path()), std::vector<std::string>{"file"});
}

TEST(AtomicFileSharing, RefusesAFileThatIsGone) {
  TemporaryDirectory directory;
  writeFile(directory / "file", "old");
  FileIdentity const expected = identityOf(directory / "file");
  fs::remove(directory / "file");
  EXPECT_THROW_MESSAGE(replace(directory / "file", "mine", {.expected = expected}), PackageHasChanged,
                       changedMessage(directory / "file"));
  EXPECT_TRUE(namesIn(directory.path()).empty());
}

TEST(AtomicFileSharing, TakesNoOffenceAtAnotherModeOrTimeOfReading) {
  TemporaryDirectory directory;
  writeFile(directory / "file", "old");
  FileIdentity const expected = identityOf(directory / "file");
  fs::permissions(directory / "file", fs::perms::owner_all);
  fs::create_hard_link(directory / "file", directory / "link");
  readFile(directory / "file");
  EXPECT_NO_THROW(replace(directory / "file", "new", {.expected = expected}));
}

TEST(AtomicFileSharing, ReportsALockThatIsNotLetGo) {
  TemporaryDirectory directory;
  writeFile(directory / "file", "old");
  Holder const holder(directory / "file");
  EXPECT_THROW_MESSAGE(
      replace(directory / "file", "new", {.patience = 5ms}), PackageIsBusy,
      "Could not save package: " + (directory / "file").string() + ": it is locked by another process");
  EXPECT_EQ(namesIn(directory.path()), std::vector<std::string>{"file"});
}

TEST(AtomicFileSharing, ReportsALockThatIsTakenWhileItWrites) {
  TemporaryDirectory directory;
  writeFile(directory / "file", "old");
  AtomicFile file((directory / "file").string(), {.patience = 5ms});
  Holder const holder(directory / "file");
  EXPECT_THROW(file.replace(), PackageIsBusy);
  EXPECT_EQ(readFile(directory / "file"), "old");
  EXPECT_EQ(namesIn(directory.path()), std::vector<std::string>{"file"});
}

TEST(AtomicFileSharing, WaitsForALockThatIsLetGo) {
  TemporaryDirectory directory;
  writeFile(directory / "file", "old");
  Holder holder(directory / "file");
  std::thread other([&] {
    std::this_thread::sleep_for(20ms);
    holder.letGo();
  });
  replace(directory / "file", "new", {.patience = 60s});
  other.join();
  EXPECT_EQ(readFile(directory / "file"), "new");
}

TEST(AtomicFileSharing, HoldsNoLockWhileItWritesNorAfterwards) {
  TemporaryDirectory directory;
  writeFile(directory / "file", "old");
  AtomicFile file((directory / "file").string(), {});
  { Holder const other(directory / "file"); }
  file.replace();
  Holder const other(directory / "file");
}

TEST(AtomicFileSharing, NeedsNoLockOfTheFolder) {
  TemporaryDirectory directory;
  Holder const holder(directory.path());
  replace(directory / "file", "old", {.patience = 5ms});
  replace(directory / "file", "new", {.patience = 5ms});
  EXPECT_EQ(readFile(directory / "file"), "new");
}

TEST(AtomicFileSharing, NoticesASaveThatItWaitedFor) {
  TemporaryDirectory directory;
  writeFile(directory / "file", "old");
  AtomicFile slow((directory / "file").string(), {.expected = identityOf(directory / "file"), .patience = 60s});
  Holder holder(directory / "file");
  std::thread other([&] {
    std::this_thread::sleep_for(20ms);
    writeFile(directory / "theirs", "theirs");
    fs::rename(directory / "theirs", directory / "file");
    holder.letGo();
  });
  EXPECT_THROW(slow.replace(), PackageHasChanged);
  other.join();
  EXPECT_EQ(readFile(directory / "file"), "theirs");
}

/// A process that is killed in the midst of writing.
void beginAndDie(fs::path const& path) {
  pid_t const child = fork();
  if (child == 0) {
    AtomicFile file(path.string(), {});
    file.write("half", 4);
    kill(getpid(), SIGKILL);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
}

TEST(AtomicFileSharing, RemovesWhatAKilledProcessLeft) {
  TemporaryDirectory directory;
  beginAndDie(directory / "file");
  EXPECT_EQ(namesIn(directory.path()).size(), 1u);
  replace(directory / "file", "new", {});
  EXPECT_EQ(namesIn(directory.path()), std::vector<std::string>{"file"});
}

TEST(AtomicFileSharing, RemovesItEvenWhenItThenFails) {
  TemporaryDirectory directory;
  beginAndDie(directory / "file");
  { AtomicFile const file((directory / "file").string(), {}); }
  EXPECT_TRUE(namesIn(directory.path()).empty());
}

TEST(AtomicFileSharing, LeavesWhatALivingProcessWrites) {
  TemporaryDirectory directory;
  AtomicFile slow((directory / "file").string(), {});
  replace(directory / "file", "quick", {});
  EXPECT_EQ(namesIn(directory.path()).size(), 2u);
  slow.write("slow", 4);
  slow.commit();
  EXPECT_EQ(readFile(directory / "file"), "slow");
}

TEST(AtomicFileSharing, LeavesFilesThatOnlyResembleItsOwn) {
  TemporaryDirectory directory;
  std::vector<std::string> const names = {".file.ztservices-abcde",   ".file.ztservices-abcde1",
                                          ".file.ztservices-abcdeg_", ".other.ztservices-abcdef",
                                          "file.ztservices-abcdef",   ".ztservices-abc"};
  for (auto const& name : names) writeFile(directory / name, "");
  fs::create_directory(directory / ".file.ztservices-aaaaaa");
  fs::create_symlink("nowhere", directory / ".file.ztservices-bbbbbb");
  replace(directory / "file", "new", {});
  EXPECT_EQ(namesIn(directory.path()).size(), names.size() + 3);
}

TEST(AtomicFileSharing, RemovesASpoolThatKeptItsName) {
  TemporaryDirectory directory;
  writeFile(directory / ".ztservices-abcdef", "");
  replace(directory / "file", "new", {});
  EXPECT_EQ(namesIn(directory.path()), std::vector<std::string>{"file"});
}

}  // namespace
}  // namespace opc::model::zip
