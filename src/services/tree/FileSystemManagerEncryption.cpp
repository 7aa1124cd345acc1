// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "container/ItemStream.hpp"
#include "crypto/CryptoAdapters.hpp"
#include "crypto/IVGenerators.hpp"
#include "crypto/MessageStreams.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "services/tree/CompressedContent.hpp"
#include "services/tree/EncryptedContent.hpp"
#include "services/tree/FileSystemManifest.hpp"
#include "services/tree/FileSystemTree.hpp"
#include "services/tree/Messages.hpp"

namespace opc::ztservices {
namespace {

constexpr std::size_t kComparedBytes = 65'536;

/// Reads until the buffer is full or the stream ends. Returns the number of bytes.
std::size_t fill(InputStream& stream, std::vector<unsigned char>& buffer) {
  std::size_t size = 0;
  while (size < buffer.size()) {
    std::size_t const count = stream.read(buffer.data() + size, buffer.size() - size);
    if (count == 0) break;
    size += count;
  }
  return size;
}

bool hasSizeAndCRC(InputStream& stream, std::uint64_t size, std::uint32_t crc) {
  std::vector<unsigned char> buffer(kComparedBytes);
  std::uint64_t read = 0;
  std::uint32_t found = 0;
  while (std::size_t const count = fill(stream, buffer)) {
    read += count;
    found = model::zip::crcOf(found, buffer.data(), count);
    if (read > size) return false;
  }
  return read == size && found == crc;
}

bool giveTheSame(InputStream& a, InputStream& b) {
  std::vector<unsigned char> x(kComparedBytes), y(kComparedBytes);
  for (;;) {
    std::size_t const count = fill(a, x);
    if (count != fill(b, y) || !std::equal(x.begin(), x.begin() + static_cast<std::ptrdiff_t>(count), y.begin()))
      return false;
    if (count == 0) return true;
  }
}

}  // namespace

void FileSystemManager::enableEncryption(std::vector<unsigned char> const& key, IVMode ivMode,
                                         std::vector<unsigned char> const& ivBytes) {
  auto const type = findManifestType();
  bool const isCompressed = type && encryptionOf(*type) == kCompressedEncryption;
  enableEncryption(key, ivMode, ivBytes, isCompressed ? Compression::Deflate : Compression::None);
}

// All new objects exist before the first old one is replaced.
void FileSystemManager::enableEncryption(std::vector<unsigned char> const& key, IVMode ivMode,
                                         std::vector<unsigned char> const& ivBytes, Compression compression) {
  if (isNonEncrypted()) throw CannotChangeEncryption(messages::kCannotStartEncryption);
  auto ivGenerator = createIVGenerator(ivMode, ivBytes);
  auto encryptor = std::make_shared<CryptoEncryptor>(key);
  auto digestEngine = std::make_shared<CryptoDigestEngine>(key);
  digestEngine->initialize(digestAlgorithm_);

  ivGenerator_ = std::move(ivGenerator);
  encryptor_ = std::move(encryptor);
  digestEngine_ = std::move(digestEngine);
  compression_ = compression;
}

void FileSystemManager::enableDecryption(std::vector<unsigned char> const& key) {
  auto decryptor = std::make_shared<CryptoDecryptor>(key);
  auto names = std::make_shared<CryptoDigestEngine>(key);
  names->initialize(digestAlgorithm_);
  decryptor_ = std::move(decryptor);
  loadedNames_ = std::move(names);
}

bool FileSystemManager::isEncryptionEnabled() const { return encryptor_ != nullptr; }

bool FileSystemManager::isDecryptionEnabled() const { return decryptor_ != nullptr; }

bool FileSystemManager::isEncrypted() const {
  auto const type = findManifestType();
  return type && isMarkedEncrypted(*type);
}

bool FileSystemManager::isNonEncrypted() const {
  auto const type = findManifestType();
  return type && !isMarkedEncrypted(*type);
}

bool FileSystemManager::isEncrypted(FileSystemEntry const& entry) const {
  return isMarkedEncrypted(getContentPart(entry).getContentType());
}

std::uint64_t FileSystemManager::getSize(FileSystemEntry const& entry, TransformMode transformMode) const {
  NamedContent const content = getContent(entry);
  return transformMode == TransformMode::Transform ? decryptedSize(content) : content.part.getSize();
}

std::uint64_t FileSystemManager::getStoredSize(FileSystemEntry const& entry) const {
  return getContentPart(entry).getStoredSize();
}

std::optional<std::uint32_t> FileSystemManager::getCRC32(FileSystemEntry const& entry) const {
  model::Part const part = getContentPart(entry);
  return isMarkedEncrypted(part.getContentType()) ? std::nullopt : part.getCRC32();
}

bool FileSystemManager::hasContent(FileSystemEntry const& entry, InputStream& stream) {
  if (auto const crc = getCRC32(entry)) return hasSizeAndCRC(stream, getSize(entry), *crc);
  auto const source = getFileContentSource(entry, TransformMode::Transform);
  return giveTheSame(source->getInputStream(), stream);
}

model::Part FileSystemManager::getContentPart(FileSystemEntry const& entry) const {
  ensureLoaded();
  if (!entry.isFile()) throw FileSystemEntryMustBeFile(messages::kMustBeFile);
  throwIfStale(entry);
  return getPackage().getPart(model::PartName(entry.node().content));
}

NamedContent FileSystemManager::getContent(FileSystemEntry const& entry) const {
  model::Part part = getContentPart(entry);
  return {std::move(part), isCurrent(entry) ? entry.node().deflatedFrom : tree_->deflatedFrom(entry.getPathName())};
}

MaybeCompressed FileSystemManager::compressedIfWanted(std::unique_ptr<IContentSource> source) const {
  if (!isEncryptionEnabled() || compression_ != Compression::Deflate) return {std::move(source), nullptr};
  model::Package const& package = getPackage();
  return compressed(std::move(source), package.getCompressionLevel(), package.getCompressionThreads());
}

std::unique_ptr<IContentSource> FileSystemManager::encrypted(MaybeCompressed content) const {
  std::string const mark = content.deflatedFrom ? kCompressedEncryption : encryptionAlgorithm_;
  return std::make_unique<EncryptionInPieces>(std::move(content.source), encryptor_, mark, ivGenerator_);
}

/// Null where contents are not compressed before they are encrypted.
std::unique_ptr<CompressionQueue> FileSystemManager::compressionQueue() const {
  if (!isEncryptionEnabled() || compression_ != Compression::Deflate) return nullptr;
  model::Package const& package = getPackage();
  return std::make_unique<CompressionQueue>(package.getCompressionLevel(), package.getCompressionThreads());
}

std::optional<model::ContentType> FileSystemManager::findManifestType() const {
  auto const part = manifest::kPart.find(getPackage());
  return part ? std::optional(part->getContentType()) : std::nullopt;
}

// The content type of a part stays for its life. Nobody could read plain text in a part that is marked as encrypted, or
// ciphertext in one that is not; and secret content must not become public unnoticed.
void FileSystemManager::throwIfSavingChangesEncryption() const {
  if (isEncryptionEnabled() && isNonEncrypted()) throw CannotChangeEncryption(messages::kCannotStartEncryption);
  if (!isEncryptionEnabled() && isEncrypted()) throw CannotChangeEncryption(messages::kCannotStopEncryption);
}

}  // namespace opc::ztservices
