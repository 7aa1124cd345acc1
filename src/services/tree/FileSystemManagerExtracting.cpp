// SPDX-License-Identifier: Apache-2.0
#include <boost/system/error_code.hpp>

#include "opc/ztservices/FileSystem.hpp"
#include "services/tree/EncryptedContent.hpp"
#include "services/tree/ExtractionCheck.hpp"
#include "services/tree/FileSystemTree.hpp"
#include "services/tree/Messages.hpp"

namespace opc::ztservices {
namespace {

using boost::system::error_code;

/// Makes the folder and its ancestors where nothing is there yet.
error_code makeFolders(FileSystemOps& ops, std::u16string const& path) {
  error_code error;
  bool const exists = ops.exists(path, error);
  if (!error && !exists) ops.createFolders(path, error);
  return error;
}

[[noreturn]] void throwCouldNotWrite(std::u16string const& path, error_code error) {
  if (!error) error = make_error_code(boost::system::errc::io_error);
  throw CouldNotWriteFile(messages::withPathAndError(messages::kCouldNotWriteFile, path, error), error);
}

/// Faults of the reading side pass as they are; those of the file carry the code that commit() tells.
void writeFile(InputStream& from, FileOutputStream& to, std::u16string const& path) {
  error_code error;
  try {
    StdOStreamAdaptor adaptor(to);
    StreamHelper::copyStreamToStream(from, adaptor);
    adaptor.close();
  } catch (std::exception const&) {
    if (!to.fail()) throw;
    to.commit(error);
    throwCouldNotWrite(path, error);
  }
  to.commit(error);
  if (error) throwCouldNotWrite(path, error);
}

/// The time comes first: permissions without write access may keep the disk from setting it.
void restore(FileSystemOps& ops, std::u16string const& path, FileSystemEntry const& entry) {
  error_code error;
  if (boost::posix_time::ptime const time = entry.getLastModifiedTime(); !time.is_not_a_date_time())
    ops.setLastModifiedTime(path, time, error);
  if (error)
    throw CouldNotSetLastModifiedTime(messages::withPathAndError(messages::kCouldNotSetTime, path, error), error);
  if (Perms::Perms_tag const permissions = entry.getPermissions();
      permissions != FileSystemEntry::getUnknownPermissions())
    ops.setPermissions(path, permissions, error);
  if (error)
    throw CouldNotSetPermissions(messages::withPathAndError(messages::kCouldNotSetPermissions, path, error), error);
}

/// `forEachEntry` tells path and whether it is a link.
template <typename ForEachEntry>
void checkEach(FileSystemOps& disk, std::u16string const& root, ForEachEntry const& forEachEntry) {
  ExtractionCheck check(disk, root);
  forEachEntry([&](std::u16string const& path, bool isLink) { check.note(path, isLink); });
  forEachEntry([&](std::u16string const& path, bool isLink) { check.check(path, isLink); });
}

}  // namespace

void FileSystemManager::extractAll(std::u16string const& destinationRoot, RestoreMode restoreMode,
                                   TransformMode transformMode) {
  ensureLoaded();
  selectDestination(destinationRoot);
  checkEach(*destination_, destinationRoot, [this](auto const& visit) {
    tree_->forEachLeaf(
        [&](FileSystemNode const& node) { visit(node.fullPath(), node.type == FileSystemNodeType::Link); });
  });
  ensureDestinationRootExists(destinationRoot);
  tree_->forEachLeaf([&](FileSystemNode const& node) {
    extractEntryInternal(destinationRoot, makeEntry(node), restoreMode, transformMode);
  });
}

void FileSystemManager::extractEntries(std::u16string const& destinationRoot,
                                       std::vector<FileSystemEntry> const& entries, RestoreMode restoreMode,
                                       TransformMode transformMode) {
  ensureLoaded();
  for (FileSystemEntry const& entry : entries) throwIfStale(entry);
  selectDestination(destinationRoot);
  checkEach(*destination_, destinationRoot, [&](auto const& visit) {
    for (FileSystemEntry const& entry : entries) visit(entry.getPathName(), entry.isLink());
  });
  ensureDestinationRootExists(destinationRoot);
  for (FileSystemEntry const& entry : entries) extractEntryInternal(destinationRoot, entry, restoreMode, transformMode);
}

void FileSystemManager::extractEntry(std::u16string const& destinationRoot, FileSystemEntry const& entry,
                                     RestoreMode restoreMode, TransformMode transformMode) {
  extractEntries(destinationRoot, {entry}, restoreMode, transformMode);
}

std::unique_ptr<IContentSource> FileSystemManager::getFileContentSource(FileSystemEntry const& entry,
                                                                        TransformMode transformMode) {
  ensureLoaded();
  if (!entry.isFile()) throw FileSystemEntryMustBeFile(messages::kMustBeFile);
  throwIfStale(entry);
  model::Part const part = getPackage().getPart(model::PartName(entry.getContentName()));
  if (transformMode != TransformMode::Transform) return std::make_unique<PartContentSource>(part);
  return decrypted(part, getPackage().getMaximumWholePartBytes(), decryptor_, messages::kContentIsEncrypted);
}

void FileSystemManager::extractEntryInternal(std::u16string const& root, FileSystemEntry const& entry,
                                             RestoreMode restoreMode, TransformMode transformMode) {
  if (entry.isFolder())
    extractFolderInternal(root, entry);
  else if (entry.isFile())
    extractFileInternal(root, entry, restoreMode, transformMode);
  else
    extractLinkInternal(root, entry);
}

// Content that cannot be had, above all what does not authenticate, leaves a file of that name alone.
void FileSystemManager::extractFileInternal(std::u16string const& root, FileSystemEntry const& entry,
                                            RestoreMode restoreMode, TransformMode transformMode) {
  std::u16string const path = ensureDestinationParentExists(root, entry.getPathName());
  std::unique_ptr<IContentSource> const source = getFileContentSource(entry, transformMode);
  InputStream& content = source->getInputStream();
  error_code error;
  std::unique_ptr<FileOutputStream> file =
      destination_->createOutputStream(path, std::ios::out | std::ios::binary, error);
  if (error || !file) throw CouldNotCreateFile(messages::withPath(messages::kCouldNotCreateFile, path));

  writeFile(content, *file, path);
  file.reset();  // closed before its time is set
  if (restoreMode == RestoreMode::TimeAndPermissions) restore(*destination_, path, entry);
}

/// What is there already is accepted but for a file, with which the disk refuses to make the folder.
void FileSystemManager::extractFolderInternal(std::u16string const& root, FileSystemEntry const& entry) {
  std::u16string const path = ensureDestinationParentExists(root, entry.getPathName());
  error_code error;
  bool const exists = destination_->exists(path, error);
  if (!error && (!exists || destination_->isFile(path))) destination_->createFolder(path, error);
  if (error)
    throw CouldNotCreateFolder(messages::withPathAndError(messages::kCouldNotCreateFolder, path, error), error);
}

/// An absolute target points into the destination tree.
void FileSystemManager::extractLinkInternal(std::u16string const& root, FileSystemEntry const& entry) {
  std::u16string const path = ensureDestinationParentExists(root, entry.getPathName());
  std::u16string target = getLinkTarget(entry);
  if (target.starts_with(u'/')) target = destination_->appendPath(root, target);
  error_code error;
  destination_->createSymlink(target, path, error);
  if (error) throw CouldNotCreateLink(messages::withPathAndError(messages::kCouldNotCreateLink, path, error), error);
}

void FileSystemManager::ensureDestinationRootExists(std::u16string const& root) {
  destinationParent_.clear();
  if (error_code const error = makeFolders(*destination_, root))
    throw CouldNotCreateDestinationRoot(messages::withError(messages::kCouldNotCreateRoot, error), error);
}

/// Asks the disk once for all that follow each other in one folder.
std::u16string FileSystemManager::ensureDestinationParentExists(std::u16string const& root,
                                                                std::u16string const& path) {
  std::u16string destination = destination_->appendPath(root, path);
  std::u16string parent = destination_->getParentPath(destination);
  if (parent == destinationParent_) return destination;
  if (error_code const error = makeFolders(*destination_, parent))
    throw CouldNotCreateDestinationParent(messages::withError(messages::kCouldNotCreateParent, error), error);
  destinationParent_ = std::move(parent);
  return destination;
}

void FileSystemManager::selectDestination(std::u16string const& path) {
  if (selector_) destination_ = &selector_->getForPath(path);
}

}  // namespace opc::ztservices
