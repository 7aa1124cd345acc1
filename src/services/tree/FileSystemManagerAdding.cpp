// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "io/Watch.hpp"
#include "opc/Strings.hpp"
#include "opc/ztservices/ContentTypes.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "opc/ztservices/Transforms.hpp"
#include "package/Watching.hpp"
#include "services/tree/CompressedContent.hpp"
#include "services/tree/EncryptedContent.hpp"
#include "services/tree/FileSystemTree.hpp"
#include "services/tree/Messages.hpp"
#include "services/tree/PathRules.hpp"
#include "services/tree/WatchedSource.hpp"

namespace opc::ztservices {
namespace {

using boost::system::error_code;

void throwIfIncomplete(OpenedFile const& file) {
  if (file.permissionsError)
    throw CouldNotGetPermissions(messages::withError(messages::kCouldNotGetPermissions, file.permissionsError),
                                 file.permissionsError);
  if (file.timeError)
    throw CouldNotGetLastModifiedTime(messages::withError(messages::kCouldNotGetTime, file.timeError), file.timeError);
}

/// Reports a name on the disk that is not UTF-8 as a fault of the name of an entry.
template <typename Call>
auto withEntryNames(Call call) {
  try {
    return call();
  } catch (InvalidText const& notUTF8) {
    throw InvalidEntryName(notUTF8.what(), notUTF8.getErrorCode());
  }
}

/// The code of CouldNotGetSourceFilesAndLinks stays empty; its text names the cause.
std::vector<std::u16string> listFilesAndLinks(FileSystemOps& ops, std::u16string const& root) {
  std::vector<std::u16string> files;
  error_code error;
  withEntryNames([&] { ops.getFiles(root, files, true, error); });
  std::string const message = messages::withError(messages::kCouldNotList, error);
  if (error == boost::system::errc::illegal_byte_sequence) throw InvalidEntryName(message, error);
  if (error) throw CouldNotGetSourceFilesAndLinks(message);
  return files;
}

std::u16string readLinkTarget(FileSystemOps& ops, std::u16string const& path) {
  return withEntryNames([&] { return ops.getLinkTarget(path); });
}

/// Bytes that the caller keeps alive.
class BorrowedBytes final : public IContentSource, private InputStream {
 public:
  BorrowedBytes(std::span<unsigned char const> bytes, model::ContentType type)
      : bytes_(bytes), rest_(bytes), type_(std::move(type)) {}

  model::ContentType getContentType() override { return type_; }
  InputStream& getInputStream() override { return *this; }

 private:
  void reset() override { rest_ = bytes_; }
  void clear() override {}
  bool isEnd() override { return rest_.empty(); }
  std::size_t read(void* buffer, std::size_t count) override {
    count = std::min(count, rest_.size());
    std::copy_n(rest_.begin(), count, static_cast<unsigned char*>(buffer));
    rest_ = rest_.subspan(count);
    return count;
  }

  std::span<unsigned char const> bytes_, rest_;
  model::ContentType type_;
};

void expect(Watch& watch, FileSystemOps& ops, std::vector<std::u16string> const& files) {
  std::uint64_t count = 0, bytes = 0;
  for (std::u16string const& file : files) {
    watch.check();
    if (!ops.isFile(file)) continue;
    ++count;
    bytes += ops.getFileSize(file).value_or(0);
  }
  watch.expect(count, bytes);
}

void copyContent(IContentSource& source, model::Part const& part) {
  std::unique_ptr<OutputStream> const output = part.getOutputStream();
  StreamHelper::copyStreamToStream(source.getInputStream(), *output);
  output->close();
}

}  // namespace

FileSystemEntry FileSystemManager::addFile(std::u16string const& sourcePath, std::u16string const& path,
                                           TransformMode mode) {
  NewFile file{findFreePath(path), kUnknownPermissions, {}};
  model::Watching const watching(getPackage());
  auto source = openFromDisk(sourcePath, mode, LinkRule::Follow, file);
  if (Watch* const watch = watching.own()) watch->expect(1, file.size);
  return store(compressedIfWanted(std::move(source)), file, watching.own());
}

std::unique_ptr<IContentSource> FileSystemManager::openFromDisk(std::u16string const& sourcePath, TransformMode mode,
                                                                LinkRule rule, NewFile& added) {
  selectSource(sourcePath);
  model::Watching const watching(getPackage());
  static model::ContentType const otherwise = getTALBEXDefaultContentType();
  auto const type = lookupContentType(*source_, sourcePath, otherwise);
  OpenedFile file = source_->openForAdding(sourcePath);
  if (rule == LinkRule::Follow && file.openError == boost::system::errc::too_many_symbolic_link_levels)
    file = source_->FileSystemOps::openForAdding(sourcePath);
  if (isEncryptionEnabled() && file.size) throwIfTooLongToEncrypt(sourcePath, *file.size);
  std::unique_ptr<IContentSource> source =
      std::make_unique<FileContentSource>(sourcePath, type, std::move(file.content));
  throwIfIncomplete(file);
  if (Watch* const watch = watching.current()) source = std::make_unique<WatchedSource>(std::move(source), *watch);
  if (mode == TransformMode::Transform && source->getContentType() == getTextContentType())
    source = convertText(std::move(source), sourcePath);
  added.permissions = file.permissions;
  added.time = file.time;
  added.size = file.size.value_or(0);
  return source;
}

void FileSystemManager::setTextConversion(TextConversion conversion) {
  if (!conversion.charset.empty() && !TextContentSource::isKnownCharset(conversion.charset))
    throw UndecodableText("Unknown character set: " + conversion.charset);
  textConversion_ = std::move(conversion);
}

std::unique_ptr<IContentSource> FileSystemManager::convertText(std::unique_ptr<IContentSource> source,
                                                               std::u16string const& sourcePath) const {
  if (!textConversion_) return std::make_unique<UDEToUTF8Transform>(std::move(source));
  auto text = std::make_unique<TextContentSource>(std::move(source), textConversion_->charset);
  TextFinding const& finding = text->getFinding();
  if (textConversion_->report) textConversion_->report(sourcePath, finding);
  return text;
}

FileSystemEntry FileSystemManager::addFile(std::unique_ptr<IContentSource> source, std::u16string const& path,
                                           Perms::Perms_tag permissions, boost::posix_time::ptime const& time) {
  if (!source) throw Exception(messages::withPath(messages::kNoSource, path));
  return addFileInternal(std::move(source), findFreePath(path), permissions, time);
}

FileSystemEntry FileSystemManager::addFile(std::span<unsigned char const> bytes, std::u16string const& path,
                                           Perms::Perms_tag permissions, boost::posix_time::ptime const& time) {
  LocalFileSystemOps names;
  auto const type = lookupContentType(names, path, getTALBEXDefaultContentType());
  return addFileInternal(std::make_unique<BorrowedBytes>(bytes, type), findFreePath(path), permissions, time,
                         bytes.size());
}

void FileSystemManager::addAll(std::u16string const& sourceRoot, TransformMode mode) {
  ensureLoaded();
  std::u16string const root(paths::withoutTrailingSlashes(normalizeFileName(sourceRoot)));
  selectSource(root);
  FileSystemOps& ops = *source_;  // those of the root, while each file may be read through others
  model::Watching const watching(getPackage());
  std::vector<std::u16string> files = listFilesAndLinks(ops, root);
  for (std::u16string const& file : files) {
    std::u16string const path = u"/" + paths::makeRelativePath(root, file);
    throwIfNotCarriable(path);
    throwIfBelowNoFolder(path);
  }
  if (Watch* const watch = watching.own()) expect(*watch, ops, files);

  auto const queue = compressionQueue();
  try {
    for (std::u16string& listed : files) {
      std::u16string const file = std::move(listed);  // so that the list shrinks while the tree grows
      addListed(ops, root, file, mode, queue.get());
      if (Watch* const watch = watching.current()) watch->check();
    }
  } catch (...) {
    bool const isCancelled = watching.current() && watching.current()->isCancelled();
    if (queue && !isCancelled) queue->finish();  // the files in front of the one that failed
    throw;
  }
  if (queue) queue->finish();
  if (Watch* const watch = watching.own()) watch->finish();
}

/// With a queue, the entry is made in its turn. The path is checked twice: entries under way are not in the tree yet.
void FileSystemManager::addListed(FileSystemOps& ops, std::u16string const& root, std::u16string const& file,
                                  TransformMode mode, CompressionQueue* queue) {
  std::u16string const path = u"/" + paths::makeRelativePath(root, file);
  if (ops.isFile(file)) {
    NewFile added{findFreePath(path), kUnknownPermissions, {}};
    auto source = openFromDisk(file, mode, LinkRule::Refuse, added);
    if (!queue) {
      store({std::move(source), nullptr}, added);
      return;
    }
    queue->add(std::move(source), [this, added](MaybeCompressed content) {
      findFreePath(added.path);
      store(std::move(content), added);
    });
  } else if (ops.isSymlink(file)) {
    auto const addLink = [this, &ops, root, file, path] { addLinkInternal(ops, root, file, path); };
    queue ? queue->add(addLink) : addLink();
  }
}

FileSystemEntry FileSystemManager::addFileInternal(std::unique_ptr<IContentSource> source, std::u16string const& path,
                                                   Perms::Perms_tag permissions, boost::posix_time::ptime const& time,
                                                   std::optional<std::uint64_t> size) {
  model::Watching const watching(getPackage());
  if (Watch* const watch = watching.own()) watch->expect(1, size);
  if (Watch* const watch = watching.current()) source = std::make_unique<WatchedSource>(std::move(source), *watch);
  return store(compressedIfWanted(std::move(source)), {path, permissions, time}, watching.own());
}

/// A file whose content fails keeps its entry. One that is cancelled leaves nothing behind, not even folders.
FileSystemEntry FileSystemManager::store(MaybeCompressed content, NewFile const& file, Watch* ending) {
  model::Watching const watching(getPackage());
  Watch* const watch = watching.current();
  std::u16string const topmost = watch ? topmostMissing(file.path) : std::u16string();
  auto const deflatedFrom = content.deflatedFrom;
  auto const source = isEncryptionEnabled() ? encrypted(std::move(content)) : std::move(content.source);
  auto const [entry, part] = createFileInternal(file.path, source->getContentType(), file.permissions, file.time);
  try {
    copyContent(*source, part);
    if (deflatedFrom) tree_->setDeflatedFrom(file.path, *deflatedFrom);
    if (watch) watch->addFile();
    if (ending) ending->finish();
  } catch (...) {
    if (watch && watch->isCancelled()) withdraw(entry, topmost);
    throw;
  }
  return entry;
}

/// The path, or the first of its ancestors that is missing.
std::u16string FileSystemManager::topmostMissing(std::u16string const& path) const {
  std::u16string topmost = path;
  for (;;) {
    std::u16string parent = detail::getParentPath(topmost);
    if (parent.empty() || tree_->hasNode(parent)) return topmost;
    topmost = std::move(parent);
  }
}

/// Removes a file, and the folders that were created for it, of which `topmost` is the first.
void FileSystemManager::withdraw(FileSystemEntry const& file, std::u16string const& topmost) {
  std::u16string path = file.getPathName();
  tree_->removeNode(tree_->getNode(path));
  while (path.size() > topmost.size()) {
    path = detail::getParentPath(path);
    if (tree_->hasChildren(path)) break;
    tree_->removeNode(tree_->getNode(path));
  }
  getPackage().deletePart(model::PartName(file.getContentName()));
}

/// A target below the source root is made absolute within the package.
void FileSystemManager::addLinkInternal(FileSystemOps& ops, std::u16string const& sourceRoot,
                                        std::u16string const& file, std::u16string const& path) {
  std::u16string target = readLinkTarget(ops, file);
  if (ops.isAbsolutePath(target)) target = u"/" + paths::makeRelativePath(sourceRoot, target);
  createLink(path, target);
}

void FileSystemManager::selectSource(std::u16string const& path) {
  if (selector_) source_ = &selector_->getForPath(path);
}

}  // namespace opc::ztservices
