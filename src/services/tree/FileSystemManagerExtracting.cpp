// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <exception>
#include <functional>
#include <ios>
#include <iterator>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "opc/SafePaths.hpp"
#include "opc/Strings.hpp"
#include "opc/ztservices/Exceptions.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "services/tree/EncryptedContent.hpp"
#include "services/tree/FileSystemTree.hpp"
#include "services/tree/Messages.hpp"
#include "services/tree/PathRules.hpp"

namespace opc::ztservices {
namespace {

using boost::system::error_code;

/// Makes the folder and its ancestors unless something has the path.
error_code makeFolders(FileSystemOps& ops, std::u16string const& path) {
  error_code error;
  bool const exists = ops.exists(path, error);
  if (!error && !exists) ops.createFolders(path, error);
  return error;
}

/// Throws what commit() reports, by the step that failed.
[[noreturn]] void throwCouldNotWrite(std::u16string const& path, FileOutputStream const& file, error_code error) {
  if (!error) error = make_error_code(boost::system::errc::io_error);
  switch (file.getFailedStep()) {
    case FileOutputStream::Step::Time:
      throw CouldNotSetLastModifiedTime(messages::withPathAndError(messages::kCouldNotSetTime, path, error), error);
    case FileOutputStream::Step::Permissions:
      throw CouldNotSetPermissions(messages::withPathAndError(messages::kCouldNotSetPermissions, path, error), error);
    default:
      throw CouldNotWriteFile(messages::withPathAndError(messages::kCouldNotWriteFile, path, error), error);
  }
}

/// Exceptions of the input pass unchanged; those of the output carry the code that commit() reports.
void writeFile(InputStream& from, FileOutputStream& to, std::u16string const& path) {
  error_code error;
  try {
    StdOStreamAdaptor adaptor(to);
    StreamHelper::copyStreamToStream(from, adaptor);
    adaptor.close();
  } catch (std::exception const&) {
    if (!to.fail()) throw;
    to.commit(error);
    throwCouldNotWrite(path, to, error);
  }
  to.commit(error);
  if (error) throwCouldNotWrite(path, to, error);
}

/// The stream sets time and permissions where the entry has them and they are to be restored.
std::unique_ptr<FileOutputStream> createDestination(FileSystemOps& ops, std::u16string const& path,
                                                    FileSystemEntry const& entry, RestoreMode restoreMode) {
  constexpr auto kMode = std::ios::out | std::ios::binary;
  error_code error;
  auto file = restoreMode == RestoreMode::TimeAndPermissions
                  ? ops.createForRestoring(path, entry.getPermissions(), entry.getLastModifiedTime(), error)
                  : ops.createOutputStream(path, kMode, error);
  if (error || !file) throw CouldNotCreateFile(messages::withPath(messages::kCouldNotCreateFile, path));
  return file;
}

[[noreturn]] void throwUnsafe(std::u16string const& path) {
  throw UnsafeEntryPath(messages::withPath(messages::kUnsafePath, path));
}

[[noreturn]] void throwBelowFile(std::u16string const& path) {
  throw UnsafeEntryPath(messages::withPath(messages::kPathBelowFile, path));
}

/// Refuses (UnsafeEntryPath), before anything is made, every entry that would be written outside the destination root:
/// through a ".." segment, through a link that is extracted too, or through a link that the disk has below the root.
/// The root itself may be reached through links.
class ExtractionCheck {
 public:
  ExtractionCheck(FileSystemOps& disk, std::u16string const& root) : disk_(disk), root_(root) {}

  /// Every entry to be extracted is noted before the first is checked. `tree` says what lies below a file.
  void note(FileSystemEntry const& entry, FileSystemTree const& tree);
  void check(FileSystemEntry const& entry);
  /// Below an entry that is extracted as a file.
  bool isBelowFile(FileSystemEntry const& entry) const;

 private:
  void checkParent(std::u16string const& path, std::u16string_view parent);
  void throwIfLink(std::u16string const& path, std::u16string_view place) const;

  FileSystemOps& disk_;
  std::u16string const& root_;
  std::set<std::u16string, PathLess> links_;  // collapsed, none below another
  std::set<std::u16string, PathLess> files_;  // collapsed, none below another: those with entries below them
  std::u16string checkedParent_;              // collapsed; the root at first
};

/// Adds a place to places of which none lies below another. False where it is one of them.
bool addPlace(std::set<std::u16string, PathLess>& places, std::u16string const& place) {
  auto const next = places.lower_bound(place);
  if (next != places.end() && *next == place) return false;
  if (next != places.begin() && isBelowPath(place, *std::prev(next))) return true;
  auto last = next;
  while (last != places.end() && isBelowPath(*last, place)) ++last;
  places.erase(next, last);
  places.insert(place);
  return true;
}

/// Only the place in front of a path can be above it, since no place lies below another.
bool isBelowAny(std::set<std::u16string, PathLess> const& places, std::u16string const& path) {
  auto const next = places.lower_bound(path);
  return next != places.begin() && isBelowPath(path, *std::prev(next));
}

void ExtractionCheck::note(FileSystemEntry const& entry, FileSystemTree const& tree) {
  std::u16string const path = entry.getPathName();
  if (findPathFault(path) == PathFault::LeadsUpwards) throwUnsafe(path);
  if (entry.isLink() && !addPlace(links_, paths::collapse(path))) throwUnsafe(path);
  if (entry.isFile() && tree.hasChildren(path)) addPlace(files_, paths::collapse(path));
}

void ExtractionCheck::check(FileSystemEntry const& entry) {
  std::u16string const path = entry.getPathName();
  std::u16string const place = paths::collapse(path);
  if (place.empty()) return;
  if (isBelowAny(links_, place) || (!entry.isLink() && links_.contains(place))) throwUnsafe(path);
  std::u16string_view const parent = std::u16string_view(place).substr(0, place.rfind(u'/'));
  if (parent != checkedParent_) checkParent(path, parent);
}

bool ExtractionCheck::isBelowFile(FileSystemEntry const& entry) const {
  return !files_.empty() && isBelowAny(files_, paths::collapse(entry.getPathName()));
}

/// Skips the folders that the path shares with the one checked last.
void ExtractionCheck::checkParent(std::u16string const& path, std::u16string_view parent) {
  bool const goesOn = checkedParent_.empty() || isBelowPath(parent, checkedParent_);
  std::size_t end = goesOn ? checkedParent_.size() : 0;
  checkedParent_.clear();  // nothing counts as checked if the disk throws
  while (end < parent.size()) {
    end = std::min(parent.find(u'/', end + 1), parent.size());
    throwIfLink(path, parent.substr(0, end));
  }
  checkedParent_ = parent;
}

void ExtractionCheck::throwIfLink(std::u16string const& path, std::u16string_view place) const {
  if (disk_.isSymlink(disk_.appendPath(root_, std::u16string(place)))) throwUnsafe(path);
}

}  // namespace

struct FileSystemManager::Extraction {
  std::u16string const& root;
  RestoreMode restoreMode;
  TransformMode transformMode;
  std::u16string parent{};  // the last folder that exists for certain; consecutive entries often share it
};

void FileSystemManager::extractAll(std::u16string const& destinationRoot, RestoreMode restoreMode,
                                   TransformMode transformMode) {
  ensureLoaded();
  selectDestination(destinationRoot);
  Extraction extraction{destinationRoot, restoreMode, transformMode};
  extractEach(extraction, [this](EntryVisitor const& visit) { visitLeafs(visit); });
}

void FileSystemManager::extractEntries(std::u16string const& destinationRoot,
                                       std::vector<FileSystemEntry> const& entries, RestoreMode restoreMode,
                                       TransformMode transformMode) {
  ensureLoaded();
  for (FileSystemEntry const& entry : entries) throwIfStale(entry);
  selectDestination(destinationRoot);
  Extraction extraction{destinationRoot, restoreMode, transformMode};
  extractEach(extraction, [&](EntryVisitor const& visit) {
    for (FileSystemEntry const& entry : entries) visit(entry);
  });
}

// All entries are checked before anything is made.
void FileSystemManager::extractEach(Extraction& extraction, std::function<void(EntryVisitor const&)> const& visitAll) {
  ExtractionCheck check(*destination_, extraction.root);
  visitAll([&](FileSystemEntry const& entry) { check.note(entry, *tree_); });
  visitAll([&](FileSystemEntry const& entry) { check.check(entry); });
  ensureDestinationRootExists(extraction.root);
  std::optional<std::u16string> belowFile;
  visitAll([&](FileSystemEntry const& entry) {
    if (!check.isBelowFile(entry))
      extractEntryInternal(extraction, entry);
    else if (!belowFile)
      belowFile = entry.getPathName();
  });
  if (belowFile) throwBelowFile(*belowFile);
}

// All links are noted before the first entry is checked, so that no entry is written through a link that comes later.
void FileSystemManager::extractEntries(std::u16string const& destinationRoot,
                                       std::vector<FileSystemEntry> const& entries, RestoreMode restoreMode,
                                       TransformMode transformMode, ExtractionFaultHandler const& onFault) {
  ensureLoaded();
  for (FileSystemEntry const& entry : entries) throwIfStale(entry);
  selectDestination(destinationRoot);
  ExtractionCheck check(*destination_, destinationRoot);
  auto const attempt = [&](FileSystemEntry const& entry, auto const& call) {
    try {
      call();
      return true;
    } catch (...) {
      onFault(entry, std::current_exception());
      return false;
    }
  };
  std::vector<FileSystemEntry> accepted;
  for (FileSystemEntry const& entry : entries)
    if (attempt(entry, [&] { check.note(entry, *tree_); })) accepted.push_back(entry);
  ensureDestinationRootExists(destinationRoot);
  Extraction extraction{destinationRoot, restoreMode, transformMode};
  for (FileSystemEntry const& entry : accepted)
    attempt(entry, [&] {
      check.check(entry);
      if (check.isBelowFile(entry)) throwBelowFile(entry.getPathName());
      extractEntryInternal(extraction, entry);
    });
}

void FileSystemManager::extractEntry(std::u16string const& destinationRoot, FileSystemEntry const& entry,
                                     RestoreMode restoreMode, TransformMode transformMode) {
  extractEntries(destinationRoot, {entry}, restoreMode, transformMode);
}

std::unique_ptr<IContentSource> FileSystemManager::getFileContentSource(FileSystemEntry const& entry,
                                                                        TransformMode transformMode) {
  model::Part const part = getContentPart(entry);
  if (transformMode != TransformMode::Transform) return std::make_unique<PartContentSource>(part);
  return decrypted(part, decryptor_, messages::kContentIsEncrypted);
}

void FileSystemManager::extractEntryInternal(Extraction& extraction, FileSystemEntry const& entry) {
  if (entry.isFolder())
    extractFolderInternal(extraction, entry);
  else if (entry.isFile())
    extractFileInternal(extraction, entry);
  else
    extractLinkInternal(extraction, entry);
}

// Opens the content first: content that cannot be read or does not authenticate leaves an existing file unchanged.
void FileSystemManager::extractFileInternal(Extraction& extraction, FileSystemEntry const& entry) {
  std::u16string const path = ensureDestinationParentExists(extraction, entry.getPathName());
  std::unique_ptr<IContentSource> const source = getFileContentSource(entry, extraction.transformMode);
  InputStream& content = source->getInputStream();
  writeFile(content, *createDestination(*destination_, path, entry, extraction.restoreMode), path);
}

/// Accepts an existing folder. Where a file has the path, the disk refuses the folder.
void FileSystemManager::extractFolderInternal(Extraction& extraction, FileSystemEntry const& entry) {
  std::u16string const path = ensureDestinationParentExists(extraction, entry.getPathName());
  error_code error;
  bool const exists = destination_->exists(path, error);
  if (!error && (!exists || destination_->isFile(path))) destination_->createFolder(path, error);
  if (error)
    throw CouldNotCreateFolder(messages::withPathAndError(messages::kCouldNotCreateFolder, path, error), error);
}

/// An absolute target points into the destination tree.
void FileSystemManager::extractLinkInternal(Extraction& extraction, FileSystemEntry const& entry) {
  std::u16string const path = ensureDestinationParentExists(extraction, entry.getPathName());
  std::u16string target = getLinkTarget(entry);
  if (target.starts_with(u'/')) target = destination_->appendPath(extraction.root, target);
  error_code error;
  destination_->createSymlink(target, path, error);
  if (error) throw CouldNotCreateLink(messages::withPathAndError(messages::kCouldNotCreateLink, path, error), error);
}

void FileSystemManager::ensureDestinationRootExists(std::u16string const& root) const {
  if (error_code const error = makeFolders(*destination_, root))
    throw CouldNotCreateDestinationRoot(messages::withError(messages::kCouldNotCreateRoot, error), error);
}

std::u16string FileSystemManager::ensureDestinationParentExists(Extraction& extraction,
                                                                std::u16string const& path) const {
  std::u16string destination = destination_->appendPath(extraction.root, path);
  std::u16string parent = destination_->getParentPath(destination);
  if (parent == extraction.parent) return destination;
  if (error_code const error = makeFolders(*destination_, parent))
    throw CouldNotCreateDestinationParent(messages::withError(messages::kCouldNotCreateParent, error), error);
  extraction.parent = std::move(parent);
  return destination;
}

void FileSystemManager::selectDestination(std::u16string const& path) {
  if (selector_) destination_ = &selector_->getForPath(path);
}

}  // namespace opc::ztservices
