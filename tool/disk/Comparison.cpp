// SPDX-License-Identifier: Apache-2.0
#include "disk/Comparison.hpp"

#include <algorithm>
#include <ios>
#include <memory>
#include <utility>

#include "cli/Errors.hpp"
#include "cli/Process.hpp"
#include "disk/CheckedStreams.hpp"
#include "opc/Streams.hpp"

namespace ztpkg {
namespace {

using opc::ztservices::FileSystemEntry;
using opc::ztservices::FileSystemManager;
using opc::ztservices::TransformMode;
using Change = Difference::Change;

template <typename Value>
bool differ(std::optional<Value> const& a, std::optional<Value> const& b) {
  return a && b && *a != *b;
}

bool hasOtherTime(TreeItem const& ours, TreeItem const& theirs) {
  return differ(ours.time, theirs.time) || (ours.time && theirs.hasUnrecordableTime);
}

std::u16string pathFromRoot(FileSystemEntry const& entry) {
  std::u16string path = entry.getPathName();
  if (!path.starts_with(u'/')) path.insert(0, 1, u'/');
  return path;
}

bool isSlashless(FileSystemEntry const& entry) { return !entry.getPathName().starts_with(u'/'); }

bool hasSlashlessPaths(FileSystemManager const& manager) {
  bool any = false;
  manager.visitLeafs([&](FileSystemEntry const& entry) { any = any || isSlashless(entry); });
  return any;
}

/// By code units of their paths from the root; a folder that is named both with the slash and without it once.
std::vector<FileSystemEntry> entriesFromRoot(FileSystemManager const& manager) {
  std::vector<FileSystemEntry> entries;
  manager.visitEntries([&](FileSystemEntry const& entry) { entries.push_back(entry); });
  if (std::ranges::none_of(entries, isSlashless)) return entries;  // they are in order
  std::ranges::stable_sort(entries, {}, pathFromRoot);
  auto const isSameFolder = [](FileSystemEntry const& a, FileSystemEntry const& b) {
    return a.isFolder() && b.isFolder() && pathFromRoot(a) == pathFromRoot(b);
  };
  entries.erase(std::unique(entries.begin(), entries.end(), isSameFolder), entries.end());
  return entries;
}

/// A comparison under way.
class Comparison {
 public:
  Comparison(FileSystemManager& manager, OtherTree& other, ComparisonRules const& rules,
             std::function<void(Difference const&)> const& visit)
      : manager_(manager), other_(other), rules_(rules), visit_(visit) {}

  void run() {
    if (rules_.slashless == SlashlessPaths::FromRoot && hasSlashlessPaths(manager_))
      for (FileSystemEntry const& entry : entriesFromRoot(manager_)) meet(entry, pathFromRoot(entry));
    else
      manager_.visitEntries([this](FileSystemEntry const& entry) { meet(entry, checkedPath(entry)); });
    while (next_ < other_.count()) add();
  }

 private:
  static std::u16string checkedPath(FileSystemEntry const& entry) {
    std::u16string path = entry.getPathName();
    if (path.starts_with(u'/')) return path;
    throw Failure(Report{Exit::Package, "bad-name", shown(path) + " does not begin with a slash", path});
  }

  void meet(FileSystemEntry const& entry, std::u16string const& path) {
    throwIfInterrupted();
    while (next_ < other_.count() && other_.pathOf(next_) < path) add();
    bool const isInBoth = next_ < other_.count() && other_.pathOf(next_) == path;
    if (isWanted(path)) isInBoth ? compare(entry, path) : visit_({Change::Deleted, path, kindOf(entry)});
    if (isInBoth) ++next_;
  }

  void add() {
    std::u16string path = other_.pathOf(next_);
    if (isWanted(path)) visit_({Change::Added, std::move(path), other_.itemAt(next_).kind, {}, true});
    ++next_;
  }

  void compare(FileSystemEntry const& entry, std::u16string const& path) {
    TreeItem const ours = itemOf(manager_, entry), theirs = other_.itemAt(next_);
    Difference difference{Change::Modified, path, theirs.kind};
    if (ours.kind != theirs.kind)
      difference.change = Change::Type, difference.hasOtherContent = true;
    else if (ours.kind == EntryKind::Link && ours.target != theirs.target)
      note(difference, "target", true);
    else if (ours.kind == EntryKind::File)
      compareFiles(entry, ours, theirs, difference);
    if (difference.change == Change::Type || !difference.what.empty()) visit_(difference);
  }

  void compareFiles(FileSystemEntry const& entry, TreeItem const& ours, TreeItem const& theirs,
                    Difference& difference) {
    bool const isConverted = rules_.isConverted && rules_.isConverted(difference.path);
    bool const hasOtherSize = !isConverted && ours.size != theirs.size;
    bool const reads = rules_.readContents && !isConverted;
    if (hasOtherSize)
      note(difference, "size", true);
    else if (reads && !other_.hasSameContent(manager_, entry, next_))
      note(difference, "content", true);
    if (hasOtherTime(ours, theirs)) note(difference, "time", !reads);
    if (differ(ours.permissions, theirs.permissions)) note(difference, "permissions", false);
  }

  static void note(Difference& difference, char const* what, bool hasOtherContent) {
    difference.what.push_back(what);
    difference.hasOtherContent = difference.hasOtherContent || hasOtherContent;
  }

  bool isWanted(std::u16string const& path) const { return !rules_.isWanted || rules_.isWanted(path); }

  FileSystemManager& manager_;
  OtherTree& other_;
  ComparisonRules const& rules_;
  std::function<void(Difference const&)> const& visit_;
  std::size_t next_ = 0;  // of the other tree
};

}  // namespace

EntryKind kindOf(FileSystemEntry const& entry) {
  return entry.isFile() ? EntryKind::File : entry.isLink() ? EntryKind::Link : EntryKind::Folder;
}

TreeItem itemOf(FileSystemManager const& manager, FileSystemEntry const& entry) {
  TreeItem item{.kind = kindOf(entry)};
  if (item.kind == EntryKind::Link) item.target = entry.getContentName();
  if (item.kind != EntryKind::File) return item;
  if (manager.getPackage().hasPart(opc::model::PartName(entry.getContentName()))) item.size = manager.getSize(entry);
  if (entry.getPermissions() != FileSystemEntry::getUnknownPermissions()) item.permissions = entry.getPermissions();
  if (!entry.getLastModifiedTime().is_special()) item.time = entry.getLastModifiedTime();
  return item;
}

TreeItem itemOf(FileFacts const& facts) {
  auto const time = timeOf(facts.identity);
  return {.kind = EntryKind::File,
          .size = facts.identity.size,
          .permissions = facts.permissions,
          .time = time,
          .hasUnrecordableTime = !time};
}

bool haveOtherFacts(TreeItem const& ours, TreeItem const& theirs) {
  return ours.size != theirs.size || hasOtherTime(ours, theirs) || differ(ours.permissions, theirs.permissions);
}

DirectoryTree::DirectoryTree(SourceTree& source, Progress& progress) : source_(source), progress_(progress) {
  auto const& folders = source.folders();
  auto const& leaves = source.leaves();
  for (std::size_t folder = 0, leaf = 0; folder < folders.size() || leaf < leaves.size();) {
    bool const isFolder = leaf == leaves.size() || (folder < folders.size() && folders[folder] < leaves[leaf]);
    places_.push_back({isFolder, isFolder ? folder++ : leaf++});
  }
}

std::u16string const& DirectoryTree::textOf(Place const& place) const {
  return place.isFolder ? source_.folders()[place.index] : source_.leaves()[place.index];
}

std::u16string DirectoryTree::pathOf(std::size_t index) const { return textOf(places_[index]); }

std::size_t DirectoryTree::indexOf(std::u16string const& path) const {
  auto const found = std::ranges::lower_bound(
      places_, path, {}, [this](Place const& place) -> std::u16string const& { return textOf(place); });
  return static_cast<std::size_t>(found - places_.begin());
}

TreeItem DirectoryTree::itemAt(std::size_t index) {
  Place const& place = places_[index];
  if (place.isFolder) return {.kind = EntryKind::Folder};
  if (source_.isLinkLeaf(place.index)) return {.kind = EntryKind::Link, .target = source_.getLinkTarget(textOf(place))};
  return itemOf(source_.factsOf(place.index));
}

bool DirectoryTree::hasSameContent(FileSystemManager& manager, FileSystemEntry const& file, std::size_t index) {
  std::u16string const& path = textOf(places_[index]);
  std::u16string const onDisk = source_.diskPath(path);
  boost::system::error_code error;
  auto stream = source_.createInputStream(path, std::ios::in | std::ios::binary, error);
  if (error) throw Failure(diskReport("cannot-read", "cannot read", onDisk, error));
  progress_.addFile();
  CheckedInput checked(std::move(stream), onDisk, progress_);
  opc::StdIStreamAdaptor input(checked);
  return manager.hasContent(file, input);
}

PackageTree::PackageTree(FileSystemManager& manager) : manager_(manager), entries_(entriesFromRoot(manager)) {}

std::u16string PackageTree::pathOf(std::size_t index) const { return pathFromRoot(entries_[index]); }

TreeItem PackageTree::itemAt(std::size_t index) { return itemOf(manager_, entries_[index]); }

bool PackageTree::hasSameContent(FileSystemManager& manager, FileSystemEntry const& file, std::size_t index) {
  auto const ours = manager.getCRC32(file), theirs = manager_.getCRC32(entries_[index]);
  if (ours && theirs) return *ours == *theirs;
  auto const source = manager_.getFileContentSource(entries_[index], TransformMode::Transform);
  return manager.hasContent(file, source->getInputStream());
}

void compareTrees(FileSystemManager& manager, OtherTree& other, ComparisonRules const& rules,
                  std::function<void(Difference const&)> const& visit) {
  Comparison(manager, other, rules, visit).run();
}

}  // namespace ztpkg
