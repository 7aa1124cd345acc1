// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <utility>

#include "disk/SourceTree.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Package.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "support/TestSupport.hpp"

namespace ztpkg {
namespace {

using opc::ztservices::FileSystemManager;
using opc::ztservices::TransformMode;

/// Asks more than the library does: for each file once more, and for all the others too.
class AskingOps final : public opc::ForwardingFileSystemOps {
 public:
  explicit AskingOps(SourceTree& tree)
      : opc::ForwardingFileSystemOps(static_cast<opc::FileSystemOps&>(tree)), tree_(tree) {}

  bool isFile(std::u16string const& path) override {
    Paths files;
    ErrorCode error;
    tree_.getFiles(u"/", files, true, error);
    for (std::u16string const& file : files) tree_.isFile(file);
    tree_.appendPath(u"/", path);
    return tree_.isFile(path);
  }

 private:
  SourceTree& tree_;
};

class SourceTreeOf : public testing::Test {
 protected:
  SourceTreeOf() {
    for (std::string const name : {"a", "b", "d/c", "e"}) zt_test::writeFile(directory / name, "content of " + name);
    tree.survey();
  }
  static std::string contentOf(FileSystemManager& manager, std::u16string const& path) {
    auto const source = manager.getFileContentSource(manager.getEntry(path), TransformMode::None);
    return zt_test::readAll(source->getInputStream());
  }

  zt_test::TemporaryDirectory directory;
  opc::LocalFileSystemOps disk;
  Progress progress{false};
  SourceTree tree{disk, directory.u16(), {}, progress};
};

TEST_F(SourceTreeOf, FilesGivesEachItsOwnContentWhateverElseIsAsked) {
  AskingOps asking(tree);
  auto const package = opc::model::Package::createInMemory();
  FileSystemManager manager(*package, asking, asking);
  manager.addAll(u"/", TransformMode::None);
  for (std::u16string const path : {u"/a", u"/b", u"/d/c", u"/e"})
    EXPECT_EQ(contentOf(manager, path), "content of " + opc::toUTF8String(path.substr(1)));
}

TEST_F(SourceTreeOf, FilesIsNotChangedByQuestions) {
  EXPECT_TRUE(tree.isFile(u"/b"));
  EXPECT_FALSE(tree.isSymlink(u"/b"));
  EXPECT_TRUE(tree.lastFile().empty());
  opc::OpenedFile const file = tree.openForAdding(u"/a");
  EXPECT_EQ(std::string(std::istreambuf_iterator(*file.content), {}), "content of a");
  EXPECT_EQ(tree.lastFile(), u"/a");
  EXPECT_EQ(progress.done().files, 1U);
}

/// Looks at one path in vain, once.
class BlinkingOps final : public opc::ForwardingFileSystemOps {
 public:
  BlinkingOps(opc::FileSystemOps& ops, std::u16string path)
      : opc::ForwardingFileSystemOps(ops), path_(std::move(path)) {}

  bool isFile(std::u16string const& path) override {
    if (path != path_) return ForwardingFileSystemOps::isFile(path);
    path_.clear();
    return false;
  }

 private:
  std::u16string path_;
};

void addAndCheck(opc::FileSystemOps& ops, SourceTree& tree) {
  auto const package = opc::model::Package::createInMemory();
  FileSystemManager manager(*package, ops, ops);
  manager.addAll(u"/", TransformMode::None);
  tree.checkAdded([&](std::u16string const& path) { return manager.hasEntry(path); });
}

TEST_F(SourceTreeOf, FilesReportsALeafThatIsGone) {
  EXPECT_NO_THROW(addAndCheck(tree, tree));
  std::filesystem::remove(directory / "b");
  EXPECT_FALSE(tree.isFile(u"/b"));
  EXPECT_FALSE(tree.isSymlink(u"/b"));
  EXPECT_THROW(addAndCheck(tree, tree), Failure);
}

TEST_F(SourceTreeOf, FilesReportsALeafThatCouldNotBeSeenWhenItsTurnCame) {
  BlinkingOps blinking(tree, u"/d/c");
  EXPECT_THROW(addAndCheck(blinking, tree), Failure);
}

/// The edit of a file while it is read, with its time put back.
void editInPlace(std::filesystem::path const& path) {
  auto const time = std::filesystem::last_write_time(path);
  std::fstream(path, std::ios::in | std::ios::out | std::ios::binary) << 'X';
  std::filesystem::last_write_time(path, time);
}

TEST_F(SourceTreeOf, FilesRefusesAnotherOneInThePlaceOfOne) {
  zt_test::writeFile(directory / "secret", "secret");
  std::filesystem::rename(directory / "secret", directory / "a");
  EXPECT_THROW(tree.openForAdding(u"/a"), Failure);
}

TEST_F(SourceTreeOf, FilesRefusesALinkInThePlaceOfOne) {
  std::filesystem::remove(directory / "b");
  std::filesystem::create_symlink("e", directory / "b");
  EXPECT_THROW(tree.openForAdding(u"/b"), Failure);
}

TEST_F(SourceTreeOf, FilesRefusesOneThatALinkInThePlaceOfAFolderLeadsTo) {
  std::filesystem::rename(directory / "d", directory / "d2");
  zt_test::writeFile(directory / "other/c", "content of d/c");
  std::filesystem::create_symlink("other", directory / "d");
  EXPECT_THROW(tree.openForAdding(u"/d/c"), Failure);
}

TEST_F(SourceTreeOf, FilesNoticesAnEditWhoseTimeIsPutBack) {
  zt_test::writeFile(directory / "large", std::string((1 << 20) + 1, 'x'));  // not read ahead
  SourceTree other(disk, directory.u16(), {}, progress);
  other.survey();
  for (bool const isOpen : {true, false}) {
    opc::OpenedFile file = other.openForAdding(u"/large");
    editInPlace(directory / "large");
    if (!isOpen) file.content.reset();
    EXPECT_THROW(other.checkLastFile(), Failure);
  }
  other.openForAdding(u"/large");
  EXPECT_NO_THROW(other.checkLastFile());
}

TEST_F(SourceTreeOf, FilesTakesThemAsTheyAreWhenOpened) {
  std::ofstream(directory / "a", std::ios::app) << " and more";
  opc::OpenedFile const file = tree.openForAdding(u"/a");
  EXPECT_EQ(std::string(std::istreambuf_iterator(*file.content), {}), "content of a and more");
  EXPECT_NO_THROW(tree.checkLastFile());
}

}  // namespace
}  // namespace ztpkg
