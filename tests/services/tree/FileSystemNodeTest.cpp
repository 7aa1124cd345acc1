// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <gtest/gtest.h>

#include "services/tree/NodeSamples.hpp"

namespace opc::ztservices {
namespace {

using node_samples::folder;
using node_samples::kLeapDay;
using node_samples::kUnknown;

TEST(FileSystemNode, NumbersItsTypesForEver) {
  EXPECT_EQ(static_cast<std::uint32_t>(FileSystemNodeType::File), 0U);
  EXPECT_EQ(static_cast<std::uint32_t>(FileSystemNodeType::Link), 1U);
  EXPECT_EQ(static_cast<std::uint32_t>(FileSystemNodeType::Folder), 2U);
}

TEST(FileSystemNode, IsAnEmptyFileByDefault) {
  FileSystemNode const node;
  EXPECT_EQ(node.type, FileSystemNodeType::File);
  EXPECT_EQ(node.fullPath() + node.parentPath + node.baseName + node.content, u"");
  EXPECT_FALSE(node.permissions || node.lastModified);
}

TEST(FileSystemNode, OfTheRootHasNoParentPath) {
  EXPECT_EQ(folder(u"/").parentPath, u"");
  EXPECT_EQ(folder(u"/").baseName, u"/");
  EXPECT_EQ(folder(u"/").fullPath(), u"/");
}

TEST(FileSystemNode, SplitsAPathAtItsLastSlash) {
  EXPECT_EQ(folder(u"/a").parentPath, u"/");
  EXPECT_EQ(folder(u"/a").baseName, u"a");
  EXPECT_EQ(folder(u"/a/b").parentPath, u"/a");
  EXPECT_EQ(folder(u"/a/b").baseName, u"b");
}

TEST(FileSystemNode, DerivesItsFullPath) {
  for (auto const path : {u"/", u"/a", u"/a/b", u"/a/b/c.txt", u"/..", u"/ /\u00e9", u"a", u"a/b", u"/a//b/c"})
    EXPECT_EQ(folder(path).fullPath(), path);
}

TEST(FileSystemNode, LeavesUnknownPermissionsAndTimeAbsent) {
  FileSystemNode const node = makeFileNode(u"/a", u"/fsroot/a", Perms::NotKnown, kUnknown);
  EXPECT_FALSE(node.permissions);
  EXPECT_FALSE(node.lastModified);
}

TEST(FileSystemNode, KeepsKnownPermissionsAndTime) {
  FileSystemNode const node = makeFileNode(u"/a", u"/fsroot/a", Perms::Perms_tag{0}, kLeapDay);
  EXPECT_EQ(node.permissions, Perms::None);
  EXPECT_EQ(node.lastModified, kLeapDay);
}

TEST(FileSystemNode, TakesTheContentThatItsKindHas) {
  EXPECT_EQ(folder(u"/a/b").content, u"/a/b");
  EXPECT_EQ(folder(u"/a/b").type, FileSystemNodeType::Folder);
  FileSystemNode const file = makeFileNode(u"/a/b", u"/fsroot/a/b", kUnknownPermissions, kUnknown);
  EXPECT_EQ(file.content, u"/fsroot/a/b");
  EXPECT_EQ(file.type, FileSystemNodeType::File);
  FileSystemNode const link = makeLinkNode(u"/a/b", u"../c", kUnknownPermissions, kUnknown);
  EXPECT_EQ(link.content, u"../c");
  EXPECT_EQ(link.type, FileSystemNodeType::Link);
}

TEST(FileSystemNode, IsAssignedWithAllItsFields) {
  FileSystemNode node;
  node = makeLinkNode(u"/a/b", u"../c", Perms::OwnerRead, kLeapDay);
  EXPECT_EQ(node.type, FileSystemNodeType::Link);
  EXPECT_EQ(node.fullPath(), u"/a/b");
  EXPECT_EQ(node.content, u"../c");
  EXPECT_EQ(node.permissions, Perms::OwnerRead);
  EXPECT_EQ(node.lastModified, kLeapDay);
}

}  // namespace
}  // namespace opc::ztservices
