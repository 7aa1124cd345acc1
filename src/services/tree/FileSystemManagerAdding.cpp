// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
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
#include "services/tree/EncryptedContent.hpp"
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

/// A file of the disk whose bytes the watch counts, before any transform.
class WatchedSource final : public IContentSource {
 public:
  WatchedSource(std::unique_ptr<IContentSource> source, Watch& watch)
      : source_(std::move(source)), input_(source_->getInputStream(), watch) {}

  model::ContentType getContentType() override { return source_->getContentType(); }
  InputStream& getInputStream() override { return input_; }

 private:
  std::unique_ptr<IContentSource> source_;
  WatchedInput input_;
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

}  // namespace

FileSystemEntry FileSystemManager::addFile(std::u16string const& sourcePath, std::u16string const& path,
                                           TransformMode mode) {
  return addFileFromDisk(sourcePath, path, mode, LinkRule::Follow);
}

FileSystemEntry FileSystemManager::addFileFromDisk(std::u16string const& sourcePath, std::u16string const& path,
                                                   TransformMode mode, LinkRule rule) {
  std::u16string const normal = findFreePath(path);
  selectSource(sourcePath);
  model::Watching const watching(getPackage());
  static model::ContentType const otherwise = getTALBEXDefaultContentType();
  auto const type = lookupContentType(*source_, sourcePath, otherwise);
  OpenedFile file = source_->openForAdding(sourcePath);
  if (rule == LinkRule::Follow && file.openError == boost::system::errc::too_many_symbolic_link_levels)
    file = source_->FileSystemOps::openForAdding(sourcePath);
  if (isEncryptionEnabled() && file.size > kLongestEncryptedContent)
    throw ContentTooLongToEncrypt(messages::tooLongToEncrypt(sourcePath, *file.size, kLongestEncryptedContent));
  std::unique_ptr<IContentSource> source =
      std::make_unique<FileContentSource>(sourcePath, type, std::move(file.content));
  throwIfIncomplete(file);
  if (Watch* const watch = watching.own()) watch->expect(1, file.size.value_or(0));
  if (Watch* const watch = watching.current()) source = std::make_unique<WatchedSource>(std::move(source), *watch);
  if (mode == TransformMode::Transform && source->getContentType() == getTextContentType())
    source = convertText(std::move(source), sourcePath);
  FileSystemEntry entry = addFileInternal(std::move(source), normal, file.permissions, file.time);
  if (Watch* const watch = watching.current()) watch->addFile();
  if (Watch* const watch = watching.own()) watch->finish();
  return entry;
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
  return addFileInternal(std::make_unique<BorrowedBytes>(bytes, type), findFreePath(path), permissions, time);
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

  for (std::u16string& listed : files) {
    std::u16string const file = std::move(listed);  // so that the list shrinks while the tree grows
    std::u16string const path = u"/" + paths::makeRelativePath(root, file);
    if (ops.isFile(file))
      addFileFromDisk(file, path, mode, LinkRule::Refuse);
    else if (ops.isSymlink(file))
      addLinkInternal(ops, root, file, path);
    if (Watch* const watch = watching.current()) watch->check();
  }
  if (Watch* const watch = watching.own()) watch->finish();
}

FileSystemEntry FileSystemManager::addFileInternal(std::unique_ptr<IContentSource> source, std::u16string const& path,
                                                   Perms::Perms_tag permissions, boost::posix_time::ptime const& time) {
  if (isEncryptionEnabled()) source = encrypted(std::move(source));
  auto const [entry, part] = createFileInternal(path, source->getContentType(), permissions, time);
  std::unique_ptr<OutputStream> const output = part.getOutputStream();
  StreamHelper::copyStreamToStream(source->getInputStream(), *output);
  output->close();
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
