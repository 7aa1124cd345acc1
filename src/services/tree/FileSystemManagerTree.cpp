// SPDX-License-Identifier: Apache-2.0
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "opc/ztservices/FileSystem.hpp"
#include "services/tree/ContentParts.hpp"
#include "services/tree/EncryptedContent.hpp"
#include "services/tree/FileSystemTree.hpp"
#include "services/tree/Messages.hpp"
#include "services/tree/PathRules.hpp"

namespace opc::ztservices {
namespace {

/// Ciphertext does not shrink, and trying doubles the time for a package of many small files.
model::CompressionType compressionFor(model::ContentType const& type) {
  return isMarkedEncrypted(type) ? model::CompressionType::Stored : model::CompressionType::Content;
}

FileSystemNodeType typeOf(FileSystemEntry const& entry) {
  if (entry.isFile()) return FileSystemNodeType::File;
  return entry.isLink() ? FileSystemNodeType::Link : FileSystemNodeType::Folder;
}

}  // namespace

bool FileSystemManager::hasEntry(std::u16string const& path) const {
  ensureLoaded();
  return tree_->hasNode(paths::convertSeparators(path));
}

FileSystemEntry FileSystemManager::getEntry(std::u16string const& path) const {
  std::u16string const found = findPath(path);  // may load another tree
  return makeEntry(tree_->getNode(found));
}

FileSystemEntry FileSystemManager::getRoot() const {
  ensureLoaded();
  return makeEntry(tree_->getNode(FileSystemEntry::getRootName()));
}

bool FileSystemManager::hasParent(std::u16string const& path) const { return hasParentInternal(findPath(path)); }

bool FileSystemManager::hasParent(FileSystemEntry const& entry) const { return hasParentInternal(entry.getPathName()); }

FileSystemEntry FileSystemManager::getParent(std::u16string const& path) const {
  return getParentInternal(findPath(path));
}

FileSystemEntry FileSystemManager::getParent(FileSystemEntry const& entry) const {
  return getParentInternal(entry.getPathName());
}

bool FileSystemManager::hasChildren(std::u16string const& path) const { return hasChildrenInternal(findPath(path)); }

bool FileSystemManager::hasChildren(FileSystemEntry const& entry) const {
  return hasChildrenInternal(entry.getPathName());
}

std::vector<FileSystemEntry> FileSystemManager::getChildren(std::u16string const& path) const {
  return getChildrenInternal(findPath(path));
}

std::vector<FileSystemEntry> FileSystemManager::getChildren(FileSystemEntry const& entry) const {
  return getChildrenInternal(entry.getPathName());
}

std::vector<FileSystemEntry> FileSystemManager::getAllLeafs() const {
  ensureLoaded();
  std::vector<FileSystemEntry> entries;
  tree_->forEachListed([&](FileSystemNode const& node) { entries.push_back(makeEntry(node)); });
  return entries;
}

void FileSystemManager::visitLeafs(std::function<void(FileSystemEntry const&)> const& visitor) const {
  ensureLoaded();
  tree_->forEachListed([&](FileSystemNode const& node) { visitor(makeEntry(node)); });
}

void FileSystemManager::visitEntries(std::function<void(FileSystemEntry const&)> const& visitor) const {
  ensureLoaded();
  tree_->forEachNode([&](FileSystemNode const& node) { visitor(makeEntry(node)); });
}

std::u16string FileSystemManager::getLinkTarget(FileSystemEntry const& entry) const {
  ensureLoaded();
  if (!entry.isLink()) throw FileSystemEntryMustBeLink(messages::kMustBeSymbolicLink);
  throwIfStale(entry);
  return entry.getContentName();
}

FileSystemEntry FileSystemManager::createFolder(std::u16string const& path) {
  FileSystemNode const node =
      makeFolderNode(findFreePath(path), kUnknownPermissions, FileSystemEntry::getUnknownTime());
  tree_->addNode(node);
  markAsDirty();
  return makeEntry(node);
}

FileSystemEntry FileSystemManager::createLink(std::u16string const& path, std::u16string const& target) {
  std::u16string const normal = findFreePath(path);
  std::u16string const converted = paths::convertSeparators(target);
  throwIfNotCarriable(converted);
  if (converted.empty()) throw InvalidEntryName(messages::withPath(messages::kLinkWithoutTarget, normal));
  return createLinkInternal(normal, converted);
}

FileSystemEntry FileSystemManager::createFile(std::u16string const& path, model::ContentType const& type,
                                              Perms::Perms_tag permissions, boost::posix_time::ptime const& time) {
  return createFileInternal(findFreePath(path), type, permissions, time).first;
}

// Manifests of other makers may have entries below a file or link; these go with it.
void FileSystemManager::deleteFile(FileSystemEntry const& entry) {
  if (!entry.isFile()) throw FileSystemEntryMustBeFile(messages::kMustBeFile);
  throwIfStale(entry);
  removeWithDescendants(entry.getPathName());
}

void FileSystemManager::deleteLink(FileSystemEntry const& entry) {
  if (!entry.isLink()) throw FileSystemEntryMustBeLink(messages::kMustBeLink);
  throwIfStale(entry);
  removeWithDescendants(entry.getPathName());
}

void FileSystemManager::deleteFolder(FileSystemEntry const& entry) {
  if (!entry.isFolder()) throw FileSystemEntryMustBeFolder(messages::kMustBeFolder);
  throwIfStale(entry);
  removeWithDescendants(entry.getPathName());
}

FileSystemEntry FileSystemManager::moveEntry(FileSystemEntry const& entry, std::u16string const& path) {
  throwIfStale(entry);
  std::u16string const from = entry.getPathName();
  std::u16string const to = findFreePath(path);
  if (from == kRootPath || isBelowPath(to, from))
    throw CannotMoveIntoItself(messages::withPath(messages::kMoveIntoItself, to));
  if (to.size() + tree_->longestPath(from) - from.size() > kMaximumNameUnits)
    throw InvalidEntryName(messages::withPath(messages::kMoveTooDeep, to));
  tree_->moveSubtree(from, to);
  markAsDirty();
  return makeEntry(tree_->getNode(to));
}

FileSystemEntry FileSystemManager::setPermissionsAndTime(FileSystemEntry const& entry, Perms::Perms_tag permissions,
                                                         boost::posix_time::ptime const& time) {
  throwIfStale(entry);
  std::u16string const path = entry.getPathName();
  FileSystemNode node(tree_->getNode(path).type, path, entry.getContentName(), permissions, time);
  node.deflatedFrom = tree_->deflatedFrom(path);
  tree_->updateNode(node);
  markAsDirty();
  return makeEntry(tree_->getNode(path));
}

std::unique_ptr<OutputStream> FileSystemManager::getFileOutputStream(FileSystemEntry const& entry) {
  model::Part const part = getContentPart(entry);
  std::u16string const path = entry.getPathName();
  if (tree_->deflatedFrom(path).value_or(kUnknownSize) != kUnknownSize) {
    tree_->setDeflatedFrom(path, kUnknownSize);
    markAsDirty();
  }
  return (contentParts().isShared(entry.getContentName()) ? separate(entry, part) : part).getOutputStream();
}

/// Gives the file a copy of the part that it shares with others, so that only its own contents are replaced.
model::Part FileSystemManager::separate(FileSystemEntry const& entry, model::Part const& shared) {
  std::u16string const path = entry.getPathName(), name = makeUniquePartName(path);
  model::ContentType const type = shared.getContentType();
  auto const input = shared.getInputStream();
  model::Part copy =
      getPackage().createPart(model::PartName(name), type, model::StandardPartInfo(compressionFor(type)));
  auto const output = copy.getOutputStream();
  StreamHelper::copyStreamToStream(*input, *output);
  output->close();
  FileSystemNode node = tree_->getNode(path);
  contentParts().release(node.content);
  node.content = name;
  tree_->updateNode(node);
  markAsDirty();
  return copy;
}

void FileSystemManager::throwIfAlreadyExists(std::u16string const& path) const {
  ensureLoaded();
  if (tree_->hasNode(path)) throw FileSystemEntryAlreadyExists(messages::withPath(messages::kAlreadyExists, path));
}

void FileSystemManager::throwIfNotFound(std::u16string const& path) const {
  ensureLoaded();
  if (!tree_->hasNode(path)) throw FileSystemEntryNotFound(messages::withPath(messages::kDoesNotExist, path));
}

FileSystemEntry FileSystemManager::makeEntry(FileSystemNode const& node) const { return FileSystemEntry(node); }

std::u16string FileSystemManager::findPath(std::u16string const& path) const {
  ensureLoaded();
  std::u16string converted = paths::convertSeparators(path);
  throwIfNotFound(converted);
  return converted;
}

std::u16string FileSystemManager::findFreePath(std::u16string const& path) const {
  ensureLoaded();
  std::u16string const normal = paths::normalizePath(path);
  std::u16string absolute(paths::withoutRepeatedLeadingSlashes(normal));
  throwIfNotCarriable(absolute);
  throwIfAlreadyExists(absolute);
  throwIfBelowNoFolder(absolute);
  return absolute;
}

/// Such an entry could exist on no disk.
void FileSystemManager::throwIfBelowNoFolder(std::u16string const& path) const {
  if (!tree_->hasOnlyFoldersAbove(path)) throw FileSystemEntryMustBeFolder(messages::kMustBeFolder);
}

/// Whether nothing has changed since the entry was read.
bool FileSystemManager::isCurrent(FileSystemEntry const& entry) const {
  return entry.node().revision == tree_->revision();
}

void FileSystemManager::throwIfStale(FileSystemEntry const& entry) const {
  if (isCurrent(entry)) return;
  std::u16string const path = entry.getPathName();
  if (!tree_->holds(path, typeOf(entry), entry.getContentName()))
    throw FileSystemEntryNotFound(messages::withPath(messages::kDoesNotExist, path));
}

bool FileSystemManager::hasParentInternal(std::u16string const& path) const { return tree_->hasParent(path); }

FileSystemEntry FileSystemManager::getParentInternal(std::u16string const& path) const {
  if (!hasParentInternal(path)) throw FileSystemEntryHasNoParent(messages::kHasNoParent);
  return makeEntry(tree_->getParentNode(path));
}

bool FileSystemManager::hasChildrenInternal(std::u16string const& path) const { return tree_->hasChildren(path); }

std::vector<FileSystemEntry> FileSystemManager::getChildrenInternal(std::u16string const& path) const {
  std::vector<FileSystemEntry> entries;
  for (FileSystemNode const& node : tree_->getChildNodes(path)) entries.push_back(makeEntry(node));
  return entries;
}

// The part comes first: where the package refuses it, no entry is left behind.
std::pair<FileSystemEntry, model::Part> FileSystemManager::createFileInternal(std::u16string const& path,
                                                                              model::ContentType const& type,
                                                                              Perms::Perms_tag permissions,
                                                                              boost::posix_time::ptime const& time) {
  model::Part part = createContentPart(path, type);
  FileSystemNode node = makeFileNode(path, part.getName().toString(), permissions, time);
  if (isMarkedCompressed(type)) node.deflatedFrom = kUnknownSize;
  tree_->addNode(node);
  markAsDirty();
  return {makeEntry(node), std::move(part)};
}

model::Part FileSystemManager::createContentPart(std::u16string const& path, model::ContentType const& type) const {
  return getPackage().createPart(model::PartName(makeUniquePartName(path)), type,
                                 model::StandardPartInfo(compressionFor(type)));
}

FileSystemEntry FileSystemManager::createLinkInternal(std::u16string const& path, std::u16string const& target) {
  FileSystemNode const node = makeLinkNode(path, target, kUnknownPermissions, FileSystemEntry::getUnknownTime());
  tree_->addNode(node);
  markAsDirty();
  return makeEntry(node);
}

void FileSystemManager::removeWithDescendants(std::u16string const& path) {
  ContentParts& parts = contentParts();  // made while the tree is whole
  tree_->removeSubtree(path, [&](FileSystemNodeType type, std::u16string const& content) {
    markAsDirty();
    if (type == FileSystemNodeType::File && parts.release(content)) getPackage().deletePart(model::PartName(content));
  });
}

}  // namespace opc::ztservices
