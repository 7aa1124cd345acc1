// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <gtest/gtest.h>
#include <set>
#include <string>

#include "io/TemporaryName.hpp"
#include "support/TestSupport.hpp"

namespace {

using opc::FileHandle;
using opc::TemporaryName;
namespace errc = boost::system::errc;
namespace fs = std::filesystem;

class ATemporaryName : public testing::Test {
 protected:
  TemporaryName make(std::string const& name) {
    return TemporaryName::makeFile(
        folder.descriptor(), [name] { return name; }, O_WRONLY, file, error);
  }
  std::set<std::string> names() const {
    std::set<std::string> found;
    for (auto const& entry : fs::directory_iterator(directory.path())) found.insert(entry.path().filename());
    return found;
  }

  zt_test::TemporaryDirectory directory;
  boost::system::error_code error;
  FileHandle folder = FileHandle::open(directory.path().c_str(), O_RDONLY | O_DIRECTORY, error);
  FileHandle file;
};

TEST_F(ATemporaryName, GoesWithItsObject) {
  {
    TemporaryName const made = make("x");
    EXPECT_EQ(names(), std::set<std::string>{"x"});
  }
  EXPECT_TRUE(names().empty());
}

TEST_F(ATemporaryName, BelongsToAPrivateFile) {
  TemporaryName const made = make("x");
  EXPECT_EQ(fs::status(directory / "x").permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(ATemporaryName, GivesWayToTheFilesOwn) {
  zt_test::writeFile(directory / "own", "old");
  {
    TemporaryName made = make("x");
    file.writeAll("new", 3, error);
    made.moveTo("own", true, error);
    EXPECT_FALSE(error);
  }
  EXPECT_EQ(names(), std::set<std::string>{"own"});
  EXPECT_EQ(zt_test::readFile(directory / "own"), "new");
}

TEST_F(ATemporaryName, StaysWhereNothingMayBeReplaced) {
  zt_test::writeFile(directory / "own", "old");
  TemporaryName made = make("x");
  made.moveTo("own", false, error);
  EXPECT_EQ(error, errc::file_exists);
  EXPECT_EQ(zt_test::readFile(directory / "own"), "old");
  made.moveTo("other", false, error);
  EXPECT_FALSE(error);
  EXPECT_EQ(names(), (std::set<std::string>{"other", "own"}));
}

TEST_F(ATemporaryName, IsAnotherOneWhereTheFirstIsTaken) {
  zt_test::writeFile(directory / "a", "theirs");
  char next = 'a';
  {
    auto const made = TemporaryName::makeFile(
        folder.descriptor(), [&] { return std::string(1, next++); }, O_WRONLY, file, error);
    EXPECT_FALSE(error);
    EXPECT_EQ(names(), (std::set<std::string>{"a", "b"}));
  }
  EXPECT_EQ(zt_test::readFile(directory / "a"), "theirs");
}

TEST_F(ATemporaryName, IsNotLookedForForEver) {
  zt_test::writeFile(directory / "a", "theirs");
  { TemporaryName const made = make("a"); }
  EXPECT_EQ(error, errc::file_exists);
  EXPECT_FALSE(file.isOpen());
  EXPECT_EQ(zt_test::readFile(directory / "a"), "theirs");
}

TEST_F(ATemporaryName, CannotBeMadeInAFolderThatIsGone) {
  fs::remove(directory.path());
  TemporaryName const made = make("x");
  EXPECT_EQ(error, errc::no_such_file_or_directory);
}

TEST_F(ATemporaryName, IsUnique) {
  std::set<std::string> made;
  for (int i = 0; i < 1'000; ++i) {
    made.insert(opc::temporaryNameFor("name"));
    made.insert(opc::temporaryNameForSpool());
    made.insert(opc::temporaryNameForExtraction());
  }
  EXPECT_EQ(made.size(), 3'000U);
}

TEST_F(ATemporaryName, OfAKilledExtractionIsALeftover) {
  std::string const other = ".ztservices-not-ours";
  for (std::string const& name : {opc::temporaryNameForExtraction(), other}) {
    FileHandle const made = FileHandle::openAt(folder.descriptor(), name.c_str(), O_CREAT | O_WRONLY, 0600, error);
    ASSERT_FALSE(error) << error.message();
  }
  opc::removeLeftovers(folder.descriptor());
  EXPECT_EQ(names(), std::set<std::string>{other});
}

TEST_F(ATemporaryName, OfARunningExtractionIsNoLeftover) {
  TemporaryName const made = make(opc::temporaryNameForExtraction());
  file.tryLock(error);
  ASSERT_FALSE(error) << error.message();
  opc::removeLeftovers(folder.descriptor());
  EXPECT_EQ(names().size(), 1U);
}

TEST_F(ATemporaryName, OfAFileThatIsAboutToTakeItsOwnIsNoLeftover) {
  TemporaryName const made = make(opc::temporaryNameForExtraction());
  file.setMode(0644, error);
  file.close(error);
  opc::removeLeftovers(folder.descriptor());
  EXPECT_EQ(names().size(), 1U);
}

TEST_F(ATemporaryName, OfAnExtractionIsNoOrphan) {
  std::string const extracted = opc::temporaryNameForExtraction(), orphan = opc::temporaryNameFor("name");
  for (std::string const& name : {extracted, orphan}) zt_test::writeFile(directory / name, "");
  opc::removeOrphans(folder.descriptor(), "name");
  EXPECT_EQ(names(), std::set<std::string>{extracted});
}

TEST(TemporaryNames, DifferBetweenAProcessAndItsFork) {
  opc::temporaryNameForExtraction();  // draws characters for further names, which the fork inherits
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  FileHandle toRead(ends[0]);
  FileHandle toWrite(ends[1]);
  pid_t const child = ::fork();
  if (child == 0) {
    std::string const name = opc::temporaryNameForExtraction();
    boost::system::error_code error;
    toWrite.writeAll(name.data(), name.size(), error);
    ::_exit(error ? 1 : 0);
  }
  std::string const own = opc::temporaryNameForExtraction();
  std::string other(own.size(), '\0');
  boost::system::error_code error;
  EXPECT_EQ(toRead.read(other.data(), other.size(), error), other.size());
  int status = 1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_NE(own, other);
}

}  // namespace
