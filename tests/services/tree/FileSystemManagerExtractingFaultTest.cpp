// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <filesystem>
#include <gmock/gmock.h>
#include <memory>
#include <string>

#include "services/tree/FileSystemManagerTestSupport.hpp"

namespace {

using namespace zt_test;
using namespace opc::ztservices;
using boost::system::errc::errc_t;
namespace fs = std::filesystem;
namespace errc = boost::system::errc;

/// A manager with one file, one folder and one link, which extracts to a disk on which one operation fails.
struct FaultyDestination {
  FaultyDestination(Operation operation, errc_t code) : disk(operation, code) {
    manager.addFile(std::make_unique<TextSource>("text"), u"/f", opc::Perms::Perms_tag(0600), kTime);
    manager.createFolder(u"/d");
    manager.createLink(u"/l", u"f");
  }

  void extract(std::u16string const& path) {
    manager.extractEntry(directory.u16(), manager.getEntry(path), kRestore, TransformMode::None);
  }
  std::string message(std::string const& text, std::string const& name) const {
    return text + (directory / name).string() + ": " + disk.code().message();
  }

  TemporaryDirectory directory;
  FaultyDisk disk;
  std::unique_ptr<Package> package = Package::createInMemory();
  FileSystemManager manager{*package, disk, disk};
};

TEST(FileSystemManagerExtractingFault, OtherRestoreModesRestoreNothing) {
  FaultyDestination target(Operation::SetLastModifiedTime, errc::io_error);
  EXPECT_NO_THROW(target.manager.extractEntry(target.directory.u16(), target.manager.getEntry(u"/f"), RestoreMode(2),
                                              TransformMode::None));
}

TEST(FileSystemManagerExtractingFault, RootThatCannotBeMadeIsReported) {
  FaultyDestination target(Operation::CreateFolders, errc::permission_denied);
  auto const extract = [&] { target.manager.extractAll(target.directory.u16("new"), kRestore, TransformMode::None); };
  EXPECT_THROW_MESSAGE(extract(), CouldNotCreateDestinationRoot,
                       "Could not create the destination root directory: " + target.disk.code().message());
  EXPECT_EQ(codeOf<CouldNotCreateDestinationRoot>(extract), target.disk.code());
}

TEST(FileSystemManagerExtractingFault, RootThatCannotBeLookedAtIsReported) {
  FaultyDestination target(Operation::Exists, errc::permission_denied);
  EXPECT_EQ(codeOf<CouldNotCreateDestinationRoot>([&] { target.extract(u"/f"); }), target.disk.code());
}

TEST(FileSystemManagerExtractingFault, ParentThatCannotBeMadeIsReported) {
  FaultyDestination target(Operation::CreateFolders, errc::no_space_on_device);
  addText(target.manager, u"/p/f", "t");
  EXPECT_THROW_MESSAGE(target.extract(u"/p/f"), CouldNotCreateDestinationParent,
                       "Could not create the destination parent directory: " + target.disk.code().message());
  EXPECT_EQ(codeOf<CouldNotCreateDestinationParent>([&] { target.extract(u"/p/f"); }), target.disk.code());
}

TEST(FileSystemManagerExtractingFault, FolderThatCannotBeMadeIsReported) {
  FaultyDestination target(Operation::CreateFolder, errc::read_only_file_system);
  EXPECT_THROW_MESSAGE(target.extract(u"/d"), CouldNotCreateFolder, target.message("Could not create folder: ", "d"));
  EXPECT_EQ(codeOf<CouldNotCreateFolder>([&] { target.extract(u"/d"); }), target.disk.code());
}

TEST(FileSystemManagerExtractingFault, FileInTheWayOfAFolderIsReported) {
  NewFileSystem source;
  source.manager.createFolder(u"/d");
  TemporaryDirectory directory;
  writeFile(directory / "d", "in the way");
  auto const extract = [&] { source.manager.extractAll(directory.u16(), kRestore, TransformMode::None); };
  EXPECT_EQ(codeOf<CouldNotCreateFolder>(extract), errc::file_exists);
  EXPECT_EQ(readFile(directory / "d"), "in the way");
}

TEST(FileSystemManagerExtractingFault, LinkThatCannotBeMadeIsReported) {
  FaultyDestination target(Operation::CreateSymlink, errc::operation_not_permitted);
  EXPECT_THROW_MESSAGE(target.extract(u"/l"), CouldNotCreateLink, target.message("Could not create link: ", "l"));
  EXPECT_EQ(codeOf<CouldNotCreateLink>([&] { target.extract(u"/l"); }), target.disk.code());
}

TEST(FileSystemManagerExtractingFault, FileThatCannotBeOpenedIsReportedWithoutCode) {
  FaultyDestination target(Operation::CreateOutputStream, errc::permission_denied);
  EXPECT_THROW_MESSAGE(target.extract(u"/f"), CouldNotCreateFile,
                       "Could not create file: " + (target.directory / "f").string());
  EXPECT_EQ(codeOf<CouldNotCreateFile>([&] { target.extract(u"/f"); }), boost::system::error_code());
}

TEST(FileSystemManagerExtractingFault, FailedWriteIsReportedWithTheCodeOfTheFile) {
  FaultyDestination target(Operation::Write, errc::no_space_on_device);
  EXPECT_THROW_MESSAGE(target.extract(u"/f"), CouldNotWriteFile, target.message("Could not write file: ", "f"));
  EXPECT_EQ(codeOf<CouldNotWriteFile>([&] { target.extract(u"/f"); }), target.disk.code());
}

TEST(FileSystemManagerExtractingFault, FailedCommitIsReportedWithItsCode) {
  FaultyDestination target(Operation::Commit, errc::io_error);
  EXPECT_THROW_MESSAGE(target.extract(u"/f"), CouldNotWriteFile, target.message("Could not write file: ", "f"));
  EXPECT_EQ(codeOf<CouldNotWriteFile>([&] { target.extract(u"/f"); }), target.disk.code());
}

TEST(FileSystemManagerExtractingFault, FailedWriteWithoutAReasonIsAnInputOutputError) {
  FaultyDestination target(Operation::Write, errc::success);
  EXPECT_EQ(codeOf<CouldNotWriteFile>([&] { target.extract(u"/f"); }), errc::io_error);
}

TEST(FileSystemManagerExtractingFault, TimeThatCannotBeSetIsReported) {
  FaultyDestination target(Operation::SetLastModifiedTime, errc::operation_not_permitted);
  EXPECT_THROW_MESSAGE(target.extract(u"/f"), CouldNotSetLastModifiedTime,
                       target.message("Could not set last modified time: ", "f"));
  EXPECT_EQ(codeOf<CouldNotSetLastModifiedTime>([&] { target.extract(u"/f"); }), target.disk.code());
}

TEST(FileSystemManagerExtractingFault, PermissionsThatCannotBeSetAreReportedAfterTheTimeIsSet) {
  FaultyDestination target(Operation::SetPermissions, errc::operation_not_permitted);
  EXPECT_THROW_MESSAGE(target.extract(u"/f"), CouldNotSetPermissions,
                       target.message("Could not set permissions: ", "f"));
  EXPECT_EQ(codeOf<CouldNotSetPermissions>([&] { target.extract(u"/f"); }), target.disk.code());
  EXPECT_EQ(timeOf(target.directory.u16("f")), kTime);
}

TEST(FileSystemManagerExtractingFault, MissingPartPassesThrough) {
  NewFileSystem source;
  FileSystemEntry const entry = addText(source.manager, u"/f", "t");
  source.package->deletePart(PartName(u"/fsroot/f"));
  EXPECT_THROW(source.manager.getFileContentSource(entry, TransformMode::None), opc::model::PartNotFound);
  EXPECT_THROW(source.manager.getFileContentSource(entry, TransformMode::Transform), opc::model::PartNotFound);
}

TEST(FileSystemManagerExtractingFault, FullDiskIsReported) {
  if (geteuid() != 0) GTEST_SKIP() << "mounting a small disk takes root";
  TemporaryDirectory directory;
  std::string const disk = directory.path().string();
  if (run("mount -t tmpfs -o size=64k tmpfs " + disk).exitCode != 0) GTEST_SKIP() << "mount is not allowed here";
  NewFileSystem source;
  addText(source.manager, u"/f", std::string(1'000'000, 'x'));
  auto const extract = [&] { source.manager.extractAll(directory.u16(), kRestore, TransformMode::None); };
  EXPECT_EQ(codeOf<CouldNotWriteFile>(extract), errc::no_space_on_device);
  EXPECT_EQ(run("umount " + disk).exitCode, 0);
}

}  // namespace
