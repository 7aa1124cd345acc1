// SPDX-License-Identifier: Apache-2.0
#include "services/tree/FileSystemTree.hpp"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <utility>

#include "opc/Exception.hpp"
#include "opc/Strings.hpp"
#include "services/tree/FileSystemManifest.hpp"
#include "text/I18n.hpp"

namespace opc::ztservices {
namespace {

// The format has tags for five systems; any other system takes the tag of its kind and size.
#if defined(_WIN64)
constexpr char16_t kPlatform[] = u"wnx64";
#elif defined(_WIN32)
constexpr char16_t kPlatform[] = u"wnx86";
#elif defined(__APPLE__)
constexpr char16_t kPlatform[] = u"macx64";
#elif defined(__LP64__)
constexpr char16_t kPlatform[] = u"lxamd64";
#else
constexpr char16_t kPlatform[] = u"lxarm32";
#endif

/// The length of the common beginning. Mostly it is all of `a`, and std::equal compares many units at a time.
std::size_t commonLength(std::u16string_view a, std::u16string_view b) {
  if (a.size() <= b.size() && std::equal(a.begin(), a.end(), b.begin())) return a.size();
  return static_cast<std::size_t>(std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first - a.begin());
}

}  // namespace

FileSystemTree::FileSystemTree() { clear(); }

void FileSystemTree::clear() {
  revise();
  platform_ = kPlatform;
  encoding_ = fl::i18n::getGlobalLocaleEncodingName();
  version_ = manifest::kCurrentVersion;
  entries_.clear();
  place_ = {};
  top_ = {};
  insertNode(makeFolderNode(std::u16string(kRootPath), kUnknownPermissions, boost::posix_time::not_a_date_time));
}

/// Called before each change, so that one that fails half-way counts.
void FileSystemTree::revise() {
  static std::atomic<std::uint64_t> last = 0;
  revision_ = ++last;
}

bool FileSystemTree::hasNode(std::u16string_view path) const {
  Entry const* const entry = find(path);
  return entry && entry->second.isPresent;
}

FileSystemNode FileSystemTree::getNode(std::u16string_view path) const {
  return nodeOf(get(path), std::u16string(path));
}

bool FileSystemTree::holds(std::u16string_view path, FileSystemNodeType type, std::u16string_view content) const {
  Entry const* const entry = find(path);
  if (!entry || !entry->second.isPresent || entry->second.type != type) return false;
  if (type == FileSystemNodeType::Folder) return true;
  return entry->second.contentIsPath ? content == path : entry->second.content.toString() == content;
}

FileSystemNode FileSystemTree::getParentNode(std::u16string_view path) const {
  Entry const* const parent = get(path).first.parent;
  if (!parent || !parent->second.isPresent) throw std::logic_error("The node has no parent");
  leave();
  return nodeOf(*parent, place_.path);
}

bool FileSystemTree::hasParent(std::u16string_view path) const {
  Entry const* const entry = find(path);
  return entry && entry->second.isPresent && entry->first.parent && entry->first.parent->second.isPresent;
}

bool FileSystemTree::hasChildren(std::u16string_view path) const {
  Entry const* const entry = find(path);
  return entry && entry->second.isPresent && !isLeaf(*entry);
}

std::optional<std::uint64_t> FileSystemTree::deflatedFrom(std::u16string_view path) const {
  std::uint64_t const size = get(path).second.deflatedFrom;
  return size == kNotDeflated ? std::nullopt : std::optional(size);
}

bool FileSystemTree::hasOnlyFoldersAbove(std::u16string_view path) const {
  Entry const* const entry = find(path);
  for (Entry const* above = entry ? entry->first.parent : place_.entry; above; above = above->first.parent)
    if (above->second.isPresent && above->second.type != FileSystemNodeType::Folder) return false;
  return true;
}

std::vector<FileSystemNode> FileSystemTree::getChildNodes(std::u16string_view path) const {
  std::vector<FileSystemNode> nodes;
  Entry const* const folder = find(path);
  if (!folder || !folder->second.isPresent) return nodes;
  for (Entry const* child = folder->second.children.first; child; child = child->second.next) {
    if (!child->second.isPresent) continue;
    std::u16string childPath(path);
    appendName(*child, childPath);
    nodes.push_back(nodeOf(*child, childPath));
  }
  return nodes;
}

std::vector<FileSystemNode> FileSystemTree::getLeafNodes() const {
  std::vector<FileSystemNode> nodes;
  forEachLeaf([&nodes](FileSystemNode const& node) { nodes.push_back(node); });
  return nodes;
}

void FileSystemTree::forEachLeaf(NodeVisitor const& visit) const {
  walk([](Entry const& entry) { return isLeaf(entry) && !isRoot(entry); }, visit);
}

void FileSystemTree::forEachListed(NodeVisitor const& visit) const {
  walk(
      [](Entry const& entry) {
        return !isRoot(entry) && (isLeaf(entry) || entry.second.type != FileSystemNodeType::Folder);
      },
      visit);
}

void FileSystemTree::forEachNode(NodeVisitor const& visit) const {
  walk([](Entry const& entry) { return !isRoot(entry); }, visit);
}

void FileSystemTree::forEachLink(NodeVisitor const& visit) const {
  walk([](Entry const& entry) { return entry.second.type == FileSystemNodeType::Link; }, visit);
}

void FileSystemTree::forEachContent(std::function<void(std::u16string const& content)> const& visit) const {
  for (Entry const& entry : entries_) {
    Record const& record = entry.second;
    if (record.isPresent && record.type == FileSystemNodeType::File)
      visit(record.contentIsPath ? pathOf(entry) : record.content.toString());
  }
}

/// Visits the wanted nodes in key order.
void FileSystemTree::walk(bool (*isWanted)(Entry const&), NodeVisitor const& visit) const {
  struct Ahead {
    Step step;
    std::size_t parentLength;
  };
  std::vector<Ahead> ahead;  // the next one last; an explicit stack, because trees may be very deep
  auto const plan = [&ahead](Children const& children, std::size_t parentLength) {
    std::vector<Step> const steps = inKeyOrder(children);
    for (auto step = steps.rbegin(); step != steps.rend(); ++step) ahead.push_back({*step, parentLength});
  };
  std::u16string path;
  plan(top_, 0);
  while (!ahead.empty()) {
    auto const [step, parentLength] = ahead.back();
    ahead.pop_back();
    if (!step.isBelow && !isWanted(*step.entry)) continue;
    path.resize(parentLength);
    appendName(*step.entry, path);
    if (step.isBelow)
      plan(step.entry->second.children, path.size());
    else
      visit(nodeOf(*step.entry, path));
  }
}

FileSystemNode FileSystemTree::nodeOf(Entry const& entry, std::u16string const& path) const {
  Record const& record = entry.second;
  FileSystemNode node(record.type, path, contentOf(entry, path), record.permissions, record.lastModified);
  if (record.deflatedFrom != kNotDeflated) node.deflatedFrom = record.deflatedFrom;
  node.revision = revision_;
  return node;
}

std::u16string FileSystemTree::contentOf(Entry const& entry, std::u16string const& path) {
  return entry.second.contentIsPath ? path : entry.second.content.toString();
}

std::u16string FileSystemTree::pathOf(Entry const& entry) {
  std::vector<Entry const*> steps;
  for (Entry const* step = &entry; step; step = step->first.parent) steps.push_back(step);
  std::u16string path;
  for (auto step = steps.rbegin(); step != steps.rend(); ++step) appendName(**step, path);
  return path;
}

/// Whether the paths of the first step come before those of the second. The paths below an entry continue with a
/// slash, so "a!" comes before "a/b", but after "a".
bool FileSystemTree::comesFirst(Step const& a, Step const& b) {
  std::u16string const& x = a.entry->first.name;
  std::u16string const& y = b.entry->first.name;
  auto const [i, j] = std::mismatch(x.begin(), x.end(), y.begin(), y.end());
  auto const following = [](auto position, Step const& step) {
    return position != step.entry->first.name.end() ? int{*position} : step.isBelow ? int{u'/'} : -1;
  };
  return following(i, a) < following(j, b);
}

std::vector<FileSystemTree::Step> FileSystemTree::inKeyOrder(Children const& children) {
  std::vector<Step> steps;
  for (Entry const* child = children.first; child; child = child->second.next) {
    if (child->second.isPresent) steps.push_back({child, false});
    if (child->second.children.first) steps.push_back({child, true});
  }
  std::sort(steps.begin(), steps.end(), comesFirst);
  return steps;
}

bool FileSystemTree::isRoot(Entry const& entry) { return !entry.first.parent && entry.first.name == kRootPath; }

void FileSystemTree::appendName(Entry const& entry, std::u16string& parentPath) {
  parentPath.reserve(parentPath.size() + 1 + entry.first.name.size());  // appends nothing if memory runs out
  if (entry.first.parent && !isRoot(*entry.first.parent)) parentPath += u'/';
  parentPath += entry.first.name;
}

/// Reverses appendName.
void FileSystemTree::cutName(Entry const& entry, std::u16string& path) {
  path.resize(path.size() - entry.first.name.size());
  if (entry.first.parent && !isRoot(*entry.first.parent)) path.pop_back();
}

/// Leaves the folders that do not lead to the path and returns the remaining steps.
PathSteps FileSystemTree::resume(std::u16string_view path) const {
  std::u16string const& here = place_.path;
  std::size_t const common = commonLength(here, path);
  auto const leadsToPath = [&] {
    if (here.size() > common) return false;
    return here.size() == path.size() || isRoot(*place_.entry) || (!here.empty() && path[here.size()] == u'/');
  };
  while (place_.entry && !leadsToPath()) leave();
  return place_.entry ? PathSteps::after(path, here.size()) : PathSteps(path);
}

void FileSystemTree::enter(Entry& entry) const {
  appendName(entry, place_.path);
  place_.entry = &entry;
}

void FileSystemTree::leave() const {
  Entry const& left = *place_.entry;
  place_.entry = left.first.parent;
  cutName(left, place_.path);
}

FileSystemTree::Entry* FileSystemTree::find(std::u16string_view path) const {
  for (PathSteps steps = resume(path); !steps.atEnd();) {
    auto const found = entries_.find(KeyView{place_.entry, steps.next()});
    if (found == entries_.end()) return nullptr;
    enter(const_cast<Entry&>(*found));  // for callers that may change the tree
  }
  return place_.entry;
}

FileSystemTree::Entry const& FileSystemTree::get(std::u16string_view path) const {
  Entry const* const entry = find(path);
  if (!entry || !entry->second.isPresent) throw std::logic_error("There is no such node");
  return *entry;
}

}  // namespace opc::ztservices
