// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "opc/Exception.hpp"
#include "opc/Strings.hpp"
#include "services/tree/FileSystemTree.hpp"

// What changes the tree.
namespace opc::ztservices {

/// Visits the entry and everything below it, each with its path. Explicit steps, because trees may be very deep.
template <typename Visit>
void FileSystemTree::visitSubtree(Entry& top, std::u16string path, Visit const& visit) {
  Entry* entry = &top;
  for (visit(*entry, path);; visit(*entry, path)) {
    Entry* next = entry->second.children.first;
    while (!next && entry != &top) {
      cutName(*entry, path);
      next = entry->second.next;
      entry = entry->first.parent;
    }
    if (!next) return;
    appendName(*next, path);
    entry = next;
  }
}

void FileSystemTree::addNode(FileSystemNode const& node) {
  std::u16string const path = node.fullPath();
  if (hasNode(path)) throw Exception("A node already exists with the name:" + toASCIIString(path));
  insertNode(node);
}

void FileSystemTree::insertNode(FileSystemNode const& node) {
  revise();
  std::u16string const path = node.fullPath();
  for (PathSteps steps = resume(path); !steps.atEnd();) enter(findOrMake(place_.entry, steps.next()));
  for (Entry* entry = place_.entry; entry && !entry->second.isPresent; entry = entry->first.parent) appear(*entry);
  store(node, path, place_.entry->second);
}

void FileSystemTree::updateNode(FileSystemNode const& node) {
  revise();
  std::u16string const path = node.fullPath();
  Entry* const entry = find(path);
  if (!entry || !entry->second.isPresent)
    throw Exception("A node does not exists with the name:" + toASCIIString(path));
  store(node, path, entry->second);
}

void FileSystemTree::setDeflatedFrom(std::u16string_view path, std::optional<std::uint64_t> size) {
  revise();
  Entry* const entry = find(path);
  if (!entry || !entry->second.isPresent || entry->second.type != FileSystemNodeType::File)
    throw Exception("No file exists with the name:" + toASCIIString(std::u16string(path)));
  entry->second.deflatedFrom = size.value_or(kNotDeflated);
}

void FileSystemTree::removeNode(FileSystemNode const& node) {
  revise();
  Entry* const entry = find(node.fullPath());
  if (!entry || !entry->second.isPresent) return;
  disappear(*entry);
  eraseChildless(entry);
}

// The walk erases each entry as it leaves it, so the first child is always the next one to remove.
void FileSystemTree::removeSubtree(std::u16string_view topPath, RemovalVisitor const& removed) {
  revise();
  Entry* const top = find(topPath);
  if (!top || !top->second.isPresent) return;
  std::u16string path(topPath);
  for (Entry* entry = top; entry;) {
    while (Entry* const child = entry->second.children.first) {
      appendName(*child, path);
      entry = child;
    }
    FileSystemNodeType const type = entry->second.type;
    std::u16string const content = type == FileSystemNodeType::File ? contentOf(*entry, path) : std::u16string();
    bool const wasPresent = entry->second.isPresent;
    Entry* const parent = entry->first.parent;
    bool const isLast = entry == top;
    cutName(*entry, path);
    if (!isRoot(*entry)) {
      if (wasPresent) disappear(*entry);
      erase(*entry);
      if (isLast) eraseChildless(parent);
    }
    if (wasPresent) removed(type, content);
    entry = isLast ? nullptr : parent;
  }
}

// The entry keeps its address, so everything below it moves along untouched.
void FileSystemTree::moveSubtree(std::u16string_view from, std::u16string_view to) {
  revise();
  Entry* const entry = find(from);
  if (!entry || !entry->second.isPresent || isRoot(*entry)) throw std::logic_error("There is no such node to move");
  if (isBelowPath(to, from) || find(to)) throw std::logic_error("The node cannot move there");
  visitSubtree(*entry, std::u16string(from), pinContent);
  Key place = takeNewPlace(to);
  Entry* const oldParent = entry->first.parent;
  disappear(*entry);
  unlink(*entry);
  auto node = entries_.extract(entries_.find(entry->first));
  node.key() = std::move(place);
  entries_.insert(std::move(node));
  link(*entry);
  entry->second.isPresent = true;
  if (entry->first.parent) ++entry->first.parent->second.presentChildren;
  eraseChildless(oldParent);
  place_ = {};  // it may lie in what moved
}

std::size_t FileSystemTree::longestPath(std::u16string_view path) const {
  std::size_t longest = 0;
  if (Entry* const top = find(path); top && top->second.isPresent)
    visitSubtree(*top, std::u16string(path),
                 [&](Entry&, std::u16string const& below) { longest = std::max(longest, below.size()); });
  return longest;
}

void FileSystemTree::store(FileSystemNode const& node, std::u16string const& path, Record& record) {
  record.contentIsPath = node.content == path;
  record.content = record.contentIsPath ? CompactText() : CompactText(node.content);
  record.type = node.type;
  record.permissions = node.permissions.value_or(kUnknownPermissions);
  record.lastModified = node.lastModified.value_or(boost::posix_time::not_a_date_time);
  record.deflatedFrom = node.deflatedFrom.value_or(kNotDeflated);
}

/// Writes out a content that is the path by chance, which is about to change. That of a folder is always the path.
void FileSystemTree::pinContent(Entry& entry, std::u16string const& path) {
  Record& record = entry.second;
  if (!record.contentIsPath || record.type == FileSystemNodeType::Folder) return;
  record.content = CompactText(path);
  record.contentIsPath = false;
}

FileSystemTree::Entry& FileSystemTree::findOrMake(Entry* parent, std::u16string_view name) {
  KeyView const key{parent, name};
  auto const position = entries_.lower_bound(key);
  if (position != entries_.end() && !entries_.key_comp()(key, position->first)) return *position;
  Entry& entry = *entries_.emplace_hint(position, Key{parent, std::u16string(name)}, Record());
  link(entry);
  return entry;
}

/// Makes the folders above the path, and returns the key of an entry there.
FileSystemTree::Key FileSystemTree::takeNewPlace(std::u16string_view path) {
  insertNode(makeFolderNode(std::u16string(path), kUnknownPermissions, boost::posix_time::not_a_date_time));
  Entry& placeholder = *place_.entry;
  Key key = placeholder.first;
  disappear(placeholder);
  erase(placeholder);
  return key;
}

FileSystemTree::Children& FileSystemTree::siblings(Entry const& entry) {
  return entry.first.parent ? entry.first.parent->second.children : top_;
}

void FileSystemTree::link(Entry& entry) {
  Children& list = siblings(entry);
  entry.second.previous = list.last;
  entry.second.next = nullptr;
  (list.last ? list.last->second.next : list.first) = &entry;
  list.last = &entry;
}

void FileSystemTree::unlink(Entry& entry) {
  Children& list = siblings(entry);
  Record const& record = entry.second;
  (record.previous ? record.previous->second.next : list.first) = record.next;
  (record.next ? record.next->second.previous : list.last) = record.previous;
}

/// Turns a place into a node: a folder without permissions and time, the last among its siblings.
void FileSystemTree::appear(Entry& entry) {
  unlink(entry);
  link(entry);
  Record& record = entry.second;
  record.content = CompactText();
  record.contentIsPath = true;
  record.type = FileSystemNodeType::Folder;
  record.permissions = kUnknownPermissions;
  record.lastModified = boost::posix_time::not_a_date_time;
  record.deflatedFrom = kNotDeflated;
  record.isPresent = true;
  if (entry.first.parent) ++entry.first.parent->second.presentChildren;
}

/// Turns a node into a place.
void FileSystemTree::disappear(Entry& entry) {
  entry.second.isPresent = false;
  if (entry.first.parent) --entry.first.parent->second.presentChildren;
}

/// Erases the place, and the places above it that led only to it.
void FileSystemTree::eraseChildless(Entry* entry) {
  while (entry && !entry->second.children.first && !entry->second.isPresent) {
    Entry* const parent = entry->first.parent;
    erase(*entry);
    entry = parent;
  }
}

void FileSystemTree::erase(Entry& entry) {
  if (place_.entry == &entry) leave();
  unlink(entry);
  entries_.erase(entries_.find(entry.first));
}

}  // namespace opc::ztservices
