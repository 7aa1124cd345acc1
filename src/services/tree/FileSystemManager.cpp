// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <string>

#include "crypto/CryptoInterfaces.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "services/tree/FileSystemManifest.hpp"
#include "services/tree/FileSystemTree.hpp"
#include "services/tree/ManifestNames.hpp"
#include "services/tree/PartNaming.hpp"
#include "services/tree/PathRules.hpp"

namespace opc::ztservices {

FileSystemManager::FileSystemManager(model::Package& package, FileSystemOps& source, FileSystemOps& destination)
    : DataManager(package, false),
      localOps_(std::make_unique<LocalFileSystemOps>()),
      source_(&source),
      destination_(&destination),
      tree_(std::make_unique<FileSystemTree>()),
      manifest_(std::make_unique<FileSystemManifest>()),
      encryptionAlgorithm_(kEncryptionAlgorithm),
      digestAlgorithm_(kDigestAlgorithm) {}

FileSystemManager::FileSystemManager(model::Package& package)
    : DataManager(package, false),
      localOps_(std::make_unique<LocalFileSystemOps>()),
      source_(localOps_.get()),
      destination_(localOps_.get()),
      tree_(std::make_unique<FileSystemTree>()),
      manifest_(std::make_unique<FileSystemManifest>()),
      encryptionAlgorithm_(kEncryptionAlgorithm),
      digestAlgorithm_(kDigestAlgorithm) {}

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

std::u16string FileSystemManager::makeUniquePartName(std::u16string const& path) const {
  ensureLoaded();
  return ztservices::makeUniquePartName(getPackage(), path, digestEngine_.get());
}

}  // namespace opc::ztservices
