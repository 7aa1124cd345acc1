// SPDX-License-Identifier: Apache-2.0
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "opc/Strings.hpp"
#include "opc/ztservices/Exceptions.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "package/Messages.hpp"
#include "package/Watching.hpp"
#include "services/tree/EncryptedContent.hpp"
#include "services/tree/ExtractionCheck.hpp"
#include "services/tree/ExtractionQueue.hpp"
#include "services/tree/FileSystemTree.hpp"
#include "services/tree/Messages.hpp"

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

[[noreturn]] void throwBelowFile(std::u16string const& path) {
  throw UnsafeEntryPath(messages::withPath(messages::kPathBelowFile, path));
}

/// Passes on as many bytes as a file may have in memory.
class LimitedOutput final : public OutputStream {
 public:
  LimitedOutput(OutputStream& inner, std::u16string const& path, std::uint64_t most)
      : inner_(inner), path_(path), most_(most) {}

  [[noreturn]] void refuse(std::uint64_t size) const {
    throw Exception(model::detail::messages::tooLongForMemory(path_, size, most_));
  }
  void write(void const* data, std::size_t count) override {
    size_ += count;
    if (size_ > most_) refuse(size_);
    inner_.write(data, count);
  }
  void close() override {}

 private:
  OutputStream& inner_;
  std::u16string const& path_;
  std::uint64_t most_, size_ = 0;
};

}  // namespace

/// One call of an extracting operation.
class FileSystemManager::Extraction {
 public:
  Extraction(FileSystemManager& manager, std::u16string const& root, RestoreMode restoreMode,
             TransformMode transformMode)
      : manager_(manager),
        disk_(*manager.destination_),
        root_(root),
        restoreMode_(restoreMode),
        transformMode_(transformMode),
        threads_(manager.extractionThreads_ > 0 && manager.getPackage().isReadOnly() ? manager.extractionThreads_ : 0),
        watching_(manager.getPackage()) {}

  std::u16string const& root() const { return root_; }
  ExtractionQueue::Rules rules() const;
  /// Counts an entry of those to be extracted, before the first is.
  void expect(FileSystemEntry const& entry);
  void begin();
  /// After the last entry.
  void end();
  /// The step for an entry, with its transfer where the queue takes it ahead of its turn and `check` has no objection.
  /// Whatever fails here is done, and fails, in its turn.
  ExtractionQueue::Step begin(FileSystemEntry const& entry, ExtractionQueue const& queue,
                              EntryVisitor const& check = {});
  /// Ends a step in its turn.
  void finish(ExtractionQueue::Step& step);

 private:
  void complete(ExtractionQueue::Step& step);
  FileTransfer transferOf(FileSystemEntry const& entry, FileContent content, std::u16string path);
  FileContent contentOf(FileSystemEntry const& entry) const;
  void extract(FileSystemEntry const& entry);
  void extractFile(FileSystemEntry const& entry);
  void extractFolder(FileSystemEntry const& entry);
  void extractLink(FileSystemEntry const& entry);
  std::u16string ensureParentExists(std::u16string const& path);

  FileSystemManager& manager_;
  FileSystemOps& disk_;
  std::u16string const& root_;
  RestoreMode restoreMode_;
  TransformMode transformMode_;
  std::size_t threads_;  // none for a package that may change: its contents are read on one thread
  model::Watching watching_;
  std::uint64_t files_ = 0, bytes_ = 0;  // that the watch expects
  std::u16string parent_{};              // the last folder that exists for certain; consecutive entries often share it
};

void FileSystemManager::setExtractionThreads(std::size_t count) { extractionThreads_ = count; }

void FileSystemManager::extractAll(std::u16string const& destinationRoot, RestoreMode restoreMode,
                                   TransformMode transformMode) {
  ensureLoaded();
  selectDestination(destinationRoot);
  Extraction extraction(*this, destinationRoot, restoreMode, transformMode);
  extractEach(extraction, [this](EntryVisitor const& visit) { visitLeafs(visit); });
}

void FileSystemManager::extractEntries(std::u16string const& destinationRoot,
                                       std::vector<FileSystemEntry> const& entries, RestoreMode restoreMode,
                                       TransformMode transformMode) {
  ensureLoaded();
  for (FileSystemEntry const& entry : entries) throwIfStale(entry);
  selectDestination(destinationRoot);
  Extraction extraction(*this, destinationRoot, restoreMode, transformMode);
  extractEach(extraction, [&](EntryVisitor const& visit) {
    for (FileSystemEntry const& entry : entries) visit(entry);
  });
}

// All entries are checked before anything is made.
void FileSystemManager::extractEach(Extraction& extraction, std::function<void(EntryVisitor const&)> const& visitAll) {
  ExtractionCheck check(*destination_, extraction.root());
  visitAll([&](FileSystemEntry const& entry) { check.note(entry, *tree_); });
  visitAll([&](FileSystemEntry const& entry) {
    check.check(entry);
    extraction.expect(entry);
  });
  extraction.begin();
  ensureDestinationRootExists(extraction.root());
  std::optional<std::u16string> belowFile;
  ExtractionQueue queue(extraction.rules(), [&](ExtractionQueue::Step& step) { extraction.finish(step); });
  visitAll([&](FileSystemEntry const& entry) {
    if (!check.isBelowFile(entry))
      queue.add(extraction.begin(entry, queue));
    else if (!belowFile)
      belowFile = entry.getPathName();
  });
  queue.finish();
  extraction.end();
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
    } catch (Cancelled const&) {
      throw;
    } catch (...) {
      onFault(entry, std::current_exception());
      return false;
    }
  };
  std::vector<FileSystemEntry> accepted;
  for (FileSystemEntry const& entry : entries)
    if (attempt(entry, [&] { check.note(entry, *tree_); })) accepted.push_back(entry);
  ensureDestinationRootExists(destinationRoot);
  Extraction extraction(*this, destinationRoot, restoreMode, transformMode);
  for (FileSystemEntry const& entry : accepted) extraction.expect(entry);
  extraction.begin();
  auto const checkEntry = [&](FileSystemEntry const& entry) {
    check.check(entry);
    if (check.isBelowFile(entry)) throwBelowFile(entry.getPathName());
  };
  ExtractionQueue queue(extraction.rules(), [&](ExtractionQueue::Step& step) {
    attempt(step.entry, [&] {
      if (!step.transfer && !step.failure) checkEntry(step.entry);
      extraction.finish(step);
    });
  });
  for (FileSystemEntry const& entry : accepted) queue.add(extraction.begin(entry, queue, checkEntry));
  queue.finish();
  extraction.end();
}

void FileSystemManager::extractEntry(std::u16string const& destinationRoot, FileSystemEntry const& entry,
                                     RestoreMode restoreMode, TransformMode transformMode) {
  extractEntries(destinationRoot, {entry}, restoreMode, transformMode);
}

std::unique_ptr<IContentSource> FileSystemManager::getFileContentSource(FileSystemEntry const& entry,
                                                                        TransformMode transformMode) {
  return FileContent{getContent(entry), transformMode}.open(decryptor_);
}

std::vector<unsigned char> FileSystemManager::readFile(std::u16string const& path, std::uint64_t most) {
  auto const source = getFileContentSource(getEntry(path), TransformMode::Transform);
  std::vector<unsigned char> bytes;
  ByteArrayOutAdaptor all(bytes);
  LimitedOutput limited(all, path, most);
  if (std::uint64_t const size = getSize(getEntry(path)); size > most) limited.refuse(size);
  StreamHelper::copyStreamToStream(source->getInputStream(), limited);
  return bytes;
}

/// What is wrong with an entry is found in its turn, as without a monitor.
void FileSystemManager::Extraction::expect(FileSystemEntry const& entry) {
  Watch* const watch = watching_.own();
  if (!watch) return;
  watch->check();
  if (!entry.isFile()) return;
  ++files_;
  try {
    bytes_ += manager_.getSize(entry, transformMode_);
  } catch (std::exception const&) {
    return;
  }
}

void FileSystemManager::Extraction::begin() {
  Watch* const watch = watching_.own();
  if (!watch) return;
  watch->expect(files_, bytes_);
  watch->check();
}

void FileSystemManager::Extraction::end() {
  if (Watch* const watch = watching_.own()) watch->finish();
}

ExtractionQueue::Rules FileSystemManager::Extraction::rules() const {
  bool const restores = restoreMode_ == RestoreMode::TimeAndPermissions;
  return {threads_, restores && disk_.isThreadSafe(), manager_.decryptor_};
}

ExtractionQueue::Step FileSystemManager::Extraction::begin(FileSystemEntry const& entry, ExtractionQueue const& queue,
                                                           EntryVisitor const& check) {
  ExtractionQueue::Step step{entry};
  if (threads_ == 0 || !entry.isFile()) return step;
  try {
    if (check) check(entry);
    FileContent content = contentOf(entry);
    step.size = content.content.part.getSize();
    if (queue.takesAhead(step.size))
      step.transfer = std::make_unique<FileTransfer>(
          transferOf(entry, std::move(content), ensureParentExists(entry.getPathName())));
  } catch (...) {
    step.transfer.reset();
  }
  return step;
}

void FileSystemManager::Extraction::finish(ExtractionQueue::Step& step) {
  Watch* const watch = watching_.current();
  if (watch) watch->check();
  complete(step);
  if (watch && step.entry.isFile()) watch->addFile();
}

/// A file that was written ahead may find that another one has its name; then it is refused as one that is begun now.
void FileSystemManager::Extraction::complete(ExtractionQueue::Step& step) {
  if (step.failure) std::rethrow_exception(step.failure);
  if (!step.transfer) return extract(step.entry);
  if (!step.isWritten) step.transfer->write();
  try {
    step.transfer->commit();
  } catch (std::exception const&) {
    if (!step.isWritten) throw;
    step.transfer.reset();
    extract(step.entry);
  }
}

FileTransfer FileSystemManager::Extraction::transferOf(FileSystemEntry const& entry, FileContent content,
                                                       std::u16string path) {
  return {std::move(content), disk_, std::move(path), entry, restoreMode_, watching_.current()};
}

FileContent FileSystemManager::Extraction::contentOf(FileSystemEntry const& entry) const {
  return {manager_.getContent(entry), transformMode_};
}

void FileSystemManager::Extraction::extract(FileSystemEntry const& entry) {
  if (entry.isFolder())
    extractFolder(entry);
  else if (entry.isFile())
    extractFile(entry);
  else
    extractLink(entry);
}

// Opens the content before it creates the file: content that cannot be read or does not authenticate leaves an existing
// file unchanged.
void FileSystemManager::Extraction::extractFile(FileSystemEntry const& entry) {
  std::u16string path = ensureParentExists(entry.getPathName());
  FileTransfer transfer = transferOf(entry, contentOf(entry), std::move(path));
  transfer.open(manager_.decryptor_, threads_);
  transfer.write();
  transfer.commit();
}

/// Accepts an existing folder. Where a file has the path, the disk refuses the folder.
void FileSystemManager::Extraction::extractFolder(FileSystemEntry const& entry) {
  std::u16string const path = ensureParentExists(entry.getPathName());
  error_code error;
  bool const exists = disk_.exists(path, error);
  if (!error && (!exists || disk_.isFile(path))) disk_.createFolder(path, error);
  if (error)
    throw CouldNotCreateFolder(messages::withPathAndError(messages::kCouldNotCreateFolder, path, error), error);
}

/// An absolute target points into the destination tree.
void FileSystemManager::Extraction::extractLink(FileSystemEntry const& entry) {
  std::u16string const path = ensureParentExists(entry.getPathName());
  std::u16string target = manager_.getLinkTarget(entry);
  if (target.starts_with(u'/')) target = disk_.appendPath(root_, target);
  error_code error;
  disk_.createSymlink(target, path, error);
  if (error) throw CouldNotCreateLink(messages::withPathAndError(messages::kCouldNotCreateLink, path, error), error);
}

std::u16string FileSystemManager::Extraction::ensureParentExists(std::u16string const& path) {
  std::u16string destination = disk_.appendPath(root_, path);
  std::u16string parent = disk_.getParentPath(destination);
  if (parent == parent_) return destination;
  if (error_code const error = makeFolders(disk_, parent))
    throw CouldNotCreateDestinationParent(messages::withError(messages::kCouldNotCreateParent, error), error);
  parent_ = std::move(parent);
  return destination;
}

void FileSystemManager::ensureDestinationRootExists(std::u16string const& root) const {
  if (error_code const error = makeFolders(*destination_, root))
    throw CouldNotCreateDestinationRoot(messages::withError(messages::kCouldNotCreateRoot, error), error);
}

void FileSystemManager::selectDestination(std::u16string const& path) {
  if (selector_) destination_ = &selector_->getForPath(path);
}

}  // namespace opc::ztservices
