// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <stdio.h>

#include <algorithm>
#include <atomic>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <filesystem>
#include <ios>
#include <iterator>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "disk/DiskSamples.hpp"
#include "opc/ConfinedFileSystemOps.hpp"
#include "opc/Strings.hpp"

namespace {

namespace fs = std::filesystem;
using zt_test::readFile;
using zt_test::writeFile;

/// A root with a folder, a file and a link out of it, and something outside that nobody may touch.
class ConfinedFileSystemOps : public testing::Test {
 protected:
  ConfinedFileSystemOps() {
    fs::create_directories(directory / "root/folder");
    fs::create_directories(directory / "outside/folder");
    writeFile(directory / "root/folder/file", "inside");
    writeFile(directory / "outside/file", "outside");
    fs::create_directory_symlink(directory / "outside", directory / "root/out");
    fs::create_symlink("../outside/file", directory / "root/leak");
  }
  std::u16string at(std::string const& name) const { return directory.u16(name); }
  std::string made(opc::FileSystemOps& ops, std::string const& name, std::string const& text) {
    auto const file = ops.createOutputStream(at(name), std::ios::out | std::ios::binary, error);
    if (!file) return error.message();
    *file << text;
    file->commit(error);
    return error ? error.message() : "";
  }
  std::string linked(opc::FileSystemOps& ops, std::u16string const& target, std::string const& name) {
    ops.createSymlink(target, at(name), error);
    return error ? error.message() : "";
  }
  std::vector<std::string> namesIn(std::string const& name) const {
    std::vector<std::string> names;
    for (auto const& entry : fs::directory_iterator(directory / name)) names.push_back(entry.path().filename());
    std::ranges::sort(names);
    return names;
  }
  void TearDown() override {
    EXPECT_EQ(readFile(directory / "outside/file"), "outside");
    EXPECT_EQ(namesIn("outside"), (std::vector<std::string>{"file", "folder"}));
    EXPECT_TRUE(namesIn("outside/folder").empty());
  }

  zt_test::TemporaryDirectory directory;
  boost::system::error_code error;
  opc::ConfinedFileSystemOps disk{directory.u16("root")};
};

constexpr char const* kLoop = "Too many levels of symbolic links";
constexpr char const* kNotPermitted = "Operation not permitted";

TEST_F(ConfinedFileSystemOps, MakesItsRootAndTheAncestors) {
  opc::ConfinedFileSystemOps fresh(at("new/deep/root/"));
  EXPECT_TRUE(fs::is_directory(directory / "new/deep/root"));
  EXPECT_EQ(made(fresh, "new/deep/root/file", "text"), "");
  EXPECT_EQ(readFile(directory / "new/deep/root/file"), "text");
}

TEST_F(ConfinedFileSystemOps, MayHaveARootBehindALink) {
  opc::ConfinedFileSystemOps behind(at("root/out/"));
  EXPECT_EQ(made(behind, "root/out/new", "text"), "");
  EXPECT_EQ(readFile(directory / "outside/new"), "text");
  fs::remove(directory / "outside/new");
}

TEST_F(ConfinedFileSystemOps, ThrowsWhereTheRootIsAFile) {
  EXPECT_THROW_MESSAGE(opc::ConfinedFileSystemOps(at("root/folder/file")), opc::Exception,
                       "Could not open directory: " + (directory / "root/folder/file").string() + ": Not a directory");
}

TEST_F(ConfinedFileSystemOps, RefusesPathsThatAreNotBeneathTheRoot) {
  for (std::string const name : {"outside/file", "rootless", "root/../outside/file", "root/folder/../folder/file"}) {
    EXPECT_FALSE(disk.exists(at(name), error)) << name;
    EXPECT_EQ(error.message(), kNotPermitted) << name;
    EXPECT_EQ(made(disk, name, "text"), kNotPermitted) << name;
    disk.createFolders(at(name), error);
    EXPECT_EQ(error.message(), kNotPermitted) << name;
    disk.setPermissions(at(name), opc::Perms::None, error);
    EXPECT_EQ(error.message(), kNotPermitted) << name;
  }
}

TEST_F(ConfinedFileSystemOps, RefusesPathsWithNul) {
  EXPECT_FALSE(disk.createOutputStream(at("root/a") + u'\0' + u'b', std::ios::out, error));
  EXPECT_EQ(error, boost::system::errc::invalid_argument);
}

TEST_F(ConfinedFileSystemOps, TakesRepeatedSlashesAndDotsForNothing) {
  EXPECT_TRUE(disk.isFile(at("root//folder/./file")));
  EXPECT_TRUE(disk.exists(at("root/"), error));
}

TEST_F(ConfinedFileSystemOps, LooksAtNothingThroughALink) {
  EXPECT_FALSE(disk.exists(at("root/out/file"), error));
  EXPECT_EQ(error.message(), kLoop);
  EXPECT_FALSE(disk.isFile(at("root/out/file")));
  EXPECT_FALSE(disk.isFile(at("root/leak")));
  EXPECT_TRUE(disk.isSymlink(at("root/leak")));
  EXPECT_FALSE(disk.createInputStream(at("root/leak"), std::ios::in, error));
  EXPECT_EQ(error.message(), kLoop);
}

TEST_F(ConfinedFileSystemOps, ChangesNothingThroughALink) {
  EXPECT_EQ(made(disk, "root/out/file", "text"), kLoop);
  disk.createFolder(at("root/out/new"), error);
  EXPECT_EQ(error.message(), kLoop);
  disk.createFolders(at("root/out/new/deep"), error);
  EXPECT_EQ(error.message(), kLoop);
  EXPECT_EQ(linked(disk, u"file", "root/out/link"), kLoop);
  auto const before = fs::last_write_time(directory / "outside/file");
  disk.setLastModifiedTime(at("root/leak"), boost::posix_time::ptime(boost::gregorian::date(2001, 2, 3)), error);
  EXPECT_EQ(fs::last_write_time(directory / "outside/file"), before);
}

TEST_F(ConfinedFileSystemOps, RemovesFilesLinksAndEmptyFoldersAlone) {
  auto const removed = [&](std::string const& name) {
    disk.remove(at(name), error);
    return error ? error.message() : "";
  };
  EXPECT_EQ(removed("root/folder"), "Directory not empty");
  EXPECT_EQ(removed("root/folder/file"), "");
  EXPECT_EQ(removed("root/folder"), "");
  EXPECT_EQ(removed("root/out/file"), kLoop);
  EXPECT_EQ(removed("root/out"), "");
  EXPECT_EQ(removed("root/leak"), "");
  EXPECT_EQ(removed("root/none"), "No such file or directory");
  EXPECT_EQ(removed("root"), kNotPermitted);
  EXPECT_EQ(removed("outside/file"), kNotPermitted);
  EXPECT_TRUE(namesIn("root").empty());
}

TEST_F(ConfinedFileSystemOps, SetsNoPermissionsThroughALink) {
  auto const before = fs::status(directory / "outside/file").permissions();
  disk.setPermissions(at("root/leak"), opc::Perms::None, error);
  EXPECT_TRUE(error);
  EXPECT_EQ(fs::status(directory / "outside/file").permissions(), before);
}

TEST_F(ConfinedFileSystemOps, ReplacesALinkInsteadOfWritingThroughIt) {
  EXPECT_EQ(made(disk, "root/leak", "mine"), "");
  EXPECT_FALSE(fs::is_symlink(directory / "root/leak"));
  EXPECT_EQ(readFile(directory / "root/leak"), "mine");
}

TEST_F(ConfinedFileSystemOps, ListsWithoutLeavingTheRoot) {
  std::vector<std::u16string> files, folders;
  disk.getFiles(at("root"), files, true, error);
  EXPECT_EQ(files, (std::vector{at("root/folder/file"), at("root/leak"), at("root/out")}));
  disk.getFolders(at("root"), folders, true, error);
  EXPECT_EQ(folders, std::vector{at("root/folder")});
  disk.getFiles(at("root/out"), files, true, error);
  EXPECT_TRUE(error);
  EXPECT_TRUE(files.empty());
}

TEST_F(ConfinedFileSystemOps, ReadsFilesAndLinkTargets) {
  auto const file = disk.createInputStream(at("root/folder/file"), std::ios::in, error);
  ASSERT_TRUE(file) << error.message();
  EXPECT_EQ(std::string(std::istreambuf_iterator(*file), {}), "inside");
  EXPECT_EQ(disk.getLinkTarget(at("root/leak")), u"../outside/file");
  EXPECT_THROW(disk.getLinkTarget(at("root/folder")), opc::Exception);
}

TEST_F(ConfinedFileSystemOps, KeepsAnUnfinishedFileUnderAnotherName) {
  writeFile(directory / "root/file", "old");
  {
    auto const file = disk.createOutputStream(at("root/file"), std::ios::out, error);
    ASSERT_TRUE(file) << error.message();
    *file << "new" << std::flush;
    EXPECT_EQ(readFile(directory / "root/file"), "old");
  }
  EXPECT_EQ(readFile(directory / "root/file"), "old");
  EXPECT_EQ(namesIn("root"), (std::vector<std::string>{"file", "folder", "leak", "out"}));
}

TEST_F(ConfinedFileSystemOps, ShowsAnUnfinishedFileToItsOwnerAlone) {
  auto const file = disk.createOutputStream(at("root/folder/new"), std::ios::out, error);
  ASSERT_TRUE(file) << error.message();
  std::vector<fs::perms> modes;
  for (auto const& entry : fs::directory_iterator(directory / "root/folder"))
    if (entry.path().filename() != "file") modes.push_back(entry.status().permissions());
  EXPECT_EQ(modes, std::vector{fs::perms::owner_read | fs::perms::owner_write});
}

TEST_F(ConfinedFileSystemOps, GivesAFinishedFileWhatTheUmaskLeaves) {
  core_test::ScopedUmask const umask(027);
  opc::ConfinedFileSystemOps with(at("root"));
  EXPECT_EQ(made(with, "root/new", "text"), "");
  EXPECT_EQ(with.getPermissions(at("root/new"), error), 0640U);
}

TEST_F(ConfinedFileSystemOps, DropsSpecialPermissionBits) {
  disk.setPermissions(at("root/folder/file"), static_cast<opc::Perms::Perms_tag>(07754), error);
  EXPECT_FALSE(error) << error.message();
  EXPECT_EQ(disk.getPermissions(at("root/folder/file"), error), 0754U);
}

TEST_F(ConfinedFileSystemOps, SetsTimesToTheMicrosecond) {
  auto const time =
      boost::posix_time::ptime(boost::gregorian::date(2001, 2, 3)) + boost::posix_time::microseconds(456789);
  disk.setLastModifiedTime(at("root/folder/file"), time, error);
  EXPECT_FALSE(error) << error.message();
  EXPECT_EQ(disk.getLastModifiedTime(at("root/folder/file"), error), time);
}

TEST_F(ConfinedFileSystemOps, MakesFoldersOneByOneAndTogether) {
  disk.createFolder(at("root/a"), error);
  EXPECT_FALSE(error) << error.message();
  disk.createFolder(at("root/a"), error);
  EXPECT_EQ(error, boost::system::errc::file_exists);
  disk.createFolders(at("root/a/b/c/d"), error);
  EXPECT_FALSE(error) << error.message();
  disk.createFolders(at("root/a/b/c/d"), error);
  EXPECT_FALSE(error) << error.message();
  EXPECT_TRUE(fs::is_directory(directory / "root/a/b/c/d"));
  disk.createFolders(at("root/folder/file/x"), error);
  EXPECT_EQ(error, boost::system::errc::not_a_directory);
}

TEST_F(ConfinedFileSystemOps, RefusesAFileInThePlaceOfAFolder) {
  EXPECT_EQ(made(disk, "root/folder", "text"), "Is a directory");
}

TEST_F(ConfinedFileSystemOps, ReplacesNothingWhereItIsToldSo) {
  opc::ConfinedFileSystemOps careful(at("root"), {.replaceExisting = false});
  EXPECT_EQ(made(careful, "root/folder/file", "text"), "File exists");
  EXPECT_EQ(made(careful, "root/leak", "text"), "File exists");
  EXPECT_EQ(linked(careful, u"folder", "root/folder/file"), "File exists");
  EXPECT_EQ(made(careful, "root/new", "text"), "");
  EXPECT_EQ(readFile(directory / "root/folder/file"), "inside");
}

TEST_F(ConfinedFileSystemOps, DoesNotReplaceWhatAppearedWhileItWrote) {
  opc::ConfinedFileSystemOps careful(at("root"), {.replaceExisting = false});
  auto const file = careful.createOutputStream(at("root/new"), std::ios::out, error);
  ASSERT_TRUE(file) << error.message();
  writeFile(directory / "root/new", "somebody else's");
  for (int i = 0; i < 2; ++i) {
    file->commit(error);
    EXPECT_EQ(error.message(), "File exists");
  }
  EXPECT_EQ(readFile(directory / "root/new"), "somebody else's");
}

TEST_F(ConfinedFileSystemOps, ReportsAFullDisk) {
  auto const file = disk.createOutputStream(at("root/new"), std::ios::out, error);
  ASSERT_TRUE(file) << error.message();
  core_test::ScopedLimit const limit(RLIMIT_FSIZE, 100);
  *file << std::string(200'000, 'x');
  file->commit(error);
  EXPECT_EQ(error, boost::system::errc::file_too_large);
  EXPECT_FALSE(fs::exists(directory / "root/new"));
}

TEST_F(ConfinedFileSystemOps, MakesLinksThatStayBeneathTheRoot) {
  std::u16string const root = at("root");
  std::vector<std::u16string> const targets = {u"file",
                                               u"../folder/file",
                                               u"./a//b",
                                               u"..",
                                               u"../folder",
                                               u"none/of/these",
                                               root,
                                               root + u"/a/b",
                                               u"../folder/../folder",
                                               root + u"/folder/../x"};
  for (std::u16string const& target : targets) EXPECT_EQ(linked(disk, target, "root/folder/link"), "");
  EXPECT_EQ(fs::read_symlink(directory / "root/folder/link"), (directory / "root/folder/../x"));
}

TEST_F(ConfinedFileSystemOps, RefusesLinksThatLeaveTheRoot) {
  std::u16string const root = at("root");
  std::vector<std::u16string> const targets = {u"/etc/passwd", u"../..",          u"../../root",   root + u"less",
                                               u"/",           root + u"/../x",   u"a/../../../x", root + u"/a/../../x",
                                               u"x/../y",      u"../out/../root", at("outside")};
  for (std::u16string const& target : targets) {
    EXPECT_EQ(linked(disk, target, "root/folder/link"), kNotPermitted) << opc::toUDEString(target);
    EXPECT_FALSE(fs::is_symlink(directory / "root/folder/link"));
  }
}

TEST_F(ConfinedFileSystemOps, MakesLinksThatLeaveTheRootWhereItIsToldSo) {
  opc::ConfinedFileSystemOps open(at("root"), {.allowOutsideLinks = true});
  EXPECT_EQ(linked(open, u"/etc/passwd", "root/folder/link"), "");
  EXPECT_EQ(linked(open, u"../../..", "root/folder/link"), "");
  EXPECT_EQ(linked(open, u"x", "root/out/link"), kLoop);
}

TEST_F(ConfinedFileSystemOps, RefusesLinkTargetsThatNoDiskHolds) {
  EXPECT_EQ(linked(disk, std::u16string(u"a\0b", 3), "root/link"), "Invalid argument");
  EXPECT_EQ(linked(disk, std::u16string(5000, u'a'), "root/link"), "File name too long");
  EXPECT_EQ(linked(disk, u"", "root/link"), "No such file or directory");
}

TEST_F(ConfinedFileSystemOps, HoldsItsRootWhenTheNameIsGivenAway) {
  fs::rename(directory / "root", directory / "moved");
  fs::create_directory_symlink("outside", directory / "root");
  EXPECT_EQ(made(disk, "root/new", "text"), "");
  EXPECT_EQ(readFile(directory / "moved/new"), "text");
}

TEST_F(ConfinedFileSystemOps, LosesNoRaceAgainstWhoSwapsAFolderForALink) {
  fs::create_directory_symlink(directory / "outside/folder", directory / "root/trap");
  fs::create_directory(directory / "root/victim");
  std::atomic<bool> done{false};
  std::string const victim = (directory / "root/victim").string(), trap = (directory / "root/trap").string();
  std::thread swapper([&] {
    while (!done) ::renameat2(AT_FDCWD, victim.c_str(), AT_FDCWD, trap.c_str(), RENAME_EXCHANGE);
  });
  for (int i = 0; i < 1'000; ++i) {
    std::string const name = "root/victim/" + std::to_string(i);
    made(disk, name, "text");
    disk.setPermissions(at(name), opc::Perms::OwnerRead, error);
    disk.createFolders(at(name + "x/y"), error);
    linked(disk, u"file", name + "l");
  }
  done = true;
  swapper.join();
}

TEST_F(ConfinedFileSystemOps, OwnsNoPathSyntaxOfItsOwn) {
  EXPECT_EQ(disk.appendPath(u"/root", u"/x"), u"/root/x");
  EXPECT_EQ(disk.getParentPath(u"/root/x"), u"/root");
  EXPECT_EQ(disk.getExtension(u"/root/x.txt"), u"txt");
  EXPECT_TRUE(disk.isAbsolutePath(u"/root"));
}

}  // namespace
