// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gmock/gmock.h>
#include <map>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "opc/Exception.hpp"
#include "services/tree/FileSystemTree.hpp"
#include "services/tree/NodeSamples.hpp"
#include "support/TestSupport.hpp"
#include "text/I18n.hpp"

namespace opc::ztservices {
namespace {

using boost::posix_time::ptime;
using node_samples::folder;
using node_samples::kLeapDay;
using node_samples::kUnknown;
using testing::ElementsAre;
using testing::IsEmpty;

FileSystemNode file(std::u16string const& path) {
  return makeFileNode(path, u"/fsroot" + path, Perms::OwnerRead, kLeapDay);
}

std::vector<std::u16string> paths(std::vector<FileSystemNode> const& nodes) {
  std::vector<std::u16string> result;
  for (auto const& node : nodes) result.push_back(node.fullPath());
  return result;
}

void expectSame(FileSystemNode const& a, FileSystemNode const& b) {
  EXPECT_EQ(a.type, b.type);
  EXPECT_EQ(a.parentPath, b.parentPath);
  EXPECT_EQ(a.baseName, b.baseName);
  EXPECT_EQ(a.content, b.content);
  EXPECT_EQ(a.permissions, b.permissions);
  EXPECT_EQ(a.lastModified, b.lastModified);
}

TEST(FileSystemTree, HoldsTheRootAloneWhenNew) {
  FileSystemTree const tree;
  EXPECT_TRUE(tree.hasNode(u"/"));
  EXPECT_FALSE(tree.hasParent(u"/"));
  EXPECT_FALSE(tree.hasChildren(u"/"));
  EXPECT_THAT(tree.getChildNodes(u"/"), IsEmpty());
  EXPECT_THAT(tree.getLeafNodes(), IsEmpty());
  expectSame(tree.getNode(u"/"), folder(u"/"));
}

TEST(FileSystemTree, NamesThisBuildAndItsFormat) {
  FileSystemTree const tree;
#if defined(__linux__) && defined(__x86_64__)
  EXPECT_EQ(tree.getPlatform(), u"lxamd64");
#endif
  EXPECT_EQ(tree.getEncoding(), fl::i18n::getGlobalLocaleEncodingName());
  EXPECT_EQ(tree.getVersion(), u"2.0");
}

TEST(FileSystemTree, CreatesMissingAncestorsAsBareFolders) {
  FileSystemTree tree;
  tree.addNode(file(u"/a/b/c.txt"));
  expectSame(tree.getNode(u"/a"), folder(u"/a"));
  expectSame(tree.getNode(u"/a/b"), folder(u"/a/b"));
  EXPECT_THAT(paths(tree.getChildNodes(u"/")), ElementsAre(u"/a"));
  EXPECT_THAT(paths(tree.getChildNodes(u"/a")), ElementsAre(u"/a/b"));
  EXPECT_THAT(paths(tree.getLeafNodes()), ElementsAre(u"/a/b/c.txt"));
}

TEST(FileSystemTree, GivesBackNodesAsTheyWereAdded) {
  FileSystemNode const nodes[] = {file(u"/f"), makeFolderNode(u"/d", Perms::Perms_tag{0}, kLeapDay),
                                  makeLinkNode(u"/l", u"../\u4e2d\U0001F600", Perms::Perms_tag{0xFFFE}, kUnknown),
                                  makeLinkNode(u"/own", u"/own", kUnknownPermissions, kUnknown),
                                  makeFileNode(u"/e", u"", Perms::Sticky, kLeapDay)};
  FileSystemTree tree;
  for (auto const& node : nodes) tree.addNode(node);
  for (auto const& node : nodes) expectSame(tree.getNode(node.fullPath()), node);
}

TEST(FileSystemTree, ListsChildrenInOrderOfInsertion) {
  FileSystemTree tree;
  for (auto const path : {u"/z", u"/a", u"/m/x", u"/B"}) tree.addNode(file(path));
  EXPECT_THAT(paths(tree.getChildNodes(u"/")), ElementsAre(u"/z", u"/a", u"/m", u"/B"));
}

TEST(FileSystemTree, ListsLeavesByCodeUnit) {
  FileSystemTree tree;
  for (auto const path : {u"/a/b", u"/\uFF5E", u"/\U0001F600", u"/a!", u"/a0", u"/B", u"/a/!", u"/Aa", u"/A"})
    tree.addNode(file(path));
  EXPECT_THAT(paths(tree.getLeafNodes()),
              ElementsAre(u"/A", u"/Aa", u"/B", u"/a!", u"/a/!", u"/a/b", u"/a0", u"/\U0001F600", u"/\uFF5E"));
}

TEST(FileSystemTree, VisitsEveryNodeButTheRootByCodeUnit) {
  FileSystemTree tree;
  for (auto const path : {u"/a/b/c", u"/a!", u"x/y", u"/B", u"//"}) tree.insertNode(file(path));
  std::vector<std::u16string> visited;
  tree.forEachNode([&](FileSystemNode const& node) { visited.push_back(node.fullPath()); });
  EXPECT_THAT(visited, ElementsAre(u"/B", u"/a", u"/a!", u"/a/b", u"/a/b/c", u"x", u"x/y"));
}

TEST(FileSystemTree, CountsFilesLinksAndEmptyFoldersAsLeaves) {
  FileSystemTree tree;
  tree.addNode(file(u"/f"));
  tree.addNode(folder(u"/d"));
  tree.addNode(makeLinkNode(u"/l", u"f", kUnknownPermissions, kUnknown));
  tree.addNode(file(u"/full/f"));
  EXPECT_THAT(paths(tree.getLeafNodes()), ElementsAre(u"/d", u"/f", u"/full/f", u"/l"));
}

TEST(FileSystemTree, TellsPathsApartByCase) {
  FileSystemTree tree;
  tree.addNode(file(u"/a"));
  EXPECT_FALSE(tree.hasNode(u"/A"));
  tree.addNode(folder(u"/A"));
  EXPECT_TRUE(tree.hasNode(u"/A") && tree.hasNode(u"/a"));
}

TEST(FileSystemTree, RefusesToAddAPathTwice) {
  FileSystemTree tree;
  tree.addNode(file(u"/a"));
  EXPECT_THROW_MESSAGE(tree.addNode(folder(u"/a")), Exception, "A node already exists with the name:/a");
  EXPECT_THROW_MESSAGE(tree.addNode(folder(u"/")), Exception, "A node already exists with the name:/");
  expectSame(tree.getNode(u"/a"), file(u"/a"));
}

TEST(FileSystemTree, ShowsPathsInItsMessagesAsASCII) {
  FileSystemTree tree;
  tree.addNode(file(u"/\u00e9"));
  EXPECT_THROW_MESSAGE(tree.addNode(file(u"/\u00e9")), Exception, "A node already exists with the name:/\\u{E9}");
  EXPECT_THROW_MESSAGE(tree.updateNode(file(u"/\U0001F600")), Exception,
                       "A node does not exists with the name:/\\u{1F600}");
}

TEST(FileSystemTree, ReportsNoSystemErrorWithItsMessages) {
  FileSystemTree tree;
  try {
    tree.updateNode(file(u"/a"));
    FAIL();
  } catch (Exception const& thrown) {
    EXPECT_EQ(thrown.getErrorCode(), boost::system::error_code());
  }
}

TEST(FileSystemTree, UpdatesAllFieldsOfANode) {
  FileSystemTree tree;
  tree.addNode(file(u"/a"));
  tree.addNode(file(u"/b"));
  FileSystemNode const link = makeLinkNode(u"/a", u"target", Perms::GroupRead, kUnknown);
  tree.updateNode(link);
  expectSame(tree.getNode(u"/a"), link);
  EXPECT_THAT(paths(tree.getChildNodes(u"/")), ElementsAre(u"/a", u"/b"));
}

TEST(FileSystemTree, RefusesToUpdateWhatIsNotThere) {
  FileSystemTree tree;
  EXPECT_THROW_MESSAGE(tree.updateNode(file(u"/a/b")), Exception, "A node does not exists with the name:/a/b");
  EXPECT_FALSE(tree.hasNode(u"/a"));
}

TEST(FileSystemTree, ReplacesAnInsertedNodeWhereItStands) {
  FileSystemTree tree;
  tree.insertNode(file(u"/a/x"));
  tree.insertNode(file(u"/b"));
  tree.insertNode(makeFolderNode(u"/a", Perms::OwnerRead, kLeapDay));
  EXPECT_EQ(tree.getNode(u"/a").permissions, Perms::OwnerRead);
  EXPECT_THAT(paths(tree.getChildNodes(u"/")), ElementsAre(u"/a", u"/b"));
  EXPECT_THAT(paths(tree.getChildNodes(u"/a")), ElementsAre(u"/a/x"));
}

TEST(FileSystemTree, KnowsTheParentOfEveryNodeButTheRoot) {
  FileSystemTree tree;
  tree.addNode(file(u"/a/b"));
  expectSame(tree.getParentNode(u"/a/b"), folder(u"/a"));
  expectSame(tree.getParentNode(u"/a"), folder(u"/"));
  EXPECT_TRUE(tree.hasParent(u"/a/b"));
  EXPECT_FALSE(tree.hasParent(u"/a/c"));
}

TEST(FileSystemTree, TakesAskingForWhatIsNotThereForAnErrorOfTheCaller) {
  FileSystemTree const tree;
  EXPECT_THROW(tree.getNode(u"/a"), std::logic_error);
  EXPECT_THROW(tree.getParentNode(u"/a"), std::logic_error);
  EXPECT_THROW(tree.getParentNode(u"/"), std::logic_error);
}

TEST(FileSystemTree, MakesALeafOfAFolderThatLostItsLastChild) {
  FileSystemTree tree;
  tree.addNode(file(u"/a/b"));
  tree.removeNode(file(u"/a/b"));
  EXPECT_FALSE(tree.hasChildren(u"/a"));
  EXPECT_THAT(paths(tree.getLeafNodes()), ElementsAre(u"/a"));
}

TEST(FileSystemTree, KeepsTheOrderOfTheOtherChildrenOnRemoval) {
  FileSystemTree tree;
  for (auto const path : {u"/c", u"/a", u"/d", u"/b"}) tree.addNode(file(path));
  tree.removeNode(file(u"/a"));
  EXPECT_THAT(paths(tree.getChildNodes(u"/")), ElementsAre(u"/c", u"/d", u"/b"));
  tree.removeNode(file(u"/c"));
  tree.removeNode(file(u"/b"));
  tree.addNode(file(u"/a"));
  EXPECT_THAT(paths(tree.getChildNodes(u"/")), ElementsAre(u"/d", u"/a"));
}

TEST(FileSystemTree, IgnoresTheRemovalOfWhatIsNotThere) {
  FileSystemTree tree;
  tree.addNode(file(u"/a/b"));
  for (auto const path : {u"/a/c", u"/x", u"/a/b/c", u"a", u""}) tree.removeNode(file(path));
  EXPECT_THAT(paths(tree.getLeafNodes()), ElementsAre(u"/a/b"));
}

TEST(FileSystemTree, KeepsDescendantsOfARemovedFolderUntilTheyAreRemoved) {
  FileSystemTree tree;
  tree.addNode(file(u"/a/b/c"));
  tree.removeNode(folder(u"/a/b"));
  EXPECT_FALSE(tree.hasNode(u"/a/b"));
  EXPECT_TRUE(tree.hasNode(u"/a/b/c"));
  EXPECT_FALSE(tree.hasParent(u"/a/b/c"));
  EXPECT_THROW(tree.getParentNode(u"/a/b/c"), std::logic_error);
  EXPECT_THAT(tree.getChildNodes(u"/a"), IsEmpty());
  EXPECT_FALSE(tree.hasChildren(u"/a") || tree.hasChildren(u"/a/b"));
  EXPECT_THAT(paths(tree.getLeafNodes()), ElementsAre(u"/a", u"/a/b/c"));
  tree.removeNode(file(u"/a/b/c"));
  EXPECT_THAT(paths(tree.getLeafNodes()), ElementsAre(u"/a"));
}

TEST(FileSystemTree, MakesAFolderAgainThatWasRemovedFromAboveItsDescendants) {
  FileSystemTree tree;
  tree.addNode(file(u"/a/x"));
  tree.addNode(file(u"/b"));
  tree.updateNode(makeFolderNode(u"/a", Perms::OwnerRead, kLeapDay));
  tree.removeNode(folder(u"/a"));
  tree.addNode(file(u"/a/y"));
  expectSame(tree.getNode(u"/a"), folder(u"/a"));
  EXPECT_THAT(paths(tree.getChildNodes(u"/")), ElementsAre(u"/b", u"/a"));
  EXPECT_THAT(paths(tree.getChildNodes(u"/a")), ElementsAre(u"/a/x", u"/a/y"));
}

TEST(FileSystemTree, SurvivesTheRemovalOfItsRoot) {
  FileSystemTree tree;
  tree.removeNode(folder(u"/"));
  EXPECT_FALSE(tree.hasNode(u"/"));
  EXPECT_THAT(tree.getLeafNodes(), IsEmpty());
  tree.addNode(file(u"/a"));
  expectSame(tree.getNode(u"/"), folder(u"/"));
  tree.removeNode(folder(u"/"));
  EXPECT_THAT(paths(tree.getLeafNodes()), ElementsAre(u"/a"));
}

TEST(FileSystemTree, KeepsRepeatedSlashesOfAPath) {
  FileSystemTree tree;
  for (auto const path : {u"/a//b/c", u"/a/b/c", u"//x/y", u"/a//b/d/e"}) tree.addNode(file(path));
  EXPECT_TRUE(tree.hasNode(u"/a//b/c"));
  EXPECT_TRUE(tree.hasNode(u"/a//b") && tree.hasNode(u"/a/"));
  EXPECT_TRUE(tree.hasNode(u"/x/y"));
  EXPECT_FALSE(tree.hasNode(u"//x/y") || tree.hasNode(u"//x"));
  EXPECT_THAT(paths(tree.getLeafNodes()), ElementsAre(u"/a//b/c", u"/a//b/d/e", u"/a/b/c", u"/x/y"));
  expectSame(tree.getParentNode(u"/a//b"), folder(u"/a/"));
}

TEST(FileSystemTree, NeverListsAFolderAmongItsOwnChildren) {
  FileSystemTree tree;
  for (auto const path : {u"/", u"//", u"/a/", u"/a//", u"//x", u"/a//b", u"///c/d"}) tree.insertNode(folder(path));
  std::vector<std::u16string> ahead = {u"/"};
  for (std::size_t i = 0; i < ahead.size(); ++i) {
    ASSERT_LT(i, 20U);
    for (auto const& path : paths(tree.getChildNodes(ahead[i]))) ahead.push_back(path);
  }
  EXPECT_EQ(std::set(ahead.begin(), ahead.end()).size(), ahead.size());
}

TEST(FileSystemTree, KeepsPathsThatAreNotAbsolute) {
  FileSystemTree tree;
  for (auto const path : {u"a/b.txt", u"", u"!"}) tree.addNode(file(path));
  EXPECT_TRUE(tree.hasNode(u"a/b.txt") && tree.hasNode(u"a") && tree.hasNode(u""));
  EXPECT_FALSE(tree.hasNode(u"/a"));
  EXPECT_FALSE(tree.hasParent(u"a"));
  EXPECT_THAT(tree.getChildNodes(u"/"), IsEmpty());
  EXPECT_THAT(paths(tree.getLeafNodes()), ElementsAre(u"", u"!", u"a/b.txt"));
}

TEST(FileSystemTree, IsAsNewOnceCleared) {
  FileSystemTree tree;
  tree.addNode(file(u"/a/b"));
  tree.setVersion(u"1.0");
  tree.setPlatform(u"wnx64");
  tree.setEncoding(u"windows-1252");
  tree.clear();
  EXPECT_THAT(tree.getLeafNodes(), IsEmpty());
  EXPECT_FALSE(tree.hasNode(u"/a"));
  EXPECT_EQ(tree.getVersion(), FileSystemTree().getVersion());
  EXPECT_EQ(tree.getPlatform(), FileSystemTree().getPlatform());
  EXPECT_EQ(tree.getEncoding(), FileSystemTree().getEncoding());
}

TEST(FileSystemTree, TakesAPathOfAHundredThousandFolders) {
  std::u16string path;
  for (int i = 0; i < 100'000; ++i) path += u"/d";
  FileSystemTree tree;
  tree.addNode(file(path));
  EXPECT_THAT(paths(tree.getLeafNodes()), ElementsAre(path));
  EXPECT_EQ(tree.getParentNode(path).fullPath(), path.substr(2));
  tree.removeNode(file(path));
  EXPECT_THAT(paths(tree.getLeafNodes()), ElementsAre(path.substr(2)));
}

TEST(FileSystemTree, FindsEveryPathWhicheverItFoundBefore) {
  FileSystemTree tree;
  std::u16string const present[] = {u"/",    u"/a",     u"/a/b", u"/a/b/c", u"/ab", u"/a//b/c", u"/a//b/c/d",
                                    u"/x/y", u"/x/y/z", u"a",    u"a/b",    u"",    u"/b"};
  std::u16string const absent[] = {u"//",    u"/a//", u"/a/b/", u"/a//c", u"//x", u"//x/y",
                                   u"/a/bc", u"ab",   u"b",     u"/ab/c", u"a/"};
  for (auto const& path : present) tree.insertNode(folder(path));
  for (auto const& first : present)
    for (auto const& second : present) {
      EXPECT_EQ(tree.getNode(first).fullPath(), first);
      EXPECT_TRUE(tree.hasNode(second));
      for (auto const& other : absent) EXPECT_FALSE(tree.hasNode(other));
    }
}

TEST(FileSystemTree, BuildsAndTakesDownAnyDepthLevelByLevel) {
  FileSystemTree tree;
  std::vector<std::u16string> levels;
  for (std::u16string path = u"/d"; levels.size() < 2'000; path += u"/d") levels.push_back(path);
  for (auto const& path : levels) tree.addNode(folder(path));
  EXPECT_THAT(paths(tree.getLeafNodes()), ElementsAre(levels.back()));
  for (; levels.size() > 1; levels.pop_back()) {
    EXPECT_EQ(tree.getParentNode(levels.back()).fullPath(), levels[levels.size() - 2]);
    tree.removeNode(folder(levels.back()));
  }
  EXPECT_THAT(paths(tree.getLeafNodes()), ElementsAre(u"/d"));
}

TEST(FileSystemTree, AddsAndRemovesAHundredThousandSiblings) {
  FileSystemTree tree;
  auto const name = [](int i) {
    return u"/d/" + std::u16string(1, static_cast<char16_t>(0x100 + i % 50'000)) + (i < 50'000 ? u"a" : u"b");
  };
  for (int i = 0; i < 100'000; ++i) tree.addNode(file(name(i)));
  EXPECT_EQ(tree.getChildNodes(u"/d").size(), 100'000U);
  for (int i = 0; i < 100'000; ++i) tree.removeNode(file(name(i)));
  EXPECT_THAT(paths(tree.getLeafNodes()), ElementsAre(u"/d"));
}

TEST(FileSystemTree, ListsAFolderBeforeTheDescendantsThatItLost) {
  FileSystemTree tree;
  for (auto const path : {u"/a/b/c", u"/a!"}) tree.addNode(file(path));
  tree.removeNode(folder(u"/a/b"));
  EXPECT_THAT(paths(tree.getLeafNodes()), ElementsAre(u"/a", u"/a!", u"/a/b/c"));
}

TEST(FileSystemTree, RemovesASubtreeChildrenFirst) {
  FileSystemTree tree;
  for (auto const path : {u"/a/z", u"/a/d/x/y", u"/a/c", u"/b"}) tree.addNode(file(path));
  tree.removeNode(folder(u"/a/d/x"));
  std::vector<std::u16string> gone;
  tree.removeSubtree(u"/a", [&](FileSystemNodeType, std::u16string const& content) { gone.push_back(content); });
  EXPECT_THAT(gone, ElementsAre(u"/fsroot/a/z", u"/fsroot/a/d/x/y", u"", u"/fsroot/a/c", u""));
  EXPECT_THAT(paths(tree.getLeafNodes()), ElementsAre(u"/b"));
  EXPECT_FALSE(tree.hasNode(u"/a") || tree.hasNode(u"/a/d/x/y"));
}

TEST(FileSystemTree, MovesASubtree) {
  FileSystemTree tree;
  for (auto const path : {u"/a/d/x", u"/a/d/y/z", u"/a/e", u"/b"}) tree.addNode(file(path));
  tree.addNode(makeLinkNode(u"/a/d/l", u"/a/d/l", kUnknownPermissions, kUnknown));
  EXPECT_EQ(tree.longestPath(u"/a"), 8U);
  tree.moveSubtree(u"/a/d", u"/n/m");
  EXPECT_THAT(paths(tree.getLeafNodes()), ElementsAre(u"/a/e", u"/b", u"/n/m/l", u"/n/m/x", u"/n/m/y/z"));
  EXPECT_FALSE(tree.hasNode(u"/a/d") || tree.hasNode(u"/a/d/x"));
  expectSame(tree.getNode(u"/n/m"), folder(u"/n/m"));
  EXPECT_EQ(tree.getNode(u"/n/m/x").content, u"/fsroot/a/d/x");
  EXPECT_EQ(tree.getNode(u"/n/m/l").content, u"/a/d/l");
  EXPECT_EQ(tree.getParentNode(u"/n/m/y/z").fullPath(), u"/n/m/y");
}

TEST(FileSystemTree, MovesANodeBackAndForth) {
  FileSystemTree tree;
  for (auto const path : {u"/a/1", u"/a/2", u"/b/3"}) tree.addNode(file(path));
  tree.moveSubtree(u"/a", u"/b/a");
  tree.moveSubtree(u"/b/a/2", u"/b/2");
  tree.moveSubtree(u"/b/a", u"/a");
  EXPECT_THAT(paths(tree.getLeafNodes()), ElementsAre(u"/a/1", u"/b/2", u"/b/3"));
  EXPECT_THAT(paths(tree.getChildNodes(u"/b")), ElementsAre(u"/b/3", u"/b/2"));
  tree.moveSubtree(u"/a/1", u"/1");
  EXPECT_THAT(paths(tree.getLeafNodes()), ElementsAre(u"/1", u"/a", u"/b/2", u"/b/3"));
}

TEST(FileSystemTree, MovesNothingToATakenPlaceOrBelowItself) {
  FileSystemTree tree;
  for (auto const path : {u"/a/x", u"/b"}) tree.addNode(file(path));
  for (auto const path : {u"/a", u"/b", u"/a/y", u"/a/x/z"})
    EXPECT_THROW(tree.moveSubtree(u"/a", path), std::logic_error);
  EXPECT_THROW(tree.moveSubtree(u"/", u"/c"), std::logic_error);
  EXPECT_THROW(tree.moveSubtree(u"/none", u"/c"), std::logic_error);
  EXPECT_THAT(paths(tree.getLeafNodes()), ElementsAre(u"/a/x", u"/b"));
}

TEST(FileSystemTree, EndsARemovalWhereTheVisitorThrows) {
  FileSystemTree tree;
  for (auto const path : {u"/a/p", u"/a/q/r", u"/a/s"}) tree.addNode(file(path));
  int left = 2;
  auto const visit = [&](FileSystemNodeType, std::u16string const&) {
    if (--left == 0) throw Exception("stop");
  };
  EXPECT_THROW(tree.removeSubtree(u"/", visit), Exception);
  EXPECT_THAT(paths(tree.getLeafNodes()), ElementsAre(u"/a/q", u"/a/s"));
  tree.removeSubtree(u"/", visit);
  EXPECT_TRUE(tree.hasNode(u"/"));
  EXPECT_THAT(tree.getLeafNodes(), IsEmpty());
}

TEST(FileSystemTree, RemovesAChainOfAQuarterOfAMillionFolders) {
  std::u16string path;
  for (int i = 0; i < 250'000; ++i) path += u"/d";
  FileSystemTree tree;
  tree.addNode(file(path));
  std::size_t count = 0;
  tree.removeSubtree(u"/d", [&](FileSystemNodeType, std::u16string const&) { ++count; });
  EXPECT_EQ(count, 250'000U);
  EXPECT_THAT(tree.getLeafNodes(), IsEmpty());
}

/// What a tree does, kept as plain as can be: paths, and lists of children by path.
struct Model {
  std::set<std::u16string> nodes = {u"/"};
  std::map<std::u16string, std::vector<std::u16string>> children;

  void insert(std::u16string const& path) {
    if (!nodes.insert(path).second) return;
    std::u16string const parent = folder(path).parentPath;
    insert(parent);
    children[parent].push_back(path);
  }
  void remove(std::u16string const& path) {
    for (auto const& child : std::vector(children[path])) remove(child);
    nodes.erase(path);
    std::erase(children[folder(path).parentPath], path);
  }
  std::vector<std::u16string> leaves() {
    std::vector<std::u16string> result;
    for (auto const& path : nodes)
      if (path != u"/" && children[path].empty()) result.push_back(path);
    return result;
  }
};

void removeAll(FileSystemTree& tree, std::u16string const& path) {
  for (auto const& child : tree.getChildNodes(path)) removeAll(tree, child.fullPath());
  tree.removeNode(folder(path));
}

TEST(FileSystemTree, AgreesWithAPlainModelOverRandomChanges) {
  std::mt19937 random(20240229);
  std::u16string const letters = u"!.ab\uFFFD";
  for (int round = 0; round < 20; ++round) {
    FileSystemTree tree;
    Model model;
    for (int step = 0; step < 100; ++step) {
      std::u16string path;
      for (auto depth = 1 + random() % 4; depth > 0; --depth) {
        path += u'/';
        for (auto length = 1 + random() % 2; length > 0; --length) path += letters[random() % letters.size()];
      }
      if (random() % 4 == 0 && model.nodes.count(path)) {
        removeAll(tree, path);
        model.remove(path);
      } else {
        tree.insertNode(folder(path));
        model.insert(path);
      }
      ASSERT_EQ(paths(tree.getLeafNodes()), model.leaves());
    }
    for (auto const& path : model.nodes) ASSERT_EQ(paths(tree.getChildNodes(path)), model.children[path]);
  }
}

}  // namespace
}  // namespace opc::ztservices
