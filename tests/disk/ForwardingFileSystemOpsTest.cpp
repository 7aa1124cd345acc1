// SPDX-License-Identifier: Apache-2.0
#include <boost/date_time/posix_time/conversion.hpp>
#include <gtest/gtest.h>
#include <ios>
#include <string>
#include <vector>

#include "disk/DiskSamples.hpp"
#include "opc/ForwardingFileSystemOps.hpp"

namespace core_test {
namespace {

using boost::system::error_code;

class ForwardingFileSystemOps : public Disk {
 protected:
  opc::ForwardingFileSystemOps forwarding{ops};
};

TEST_F(ForwardingFileSystemOps, WritesAndReadsThroughTheOtherOperations) {
  auto const output = forwarding.createOutputStream(at("a.txt"), std::ios::out | std::ios::binary, error);
  ASSERT_FALSE(error);
  *output << "text";
  output->commit(error);
  EXPECT_FALSE(error);
  EXPECT_TRUE(forwarding.exists(at("a.txt"), error));
  EXPECT_TRUE(forwarding.isFile(at("a.txt")));
  EXPECT_EQ(forwarding.openForAdding(at("a.txt")).size, 4U);
  forwarding.setPermissions(at("a.txt"), opc::Perms::OwnerRead, error);
  EXPECT_EQ(forwarding.getPermissions(at("a.txt"), error), opc::Perms::OwnerRead);
  EXPECT_EQ(forwarding.getLastModifiedTime(at("a.txt"), error), ops.getLastModifiedTime(at("a.txt"), error));
}

TEST_F(ForwardingFileSystemOps, RestoresPermissionsAndTimesThroughTheOtherOperations) {
  auto const time = boost::posix_time::from_time_t(1'000'000'000),
             later = boost::posix_time::from_time_t(1'100'000'000);
  auto const output = forwarding.createForRestoring(at("a.txt"), opc::Perms(0640), time, error);
  ASSERT_FALSE(error);
  output->commit(error);
  EXPECT_EQ(ops.getPermissions(at("a.txt"), error), opc::Perms(0640));
  EXPECT_EQ(ops.getLastModifiedTime(at("a.txt"), error), time);
  forwarding.setLastModifiedTime(at("a.txt"), later, error);
  EXPECT_EQ(ops.getLastModifiedTime(at("a.txt"), error), later);
}

TEST_F(ForwardingFileSystemOps, ListsAndMakesFoldersAndLinksThroughTheOtherOperations) {
  forwarding.createFolders(at("d/e"), error);
  forwarding.createSymlink(u"target", at("d/link"), error);
  EXPECT_FALSE(error);
  EXPECT_TRUE(forwarding.isSymlink(at("d/link")));
  EXPECT_EQ(forwarding.getLinkTarget(at("d/link")), u"target");
  std::vector<std::u16string> files, folders;
  forwarding.getFiles(directory.u16(), files, true, error);
  forwarding.getFolders(directory.u16(), folders, true, error);
  EXPECT_EQ(files, std::vector<std::u16string>{at("d/link")});
  EXPECT_EQ(folders, (std::vector<std::u16string>{at("d"), at("d/e")}));
}

TEST_F(ForwardingFileSystemOps, PassesErrorsOn) {
  forwarding.createFolder(at("no/such"), error);
  EXPECT_EQ(error, boost::system::errc::no_such_file_or_directory);
  EXPECT_EQ(forwarding.createInputStream(at("none"), std::ios::in, error), nullptr);
  EXPECT_EQ(error, boost::system::errc::no_such_file_or_directory);
}

/// A wrapper that changes one operation.
class WithoutLinks final : public opc::ForwardingFileSystemOps {
 public:
  using opc::ForwardingFileSystemOps::ForwardingFileSystemOps;
  bool isSymlink(std::u16string const&) override { return false; }
};

TEST_F(ForwardingFileSystemOps, IsNotThreadSafeUnlessAWrapperSaysSo) { EXPECT_FALSE(forwarding.isThreadSafe()); }

TEST_F(ForwardingFileSystemOps, LeavesAWrapperToChangeWhatItOverrides) {
  forwarding.createSymlink(u"target", at("link"), error);
  WithoutLinks wrapper(forwarding);
  EXPECT_FALSE(wrapper.isSymlink(at("link")));
  EXPECT_EQ(wrapper.getLinkTarget(at("link")), u"target");
  EXPECT_EQ(wrapper.appendPath(u"/a", u"b"), u"/a/b");
  EXPECT_EQ(wrapper.getParentPath(u"/a/b"), u"/a");
  EXPECT_EQ(wrapper.getExtension(u"/a/b.txt"), u"txt");
  EXPECT_TRUE(wrapper.isAbsolutePath(u"/a"));
}

}  // namespace
}  // namespace core_test
