// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <filesystem>
#include <ios>
#include <memory>
#include <string>
#include <vector>

#include "disk/DiskSamples.hpp"
#include "opc/FileSystemOps.hpp"
#include "opc/Strings.hpp"

namespace {

namespace fs = std::filesystem;
using zt_test::writeFile;

class LocalFileSystemOps : public core_test::Disk {};

std::u16string const kNULPath(u"/tmp/a\0b", 8);
std::u16string const kSurrogatePath{u'/', 0xD800};

TEST_F(LocalFileSystemOps, ExistsForFilesFoldersAndLinks) {
  writeFile(directory / "file", "");
  fs::create_symlink("file", directory / "link");
  for (char const* name : {"file", "link", ""}) {
    error = boost::system::error_code(EDOM, boost::system::system_category());
    EXPECT_TRUE(ops.exists(at(name), error)) << name;
    EXPECT_FALSE(error);
  }
}

TEST_F(LocalFileSystemOps, ExistsForADanglingLink) {
  fs::create_symlink("nowhere", directory / "link");
  EXPECT_TRUE(ops.exists(at("link"), error));
  EXPECT_FALSE(error);
}

TEST_F(LocalFileSystemOps, ExistsForNothingElseAndThatIsNoError) {
  writeFile(directory / "file", "");
  for (auto const& path : {at("missing"), at("missing/below"), at("file/below"), std::u16string()}) {
    EXPECT_FALSE(ops.exists(path, error));
    EXPECT_FALSE(error) << error.message();
  }
}

TEST_F(LocalFileSystemOps, ReportsWhyItCannotTellWhetherSomethingExists) {
  EXPECT_FALSE(ops.exists(at(std::string(300, 'x')), error));
  EXPECT_EQ(error.value(), ENAMETOOLONG);
  EXPECT_EQ(error.category(), boost::system::system_category());
}

TEST_F(LocalFileSystemOps, FindsNamesBeyondASCII) {
  writeFile(directory / "gr\xC3\xBC\xC3\x9F_\xE6\x97\xA5_\xF0\x9F\x98\x80", "x");
  EXPECT_TRUE(ops.isFile(at("") + u"/gr\u00FC\u00DF_\u65E5_\U0001F600"));
}

TEST_F(LocalFileSystemOps, FindsNamesWithLineFeeds) {
  writeFile(directory / "two\nlines", "x");
  EXPECT_TRUE(ops.isFile(at("") + u"/two\nlines"));
}

TEST_F(LocalFileSystemOps, TellsFilesFromEverythingElse) {
  writeFile(directory / "file", "");
  fs::create_symlink("file", directory / "link");
  ASSERT_EQ(::mkfifo(native("fifo").c_str(), 0600), 0);
  EXPECT_TRUE(ops.isFile(at("file")));
  for (char const* name : {"link", "fifo", "", "missing"}) EXPECT_FALSE(ops.isFile(at(name))) << name;
}

TEST_F(LocalFileSystemOps, TellsLinksFromEverythingElse) {
  writeFile(directory / "file", "");
  fs::create_symlink("file", directory / "link");
  fs::create_symlink("nowhere", directory / "dangling");
  fs::create_directory_symlink(".", directory / "loop");
  for (char const* name : {"link", "dangling", "loop"}) EXPECT_TRUE(ops.isSymlink(at(name))) << name;
  for (char const* name : {"file", "", "missing"}) EXPECT_FALSE(ops.isSymlink(at(name))) << name;
}

TEST_F(LocalFileSystemOps, RefusesPathsThatTheDiskCannotHave) {
  std::vector<std::u16string> list;
  for (auto const& path : {kNULPath, kSurrogatePath}) {
    auto const refused = [&](auto operation) {
      error.clear();
      operation();
      EXPECT_EQ(error.value(), EINVAL);
    };
    refused([&] { EXPECT_FALSE(ops.exists(path, error)); });
    refused([&] { ops.createFolder(path, error); });
    refused([&] { ops.createFolders(path, error); });
    refused([&] { ops.createSymlink(u"target", path, error); });
    refused([&] { ops.createSymlink(path, at("link"), error); });
    refused([&] { ops.getFiles(path, list, true, error); });
    refused([&] { ops.getFolders(path, list, true, error); });
    refused([&] { EXPECT_EQ(ops.createInputStream(path, std::ios::in, error), nullptr); });
    refused([&] { EXPECT_EQ(ops.createOutputStream(path, std::ios::out, error), nullptr); });
    refused([&] { EXPECT_EQ(ops.getPermissions(path, error), opc::Perms::NotKnown); });
    refused([&] { ops.setPermissions(path, opc::Perms::OwnerRead, error); });
    refused([&] { EXPECT_TRUE(ops.getLastModifiedTime(path, error).is_not_a_date_time()); });
    EXPECT_FALSE(ops.isFile(path));
    EXPECT_FALSE(ops.isSymlink(path));
    EXPECT_THROW(ops.getLinkTarget(path), opc::Exception);
  }
  EXPECT_TRUE(fs::is_empty(directory.path()));
}

TEST_F(LocalFileSystemOps, CreatesAFolderWithThePermissionsOfTheUmask) {
  core_test::ScopedUmask const mask(027);
  ops.createFolder(at("folder"), error);
  EXPECT_FALSE(error) << error.message();
  EXPECT_EQ(ops.getPermissions(at("folder"), error), 0750u);
}

TEST_F(LocalFileSystemOps, RefusesToCreateAFolderThatIsThere) {
  ops.createFolder(at(""), error);
  EXPECT_EQ(error.value(), EEXIST);
}

TEST_F(LocalFileSystemOps, RefusesToCreateAFolderWithoutItsParent) {
  ops.createFolder(at("a/b"), error);
  EXPECT_EQ(error.value(), ENOENT);
}

TEST_F(LocalFileSystemOps, CreatesAllMissingFolders) {
  ops.createFolders(at("a/b/c"), error);
  EXPECT_FALSE(error) << error.message();
  EXPECT_TRUE(fs::is_directory(directory / "a/b/c"));
}

TEST_F(LocalFileSystemOps, CreatesFoldersThroughRepeatedSeparatorsAndDots) {
  ops.createFolders(at("a//b/./c/../d//"), error);
  EXPECT_FALSE(error) << error.message();
  EXPECT_TRUE(fs::is_directory(directory / "a/b/d"));
}

TEST_F(LocalFileSystemOps, IsContentWithFoldersThatAreThere) {
  fs::create_directory(directory / "a");
  fs::create_directory_symlink("a", directory / "link");
  for (auto const& path : {at("a"), at("a/"), at("link"), at("link/b"), at("link/b"), std::u16string(u"/")}) {
    ops.createFolders(path, error);
    EXPECT_FALSE(error) << error.message();
  }
  EXPECT_TRUE(fs::is_directory(directory / "a/b"));
}

TEST_F(LocalFileSystemOps, ReportsAFileInTheWayOfAFolder) {
  writeFile(directory / "file", "");
  fs::create_symlink("nowhere", directory / "dangling");
  for (char const* name : {"file", "file/below", "file/below/that", "dangling", "dangling/below"}) {
    ops.createFolders(at(name), error);
    EXPECT_EQ(error, boost::system::errc::not_a_directory) << name << ": " << error.message();
  }
}

TEST_F(LocalFileSystemOps, RefusesToCreateTheFolderOfNoName) {
  ops.createFolders(u"", error);
  EXPECT_EQ(error.value(), ENOENT);
}

TEST_F(LocalFileSystemOps, CreatesARelativeFolderInTheWorkingDirectory) {
  fs::path const before = fs::current_path();
  fs::current_path(directory.path());
  ops.createFolders(u"x/y", error);
  fs::current_path(before);
  EXPECT_FALSE(error) << error.message();
  EXPECT_TRUE(fs::is_directory(directory / "x/y"));
}

TEST_F(LocalFileSystemOps, CreatesLinksWithTheirTargetUnresolved) {
  for (char16_t const* target : {u"/absolute/nowhere", u"../up", u"a//b/.", u"gr\u00FC\u00DF\U0001F600"}) {
    std::u16string const link = at("") + u"/link";
    ops.createSymlink(target, link, error);
    EXPECT_FALSE(error) << error.message();
    EXPECT_EQ(ops.getLinkTarget(link), target);
    fs::remove(directory / "link");
  }
}

TEST_F(LocalFileSystemOps, ReadsLongLinkTargets) {
  for (std::size_t const length : {255U, 256U, 257U, 511U, 512U, 513U, 4000U}) {
    std::u16string const target(length, u'x');
    ops.createSymlink(target, at("link"), error);
    ASSERT_FALSE(error) << error.message();
    EXPECT_EQ(ops.getLinkTarget(at("link")), target);
    fs::remove(directory / "link");
  }
}

TEST_F(LocalFileSystemOps, RefusesToCreateALinkWhereSomethingIs) {
  writeFile(directory / "file", "kept");
  ops.createSymlink(u"target", at("file"), error);
  EXPECT_EQ(error.value(), EEXIST);
  EXPECT_EQ(zt_test::readFile(directory / "file"), "kept");
}

TEST_F(LocalFileSystemOps, ThrowsForTheTargetOfWhatIsNoLink) {
  writeFile(directory / "file", "");
  try {
    ops.getLinkTarget(at("file"));
    ADD_FAILURE() << "it has a target";
  } catch (opc::Exception const& thrown) {
    EXPECT_EQ(thrown.what(), "Could not read symbolic link: " + native("file") + ": Invalid argument");
    EXPECT_EQ(thrown.getErrorCode().value(), EINVAL);
  }
}

TEST_F(LocalFileSystemOps, ThrowsForTheTargetOfNothing) {
  EXPECT_THROW_MESSAGE(ops.getLinkTarget(at("a\x1B")), opc::Exception,
                       "Could not read symbolic link: " + native("a\\u{1B}") + ": No such file or directory");
}

TEST_F(LocalFileSystemOps, ThrowsForATargetThatIsNotUTF8) {
  fs::create_symlink("caf\xE9", directory / "link");
  try {
    ops.getLinkTarget(at("link"));
    ADD_FAILURE() << "it has a target";
  } catch (opc::InvalidText const& thrown) {
    EXPECT_EQ(thrown.what(), "Target of symbolic link is not valid UTF-8: " + native("link") + ": caf\\xE9");
    EXPECT_EQ(thrown.getErrorCode(), boost::system::errc::illegal_byte_sequence);
  }
}

TEST_F(LocalFileSystemOps, IsReachedThroughItsBase) {
  std::unique_ptr<opc::FileSystemOps> const base = std::make_unique<opc::LocalFileSystemOps>();
  EXPECT_TRUE(base->exists(at(""), error));
}

}  // namespace
