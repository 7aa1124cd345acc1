// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "opc/Strings.hpp"
#include "opc/ztservices/ContentTypes.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "opc/ztservices/Transforms.hpp"
#include "services/tree/CompressedContent.hpp"
#include "services/tree/EncryptedContent.hpp"
#include "services/tree/FileSystemTree.hpp"
#include "services/tree/Messages.hpp"
#include "services/tree/PathRules.hpp"

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

}  // namespace

FileSystemEntry FileSystemManager::addFile(std::u16string const& sourcePath, std::u16string const& path,
                                           TransformMode mode) {
  NewFile file{findFreePath(path), kUnknownPermissions, {}};
  auto source = openFromDisk(sourcePath, mode, LinkRule::Follow, file);
  return store(compressedIfWanted(std::move(source)), file);
}

std::unique_ptr<IContentSource> FileSystemManager::openFromDisk(std::u16string const& sourcePath, TransformMode mode,
                                                                LinkRule rule, NewFile& added) {
  selectSource(sourcePath);
  static model::ContentType const otherwise = getTALBEXDefaultContentType();
  auto const type = lookupContentType(*source_, sourcePath, otherwise);
  OpenedFile file = source_->openForAdding(sourcePath);
  if (rule == LinkRule::Follow && file.openError == boost::system::errc::too_many_symbolic_link_levels)
    file = source_->FileSystemOps::openForAdding(sourcePath);
  if (isEncryptionEnabled() && file.size) throwIfTooLongToEncrypt(sourcePath, *file.size);
  std::unique_ptr<IContentSource> source =
      std::make_unique<FileContentSource>(sourcePath, type, std::move(file.content));
  throwIfIncomplete(file);
  if (mode == TransformMode::Transform && source->getContentType() == getTextContentType())
    source = convertText(std::move(source), sourcePath);
  added.permissions = file.permissions;
  added.time = file.time;
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

void FileSystemManager::addAll(std::u16string const& sourceRoot, TransformMode mode) {
  ensureLoaded();
  std::u16string const root(paths::withoutTrailingSlashes(normalizeFileName(sourceRoot)));
  selectSource(root);
  FileSystemOps& ops = *source_;  // those of the root, while each file may be read through others
  std::vector<std::u16string> files = listFilesAndLinks(ops, root);
  for (std::u16string const& file : files) {
    std::u16string const path = u"/" + paths::makeRelativePath(root, file);
    throwIfNotCarriable(path);
    throwIfBelowNoFolder(path);
  }

  auto const queue = compressionQueue();
  try {
    for (std::u16string& listed : files) {
      std::u16string const file = std::move(listed);  // so that the list shrinks while the tree grows
      addListed(ops, root, file, mode, queue.get());
    }
  } catch (...) {
    if (queue) queue->finish();  // the files in front of the one that failed
    throw;
  }
  if (queue) queue->finish();
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
                                                   Perms::Perms_tag permissions, boost::posix_time::ptime const& time) {
  return store(compressedIfWanted(std::move(source)), {path, permissions, time});
}

FileSystemEntry FileSystemManager::store(MaybeCompressed content, NewFile const& file) {
  auto const deflatedFrom = content.deflatedFrom;
  auto const source = isEncryptionEnabled() ? encrypted(std::move(content)) : std::move(content.source);
  auto const [entry, part] = createFileInternal(file.path, source->getContentType(), file.permissions, file.time);
  std::unique_ptr<OutputStream> const output = part.getOutputStream();
  StreamHelper::copyStreamToStream(source->getInputStream(), *output);
  output->close();
  if (deflatedFrom) tree_->setDeflatedFrom(file.path, *deflatedFrom);
  return entry;
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
