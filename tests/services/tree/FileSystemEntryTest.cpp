// SPDX-License-Identifier: Apache-2.0
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "opc/ztservices/FileSystem.hpp"
#include "services/tree/FileSystemNode.hpp"
#include "services/tree/NodeSamples.hpp"

namespace opc::ztservices {
namespace {

using boost::posix_time::ptime;
using node_samples::kUnknown;

ptime const kMicrosecond = node_samples::kLeapDay + boost::posix_time::microseconds(1);

FileSystemEntry file(std::u16string const& path, Perms::Perms_tag permissions = Perms::OwnerRead,
                     ptime const& time = kMicrosecond, std::u16string const& content = u"/fsroot/x") {
  return FileSystemEntry(makeFileNode(path, content, permissions, time));
}

TEST(FileSystemEntry, AnswersWhatItsNodeHolds) {
  FileSystemEntry const entry = file(u"/a/b.txt");
  EXPECT_EQ(entry.getBaseName(), u"b.txt");
  EXPECT_EQ(entry.getPathName(), u"/a/b.txt");
  EXPECT_EQ(entry.getContentName(), u"/fsroot/x");
  EXPECT_EQ(entry.getPermissions(), Perms::OwnerRead);
  EXPECT_EQ(entry.getLastModifiedTime(), kMicrosecond);
}

TEST(FileSystemEntry, IsOfExactlyOneKind) {
  FileSystemEntry const entries[] = {file(u"/a"), FileSystemEntry(makeLinkNode(u"/a", u"b", Perms::NotKnown, kUnknown)),
                                     FileSystemEntry(makeFolderNode(u"/a", Perms::NotKnown, kUnknown))};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(entries[i].isFile(), i == 0);
    EXPECT_EQ(entries[i].isLink(), i == 1);
    EXPECT_EQ(entries[i].isFolder(), i == 2);
  }
}

TEST(FileSystemEntry, OfTheRootIsNamedAsItsPath) {
  FileSystemEntry const root(makeFolderNode(u"/", Perms::NotKnown, kUnknown));
  EXPECT_EQ(root.getPathName(), u"/");
  EXPECT_EQ(root.getBaseName(), u"/");
  EXPECT_EQ(FileSystemEntry::getRootName(), u"/");
}

TEST(FileSystemEntry, KnowsItsPathBelowTheRootAndBelowAFolder) {
  EXPECT_EQ(file(u"/a").getPathName(), u"/a");
  EXPECT_EQ(file(u"/a/b").getPathName(), u"/a/b");
}

TEST(FileSystemEntry, ReportsUnknownPermissionsAndTimeForAbsentOnes) {
  FileSystemEntry const entry = file(u"/a", Perms::Perms_tag{0xFFFF}, kUnknown);
  EXPECT_EQ(entry.getPermissions(), FileSystemEntry::getUnknownPermissions());
  EXPECT_EQ(std::uint32_t{FileSystemEntry::getUnknownPermissions()}, 0xFFFFU);
  EXPECT_TRUE(entry.getLastModifiedTime().is_not_a_date_time());
  EXPECT_TRUE(FileSystemEntry::getUnknownTime().is_not_a_date_time());
}

TEST(FileSystemEntry, WithUnknownValuesEqualsOneWithAbsentValues) {
  FileSystemNode absent;
  absent.parentPath = u"/";
  absent.baseName = u"a";
  FileSystemNode explicitly = absent;
  explicitly.permissions = Perms::NotKnown;
  explicitly.lastModified = kUnknown;
  EXPECT_TRUE(FileSystemEntry(absent) == FileSystemEntry(explicitly));
  EXPECT_TRUE(FileSystemEntry(absent) == file(u"/a", Perms::NotKnown, kUnknown));
}

TEST(FileSystemEntry, IsEqualWhateverItsContentName) {
  EXPECT_TRUE(file(u"/a", Perms::OwnerRead, kMicrosecond, u"/fsroot/a") ==
              file(u"/a", Perms::OwnerRead, kMicrosecond, u"/fsroot/a_1"));
  EXPECT_FALSE(file(u"/a", Perms::OwnerRead, kMicrosecond, u"/fsroot/a") !=
               file(u"/a", Perms::OwnerRead, kMicrosecond, u"/fsroot/a_1"));
}

TEST(FileSystemEntry, DiffersByKindPathPermissionsOrTime) {
  FileSystemEntry const entry = file(u"/a/b");
  EXPECT_TRUE(entry != FileSystemEntry(makeLinkNode(u"/a/b", u"/fsroot/x", Perms::OwnerRead, kMicrosecond)));
  EXPECT_TRUE(entry != file(u"/a/c"));
  EXPECT_TRUE(entry != file(u"/c/b"));
  EXPECT_TRUE(entry != file(u"/a/B"));
  EXPECT_TRUE(entry != file(u"/a/b", Perms::OwnerWrite));
  EXPECT_TRUE(entry != file(u"/a/b", Perms::OwnerRead, kMicrosecond + boost::posix_time::microseconds(1)));
  EXPECT_TRUE(entry != file(u"/a/b", Perms::OwnerRead, kUnknown));
}

TEST(FileSystemEntry, TellsTheSpecialTimesApart) {
  ptime const specials[] = {kUnknown, ptime(boost::posix_time::pos_infin), ptime(boost::posix_time::neg_infin)};
  for (ptime const& a : specials)
    for (ptime const& b : specials) EXPECT_EQ(file(u"/a", Perms::None, a) == file(u"/a", Perms::None, b), &a == &b);
}

TEST(FileSystemEntry, OutlivesItsNodeAndSharesItsSnapshot) {
  auto node = std::make_unique<FileSystemNode>(makeFileNode(u"/a", u"/fsroot/a", Perms::OwnerRead, kMicrosecond));
  FileSystemEntry const entry(*node);
  FileSystemEntry copy = entry;
  node->baseName = u"changed";
  node.reset();
  EXPECT_EQ(copy.getPathName(), u"/a");
  EXPECT_TRUE(copy == entry);
}

}  // namespace
}  // namespace opc::ztservices
