// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "disk/DirectoryWalk.hpp"
#include "disk/DiskSamples.hpp"
#include "opc/Strings.hpp"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using zt_test::writeFile;

class DirectoryWalk : public core_test::Disk {
 protected:
  std::vector<std::u16string> files(std::u16string const& root, bool recursive = true) {
    std::vector<std::u16string> found{u"what was there before"};
    ops.getFiles(root, found, recursive, error);
    return found;
  }
  std::vector<std::u16string> folders(std::u16string const& root, bool recursive = true) {
    std::vector<std::u16string> found{u"what was there before"};
    ops.getFolders(root, found, recursive, error);
    return found;
  }
};

TEST_F(DirectoryWalk, FindsNothingInAnEmptyFolder) {
  EXPECT_THAT(files(at("")), IsEmpty());
  EXPECT_FALSE(error) << error.message();
  EXPECT_THAT(folders(at("")), IsEmpty());
  EXPECT_FALSE(error) << error.message();
}

TEST_F(DirectoryWalk, FindsFilesAtEveryDepth) {
  for (char const* name : {"z", "a/b/c/deep", "a/x", ".hidden"}) writeFile(directory / name, "");
  EXPECT_THAT(files(at("")), ElementsAre(at(".hidden"), at("a/b/c/deep"), at("a/x"), at("z")));
}

TEST_F(DirectoryWalk, StaysInTheFolderWhenNotRecursive) {
  for (char const* name : {"z", "a/b/deep", "a/x"}) writeFile(directory / name, "");
  EXPECT_THAT(files(at(""), false), ElementsAre(at("z")));
  EXPECT_THAT(folders(at(""), false), ElementsAre(at("a")));
}

TEST_F(DirectoryWalk, FindsFoldersAtEveryDepthButTheRoot) {
  for (char const* name : {"z", "a/b/c/deep", "d/x"}) writeFile(directory / name, "");
  fs::create_directories(directory / "empty/inner");
  EXPECT_THAT(folders(at("")), ElementsAre(at("a"), at("a/b"), at("a/b/c"), at("d"), at("empty"), at("empty/inner")));
}

TEST_F(DirectoryWalk, SortsByCodeUnit) {
  for (char const* name : {"b", "a.txt", "a/x", "a-", "B", "\xEF\xBF\xBD", "\xF0\x9F\x98\x80"})
    writeFile(directory / name, "");
  std::u16string const root = at("") + u"/";
  EXPECT_THAT(files(at("")), ElementsAre(root + u"B", root + u"a-", root + u"a.txt", root + u"a/x", root + u"b",
                                         root + u"\U0001F600", root + u"\uFFFD"));
}

TEST_F(DirectoryWalk, ListsLinksAndDoesNotFollowThem) {
  writeFile(directory / "folder/file", "");
  fs::create_directory_symlink("folder", directory / "to_folder");
  fs::create_directory_symlink("..", directory / "folder/up");
  fs::create_symlink("nowhere", directory / "dangling");
  EXPECT_THAT(files(at("")), ElementsAre(at("dangling"), at("folder/file"), at("folder/up"), at("to_folder")));
  EXPECT_THAT(folders(at("")), ElementsAre(at("folder")));
}

TEST_F(DirectoryWalk, FollowsALinkAtItsRoot) {
  writeFile(directory / "folder/file", "");
  fs::create_directory_symlink("folder", directory / "link");
  EXPECT_THAT(files(at("link")), ElementsAre(at("link/file")));
}

TEST_F(DirectoryWalk, SkipsFifosSocketsAndDevices) {
  ASSERT_EQ(::mkfifo(native("fifo").c_str(), 0600), 0);
  int const socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  native("socket").copy(address.sun_path, sizeof address.sun_path - 1);
  EXPECT_EQ(::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ::close(socket);
  writeFile(directory / "file", "");
  EXPECT_THAT(files(at("")), ElementsAre(at("file")));
  EXPECT_THAT(folders(at("")), IsEmpty());
}

TEST_F(DirectoryWalk, PutsOneSeparatorBehindTheRoot) {
  writeFile(directory / "file", "");
  EXPECT_THAT(files(at("") + u"/"), ElementsAre(at("file")));
}

TEST_F(DirectoryWalk, KeepsNamesThatLookStrange) {
  for (char const* name : {"two\nlines", "tab\t", "back\\slash", " ", "...", "-"}) writeFile(directory / name, "");
  EXPECT_THAT(files(at("")),
              ElementsAre(at(" "), at("-"), at("..."), at("back\\slash"), at("tab\t"), at("two\nlines")));
}

TEST_F(DirectoryWalk, ListsFilesThatNobodyMayRead) {
  writeFile(directory / "closed", "");
  fs::permissions(directory / "closed", fs::perms::none);
  EXPECT_THAT(files(at("")), ElementsAre(at("closed")));
}

TEST_F(DirectoryWalk, ReportsARootThatIsNoFolder) {
  writeFile(directory / "file", "");
  EXPECT_THAT(files(at("file")), IsEmpty());
  EXPECT_EQ(error.value(), ENOTDIR);
  EXPECT_THAT(folders(at("missing")), IsEmpty());
  EXPECT_EQ(error.value(), ENOENT);
  EXPECT_THAT(files(u""), IsEmpty());
  EXPECT_EQ(error.value(), ENOENT);
}

TEST_F(DirectoryWalk, ReportsAFolderThatItMayNotRead) {
  ZT_SKIP_AS_ROOT();
  writeFile(directory / "closed/file", "");
  fs::permissions(directory / "closed", fs::perms::none);
  EXPECT_THAT(files(at("")), IsEmpty());
  EXPECT_EQ(error.value(), EACCES);
}

TEST_F(DirectoryWalk, ListsTheOthersBesideAFolderThatItMayNotRead) {
  ZT_SKIP_AS_ROOT();
  for (char const* name : {"a", "closed/file", "open/file", "z"}) writeFile(directory / name, "");
  fs::permissions(directory / "closed", fs::perms::none);
  EXPECT_THAT(files(at("")), ElementsAre(at("a"), at("open/file"), at("z")));
  EXPECT_EQ(error.value(), EACCES);
  EXPECT_THAT(folders(at("")), ElementsAre(at("closed"), at("open")));
  EXPECT_EQ(error.value(), EACCES);
}

TEST_F(DirectoryWalk, ReportsANameThatIsNotUTF8AndListsTheOthers) {
  for (char const* name : {"a", "caf\xE9", "d/caf\xE9", "d/x"}) writeFile(directory / name, "");
  EXPECT_THAT(files(at("")), ElementsAre(at("a"), at("d/x")));
  EXPECT_EQ(error, boost::system::errc::illegal_byte_sequence);
}

TEST_F(DirectoryWalk, ReportsAFolderWhoseNameIsNotUTF8AndListsTheOthers) {
  for (char const* name : {"\xFF/file", "d/file"}) writeFile(directory / name, "");
  for (bool const recursive : {true, false}) {
    EXPECT_THAT(folders(at(""), recursive), ElementsAre(at("d")));
    EXPECT_EQ(error, boost::system::errc::illegal_byte_sequence);
  }
  EXPECT_THAT(files(at("")), ElementsAre(at("d/file")));
  EXPECT_EQ(error, boost::system::errc::illegal_byte_sequence);
}

TEST_F(DirectoryWalk, TakesNoOffenceAtNamesThatItDoesNotDeliver) {
  ASSERT_EQ(::mkfifo(native("\xFF").c_str(), 0600), 0);
  writeFile(directory / "caf\xE9/file", "");
  EXPECT_THAT(files(at(""), false), IsEmpty());
  EXPECT_FALSE(error) << error.message();
}

TEST_F(DirectoryWalk, WalksDeepTreesWithFewOpenFiles) {
  std::string deep = "d";
  for (int i = 0; i < 1000; ++i) deep += "/d";
  ops.createFolders(at(deep), error);
  ASSERT_FALSE(error) << error.message();
  core_test::ScopedLimit const limit(RLIMIT_NOFILE, 32);
  EXPECT_EQ(folders(at("")).size(), 1001u);
  EXPECT_FALSE(error) << error.message();
}

TEST_F(DirectoryWalk, LeavesNoFileOpen) {
  writeFile(directory / "a/caf\xE9", "");
  core_test::ScopedLimit const limit(RLIMIT_NOFILE, 32);
  for (int i = 0; i < 100; ++i) {
    files(at(""));
    EXPECT_EQ(error, boost::system::errc::illegal_byte_sequence);
  }
}

TEST_F(DirectoryWalk, FindsTensOfThousandsOfFiles) {
  for (int i = 0; i < 20'000; ++i) ::close(::open(native(std::to_string(i)).c_str(), O_CREAT | O_WRONLY, 0600));
  auto const found = files(at(""));
  EXPECT_EQ(found.size(), 20'000u);
  EXPECT_TRUE(std::is_sorted(found.begin(), found.end()));
}

}  // namespace
