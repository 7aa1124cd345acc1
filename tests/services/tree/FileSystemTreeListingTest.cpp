// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <string>
#include <vector>

#include "services/tree/FileSystemTree.hpp"
#include "services/tree/NodeSamples.hpp"

namespace opc::ztservices {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

/// A file and a link with entries below them, as other makers list them.
void fillWithNested(FileSystemTree& tree) {
  auto const time = boost::posix_time::ptime();
  tree.addNode(makeFileNode(u"/f", u"/fsroot/f", kUnknownPermissions, time));
  tree.addNode(makeFileNode(u"/f/below", u"/f/below", kUnknownPermissions, time));
  tree.addNode(makeLinkNode(u"/l", u"target", kUnknownPermissions, time));
  tree.addNode(makeFolderNode(u"/l/d/e", kUnknownPermissions, time));
}

TEST(FileSystemTreeListing, ListsFilesAndLinksWithChildrenButNoSuchFolders) {
  FileSystemTree tree;
  fillWithNested(tree);
  std::vector<std::u16string> listed;
  tree.forEachListed([&](FileSystemNode const& node) { listed.push_back(node.fullPath()); });
  EXPECT_THAT(listed, ElementsAre(u"/f", u"/f/below", u"/l", u"/l/d/e"));
}

TEST(FileSystemTreeListing, KnowsWhatLiesBelowAFileOrLink) {
  FileSystemTree tree;
  fillWithNested(tree);
  tree.addNode(makeFolderNode(u"/g/h", kUnknownPermissions, boost::posix_time::ptime()));
  for (std::u16string const path : {u"/", u"/f", u"/new", u"/ff/x", u"/g/h/new/x", u"/l", u"relative/x"})
    EXPECT_TRUE(tree.hasOnlyFoldersAbove(path));
  for (std::u16string const path : {u"/f/below", u"/f/new", u"/f/", u"/l/d", u"/l/d/e/new", u"/l/x/y"})
    EXPECT_FALSE(tree.hasOnlyFoldersAbove(path));
}

TEST(FileSystemTreeListing, GivesTheContentsOfFilesAlone) {
  FileSystemTree tree;
  fillWithNested(tree);
  std::vector<std::u16string> contents;
  tree.forEachContent([&](std::u16string const& content) { contents.push_back(content); });
  EXPECT_THAT(contents, UnorderedElementsAre(u"/fsroot/f", u"/f/below"));
}

}  // namespace
}  // namespace opc::ztservices
