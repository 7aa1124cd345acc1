// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "services/tree/FileSystemNode.hpp"
#include "services/tree/PathRules.hpp"

namespace opc::ztservices {

/// The file system of a package in memory, keyed by absolute path and ordered by code unit. Knows no parts,
/// streams or disks. A new tree holds the root alone.
///
/// Each node keeps its own name and a pointer to its parent, so that a path of a hundred thousand folders takes no more
/// memory than its text. Children form a list in the order of their insertion, so that adding and removing costs
/// O(log n) for each folder of the path, however many children a folder has. A look-up begins where the last one ended,
/// so that folders shared with that path cost nothing again.
///
/// A folder that is removed while it has descendants is no longer a node, but its descendants stay and are found by
/// their paths. The folder's place is kept until the last descendant is removed. Its parent is a leaf if it has no
/// other child. Inserting the folder, or anything directly below it, makes it a node again.
///
/// A path that is not absolute is kept unchanged; its outermost node has no parent. One thread at a time, for reading
/// too.
class FileSystemTree {
 public:
  using NodeVisitor = std::function<void(FileSystemNode const&)>;
  /// `content` is the content of a file; empty for folders and links.
  using RemovalVisitor = std::function<void(FileSystemNodeType type, std::u16string const& content)>;

  FileSystemTree();
  FileSystemTree(FileSystemTree const&) = delete;
  FileSystemTree& operator=(FileSystemTree const&) = delete;

  bool hasNode(std::u16string_view path) const;
  /// A number that no other tree has, and that this one has until its nodes change: a node that was read at the same
  /// revision is as it was. Never 0.
  std::uint64_t revision() const { return revision_; }
  /// Whether a node of that type has the path, and, unless it is a folder, that content.
  bool holds(std::u16string_view path, FileSystemNodeType type, std::u16string_view content) const;
  /// The path must be present (and for getParentNode its parent too); std::logic_error otherwise.
  FileSystemNode getNode(std::u16string_view path) const;
  FileSystemNode getParentNode(std::u16string_view path) const;
  bool hasParent(std::u16string_view path) const;
  bool hasChildren(std::u16string_view path) const;
  /// FileSystemNode::deflatedFrom of the node, which must be present.
  std::optional<std::uint64_t> deflatedFrom(std::u16string_view path) const;
  /// Whether no file or link lies on the way to the path, which need not be present.
  bool hasOnlyFoldersAbove(std::u16string_view path) const;
  /// In the order of insertion; empty where there are none.
  std::vector<FileSystemNode> getChildNodes(std::u16string_view path) const;
  /// Every node without children, in key order; none while the root is alone.
  std::vector<FileSystemNode> getLeafNodes() const;
  /// The same without a list of copies. The tree must not be changed meanwhile.
  void forEachLeaf(NodeVisitor const& visit) const;
  /// Every node that a manifest lists, in key order: files and links, also those with children, and childless folders.
  /// The tree must not be changed meanwhile.
  void forEachListed(NodeVisitor const& visit) const;
  /// Every node but the root, in key order. The tree must not be changed meanwhile.
  void forEachNode(NodeVisitor const& visit) const;
  /// Every link, including those with children, in key order. The tree must not be changed meanwhile.
  void forEachLink(NodeVisitor const& visit) const;

  /// The contents of all files, in no particular order.
  void forEachContent(std::function<void(std::u16string const& content)> const& visit) const;

  /// Throws opc::Exception where the path is present.
  void addNode(FileSystemNode const& node);
  /// Creates missing ancestors and replaces a present node in its place. Checks nothing.
  void insertNode(FileSystemNode const& node);
  /// Replaces a stored node; throws opc::Exception when there is none.
  void updateNode(FileSystemNode const& node);
  /// Sets FileSystemNode::deflatedFrom of the file. Throws opc::Exception if the path is no file.
  void setDeflatedFrom(std::u16string_view path, std::optional<std::uint64_t> size);
  /// Does nothing where there is none. Descendants are not touched: the caller removes them first.
  void removeNode(FileSystemNode const& node);
  /// Removes everything below the node, then the node: children in the order of their insertion, each after its own
  /// children. The root is only emptied. Calls the visitor after each node, including the root, is gone; an exception
  /// of the visitor ends the removal there. The visitor must not use the tree. Does nothing without such a node.
  void removeSubtree(std::u16string_view path, RemovalVisitor const& removed);
  /// Gives the node another path, with everything below it: the last among its new siblings. The contents of files and
  /// the targets of links stay as they are. Creates missing ancestors. std::logic_error where there is no such node,
  /// the new path is taken or lies below the node, or the node is the root.
  void moveSubtree(std::u16string_view from, std::u16string_view to);
  /// The number of code units in the longest path of the node and of those below it; 0 without such a node.
  std::size_t longestPath(std::u16string_view path) const;
  /// Leaves the root alone, as in a new tree.
  void clear();

  std::u16string const& getPlatform() const { return platform_; }
  std::u16string const& getEncoding() const { return encoding_; }
  std::u16string const& getVersion() const { return version_; }
  void setPlatform(std::u16string value) { platform_ = std::move(value); }
  void setEncoding(std::u16string value) { encoding_ = std::move(value); }
  void setVersion(std::u16string value) { version_ = std::move(value); }

 private:
  struct Key;
  struct Record;
  using Entry = std::pair<Key const, Record>;

  /// A step of a path (PathSteps) below the entry of the step before it; null for the first.
  struct KeyView {
    Entry const* parent;
    std::u16string_view name;
  };
  struct Key {
    Entry* parent;
    std::u16string name;
  };
  struct KeyLess {
    using is_transparent = void;
    static KeyView view(Key const& key) { return {key.parent, key.name}; }
    static KeyView view(KeyView const& key) { return key; }
    template <typename A, typename B>
    bool operator()(A const& a, B const& b) const {
      KeyView const x = view(a), y = view(b);
      return x.parent == y.parent ? x.name < y.name : std::less<>()(x.parent, y.parent);
    }
  };
  struct Children {
    Entry* first = nullptr;
    Entry* last = nullptr;
  };
  static constexpr std::uint64_t kNotDeflated = kUnknownSize - 1;

  /// Without isPresent the entry is no node, only a place on the way to its descendants.
  struct Record {
    CompactText content;  // empty where it is the node's own path
    boost::posix_time::ptime lastModified;
    Children children;
    Entry* previous = nullptr;  // among the children of the parent
    Entry* next = nullptr;
    std::uint64_t deflatedFrom = kNotDeflated;
    std::uint32_t presentChildren = 0;
    Perms::Perms_tag permissions = kUnknownPermissions;
    FileSystemNodeType type = FileSystemNodeType::Folder;
    bool isPresent = false;
    bool contentIsPath = true;
  };

  /// An entry itself, or everything below it.
  struct Step {
    Entry const* entry;
    bool isBelow;
  };
  struct Place {
    std::u16string path;
    Entry* entry = nullptr;  // null: above the first step
  };

  FileSystemNode nodeOf(Entry const& entry, std::u16string const& path) const;
  static std::u16string contentOf(Entry const& entry, std::u16string const& path);
  static std::u16string pathOf(Entry const& entry);
  static void store(FileSystemNode const& node, std::u16string const& path, Record& record);
  static bool isRoot(Entry const& entry);
  static bool isLeaf(Entry const& entry) { return entry.second.presentChildren == 0; }
  static bool comesFirst(Step const& a, Step const& b);
  static std::vector<Step> inKeyOrder(Children const& children);
  static void appendName(Entry const& entry, std::u16string& parentPath);

  static void cutName(Entry const& entry, std::u16string& path);

  template <typename Visit>
  static void visitSubtree(Entry& top, std::u16string path, Visit const& visit);
  static void pinContent(Entry& entry, std::u16string const& path);

  void revise();
  void walk(bool (*isWanted)(Entry const&), NodeVisitor const& visit) const;
  PathSteps resume(std::u16string_view path) const;
  void enter(Entry& entry) const;
  void leave() const;
  Entry* find(std::u16string_view path) const;
  Entry const& get(std::u16string_view path) const;
  Entry& findOrMake(Entry* parent, std::u16string_view name);
  Key takeNewPlace(std::u16string_view path);
  Children& siblings(Entry const& entry);
  void link(Entry& entry);
  void unlink(Entry& entry);
  void appear(Entry& entry);
  void disappear(Entry& entry);
  void eraseChildless(Entry* entry);
  void erase(Entry& entry);

  std::uint64_t revision_ = 0;
  std::u16string platform_;
  std::u16string encoding_;
  std::u16string version_;
  std::map<Key, Record, KeyLess> entries_;
  mutable Place place_;  // where the last look-up ended
  Children top_;         // the root, and the first steps of paths that are not absolute
};

}  // namespace opc::ztservices
