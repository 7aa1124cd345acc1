// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "crypto/CryptoInterfaces.hpp"
#include "crypto/Encodings.hpp"
#include "opc/Strings.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "services/tree/FileSystemManifest.hpp"
#include "services/tree/FileSystemTree.hpp"
#include "services/tree/PathRules.hpp"

namespace opc::ztservices {
namespace {

constexpr char16_t kContentRoot[] = u"/fsroot";
constexpr char kUnescaped[] = "/+@";

/// Before the last dot of the whole name, which may stand in a folder's component; else at the end.
std::size_t positionBeforeExtension(std::u16string const& name) { return std::min(name.rfind(u'.'), name.size()); }

/// The digest covers the code units, each with its low byte first.
std::u16string digestName(IDigestEngine& engine, std::u16string const& text) {
  std::vector<unsigned char> bytes;
  bytes.reserve(2 * text.size());
  for (char16_t const unit : text) {
    bytes.push_back(static_cast<unsigned char>(unit & 0xFF));
    bytes.push_back(static_cast<unsigned char>(unit >> 8));
  }
  return u"/" + opc::toString(foundation::crypto::utils::hexEncode(engine.digest(bytes)));
}

}  // namespace

FileSystemManager::FileSystemManager(model::Package& package)
    : DataManager(package, false),
      localOps_(std::make_unique<LocalFileSystemOps>()),
      source_(localOps_.get()),
      destination_(localOps_.get()),
      tree_(std::make_unique<FileSystemTree>()),
      manifest_(std::make_unique<FileSystemManifest>()),
      encryptionAlgorithm_(kEncryptionAlgorithm),
      digestAlgorithm_(kDigestAlgorithm) {}

FileSystemManager::FileSystemManager(model::Package& package, FileSystemOps& source, FileSystemOps& destination)
    : FileSystemManager(package) {
  source_ = &source;
  destination_ = &destination;
}

FileSystemManager::FileSystemManager(model::Package& package, FileSystemOpsSelector& selector)
    : FileSystemManager(package) {
  selector_ = &selector;
}

FileSystemManager::~FileSystemManager() = default;

model::URI FileSystemManager::getPartURI() { return model::URI(std::u16string(manifest::kPart.name)); }

model::URI FileSystemManager::getPartURIV1() { return model::URI(std::u16string(manifest::kPartV1.name)); }

model::ContentType FileSystemManager::getPartContentType() {
  return model::ContentType(std::u16string(manifest::kPart.contentType));
}

model::ContentType FileSystemManager::getPartContentTypeV1() {
  return model::ContentType(std::u16string(manifest::kPartV1.contentType));
}

std::u16string FileSystemManager::getRelationshipType() { return std::u16string(manifest::kPart.relationshipType); }

std::u16string FileSystemManager::getRelationshipTypeV1() { return std::u16string(manifest::kPartV1.relationshipType); }

FileSystemOps& FileSystemManager::getSourceFSImpl() const { return *source_; }

FileSystemOps& FileSystemManager::getDestFSImpl() const { return *destination_; }

std::u16string FileSystemManager::getVersion() const {
  ensureLoaded();
  return tree_->getVersion();
}

std::u16string FileSystemManager::getCreatedByPlatform() const {
  ensureLoaded();
  return tree_->getPlatform();
}

std::u16string FileSystemManager::getCreatedByEncoding() const {
  ensureLoaded();
  return tree_->getEncoding();
}

void FileSystemManager::setCreatedByEncoding(std::u16string const& encoding) {
  ensureLoaded();
  tree_->setEncoding(encoding);
  markAsDirty();
}

void FileSystemManager::setSaveV1Manifest(bool save) { saveV1Manifest_ = save; }

std::u16string FileSystemManager::normalizePath(std::u16string const& path) const { return paths::normalizePath(path); }

std::u16string FileSystemManager::normalizeFileName(std::u16string const& name) const {
  return paths::convertSeparators(name);
}

std::u16string FileSystemManager::normalizeLinkTarget(std::u16string const& target) const {
  return paths::convertSeparators(target);
}

std::u16string FileSystemManager::makeRelativePath(std::u16string const& root, std::u16string const& path) const {
  return paths::makeRelativePath(root, path);
}

// The suffixes accumulate: a second clash of /fsroot/a_1.txt leads to /fsroot/a_1_2.txt. A part name is only an
// address: the manifest keeps the exact path, so that paths that are no part names can be stored too.
std::u16string FileSystemManager::makeUniquePartName(std::u16string const& path) const {
  ensureLoaded();
  std::u16string const encoded = model::URI::encodeComponent(path, kUnescaped);
  std::u16string name = kContentRoot + (digestEngine_ ? digestName(*digestEngine_, encoded) : encoded);
  for (std::size_t count = 1;; ++count) {
    std::u16string existing;
    model::PartName const candidate(name);
    if (!getPackage().isPartDerivedFromExistingPartName(candidate, existing)) return name;
    std::size_t position = positionBeforeExtension(name);
    // An existing part that lies below the candidate has the longer name.
    if (!getPackage().hasPart(candidate)) position = std::min(existing.size(), name.size());
    name.insert(position, u"_" + opc::toString(std::to_string(count)));
  }
}

}  // namespace opc::ztservices
