// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "disk/OpenFile.hpp"
#include "disk/Sandbox.hpp"
#include "support/TestSupport.hpp"

namespace ztpkg {
namespace {

/// The folder "in", which may be written, "out", which may not, and a file "f" in each.
class Sandbox : public testing::Test {
 protected:
  Sandbox() {
    for (char const* const folder : {"in", "out"}) {
      mkdir((directory / folder).c_str(), 0755);
      make(std::string(folder) + "/f");
    }
  }

  std::string at(std::string const& name) const { return (directory / name).string(); }
  static int codeOf(int result) { return result == -1 ? errno : 0; }
  int make(std::string const& name) const { return write(name, O_CREAT); }
  int write(std::string const& name, int flags) const {
    return codeOf(OpenFile(at(name), O_WRONLY | flags, 0644).descriptor());
  }
  bool canRead(std::string const& name) const { return OpenFile(at(name), O_RDONLY).isOpen(); }

  /// Does something in a thread that may write below "in" alone; false where the kernel confines nothing.
  bool confined(std::function<void()> const& act) const {
    bool isConfined = false;
    std::thread([&] {
      isConfined = confineWrites({at("in"), at("missing"), at("out/f")});
      if (isConfined) act();
    }).join();
    return isConfined;
  }

  zt_test::TemporaryDirectory directory;
};

constexpr char kNone[] = "the kernel confines nothing";

TEST_F(Sandbox, LetsFilesFoldersAndLinksBeMadeAndRemovedInItsFolder) {
  if (!confined([&] {
        EXPECT_EQ(make("in/new"), 0);
        EXPECT_EQ(write("in/f", O_TRUNC), 0);
        EXPECT_EQ(codeOf(rename(at("in/new").c_str(), at("in/f").c_str())), 0);
        EXPECT_EQ(codeOf(mkdir(at("in/folder").c_str(), 0755)), 0);
        EXPECT_EQ(codeOf(symlink("f", at("in/folder/link").c_str())), 0);
        EXPECT_EQ(codeOf(unlink(at("in/folder/link").c_str())), 0);
        EXPECT_EQ(codeOf(rmdir(at("in/folder").c_str())), 0);
      }))
    GTEST_SKIP() << kNone;
}

TEST_F(Sandbox, LetsNothingBeMadeWrittenOrRemovedElsewhere) {
  if (!confined([&] {
        EXPECT_EQ(make("out/new"), EACCES);
        EXPECT_EQ(write("out/f", 0), EACCES);
        EXPECT_EQ(codeOf(unlink(at("out/f").c_str())), EACCES);
        EXPECT_EQ(codeOf(mkdir(at("out/folder").c_str(), 0755)), EACCES);
        EXPECT_EQ(codeOf(symlink("f", at("out/link").c_str())), EACCES);
        EXPECT_NE(codeOf(rename(at("in/f").c_str(), at("out/f").c_str())), 0);
        EXPECT_EQ(make("missing"), EACCES);
      }))
    GTEST_SKIP() << kNone;
  EXPECT_TRUE(canRead("in/f"));
}

TEST_F(Sandbox, LeadsOutByNoLink) {
  ASSERT_EQ(symlink("../out", (directory / "in/link").c_str()), 0);
  if (!confined([&] { EXPECT_EQ(make("in/link/new"), EACCES); })) GTEST_SKIP() << kNone;
}

TEST_F(Sandbox, LetsEverythingBeRead) {
  if (!confined([&] { EXPECT_TRUE(canRead("out/f")); })) GTEST_SKIP() << kNone;
}

TEST_F(Sandbox, StartsNoProgramAndMakesNoDevice) {
  if (!confined([&] {
        char name[] = "/bin/true";
        char* const arguments[] = {name, nullptr};
        pid_t child = 0;
        EXPECT_EQ(posix_spawn(&child, name, nullptr, nullptr, arguments, nullptr), EACCES);
        EXPECT_EQ(codeOf(mkfifo(at("in/fifo").c_str(), 0644)), EACCES);
      }))
    GTEST_SKIP() << kNone;
}

TEST_F(Sandbox, HoldsForThreadsThatAreStartedInItAndForNoOther) {
  int inner = 0;
  if (!confined([&] { std::thread([&] { inner = make("out/new"); }).join(); })) GTEST_SKIP() << kNone;
  EXPECT_EQ(inner, EACCES);
  EXPECT_EQ(make("out/new"), 0);
}

TEST_F(Sandbox, IsNeverWidened) {
  if (!confined([&] {
        EXPECT_TRUE(confineWrites({at("in"), at("out")}));
        EXPECT_EQ(make("out/new"), EACCES);
        EXPECT_EQ(make("in/new"), 0);
        EXPECT_TRUE(confineWrites({}));
        EXPECT_EQ(make("in/newer"), EACCES);
      }))
    GTEST_SKIP() << kNone;
}

}  // namespace
}  // namespace ztpkg
