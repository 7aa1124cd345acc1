// SPDX-License-Identifier: Apache-2.0
#include "opc/ztservices/Rekey.hpp"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "opc/model/PackageHelper.hpp"
#include "opc/ztservices/Exceptions.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "package/Watching.hpp"
#include "services/tree/CompressedContent.hpp"
#include "services/tree/ContentParts.hpp"
#include "services/tree/EncryptedContent.hpp"
#include "services/tree/FileSystemManifest.hpp"
#include "services/tree/FileSystemTree.hpp"
#include "services/tree/Messages.hpp"
#include "services/tree/WatchedSource.hpp"

namespace opc::ztservices {

/// Replaces the file system of a package by a new one with the same tree. Contents of the old one stay readable until
/// the package is saved, since parts change in memory only.
class Rekeying {
 public:
  Rekeying(model::Package& package, RekeyOptions const& options)
      : package_(package), options_(options), watching_(package) {}

  void run();

 private:
  using Progress = RekeyOptions::Progress;

  std::unique_ptr<FileSystemManager> loadOld() const;
  void throwIfSomeWouldStay(FileSystemManager& old) const;
  Progress measure(FileSystemManager const& old) const;
  void copyTree(FileSystemManager& old);
  void copyContent(FileSystemManager& old, FileSystemNode const& node);
  void store(MaybeCompressed content, FileSystemNode node, std::uint64_t storedSize);
  std::set<model::PartName> findManifests() const;
  void deleteManifests(std::set<model::PartName> const& manifests) const;
  void deleteContents(FileSystemManager& old);
  void recordPassword();

  model::Package& package_;
  RekeyOptions const& options_;
  model::Watching watching_;
  Progress progress_{};
  std::unique_ptr<FileSystemManager> fresh_;
  std::unique_ptr<CompressionQueue> queue_;  // null where contents are not compressed
  std::unique_ptr<CipherDataManager> cipherData_;
};

// The old manager goes before the save, which it must take no part in.
void Rekeying::run() {
  auto const manifests = findManifests();  // loading retires one of version 1
  auto const old = loadOld();
  progress_ = measure(*old);
  throwIfSomeWouldStay(*old);
  deleteManifests(manifests);
  fresh_ = std::make_unique<FileSystemManager>(package_);
  if (options_.newKey) fresh_->enableEncryption(*options_.newKey, IVMode::Random, {}, options_.compression);
  fresh_->setCreatedByEncoding(old->getCreatedByEncoding());
  fresh_->tree_->setPlatform(old->getCreatedByPlatform());
  copyTree(*old);
  deleteContents(*old);
  recordPassword();
}

std::unique_ptr<FileSystemManager> Rekeying::loadOld() const {
  auto old = std::make_unique<FileSystemManager>(package_);
  if (!manifest::kPart.find(package_) && !manifest::kPartV1.find(package_)) throw Exception(messages::kNoFileSystem);
  if (options_.oldKey && !old->isEncrypted()) throw CannotChangeEncryption(messages::kIsNotEncrypted);
  if (options_.oldKey) old->enableDecryption(*options_.oldKey);
  old->ensureLoaded();
  return old;
}

/// A content that no entry names would stay as it is: readable for all, or with the old key. So would one that belongs
/// to others too.
void Rekeying::throwIfSomeWouldStay(FileSystemManager& old) const {
  std::set<std::u16string> named;
  old.tree_->forEachListed([&](FileSystemNode const& node) {
    if (node.type != FileSystemNodeType::File) return;
    named.insert(node.content);
    if (!old.contentParts().isOwn(model::PartName(node.content)))
      throw Exception(messages::withPath(messages::kContentOfOthers, node.fullPath()) + ": " +
                      toUDEString(escapeForDisplay(node.content)));
  });
  for (model::PartName const& name : package_.getPartNames())
    if (ContentParts::isNameOfContent(name) && old.contentParts().isOwn(name) && !named.contains(name.toString()))
      throw Exception(messages::withPath(messages::kContentWithoutEntry, name.toString()));
}

/// The parts to which the relationships of manifests lead, and manifests without relationship. A second relationship
/// may lead to a part that is no manifest, which stays.
std::set<model::PartName> Rekeying::findManifests() const {
  std::set<model::PartName> manifests;
  for (model::detail::OwnedPart const& kind : {manifest::kPart, manifest::kPartV1}) {
    for (auto const& relationship : package_.getRelationshipsByType(std::u16string(kind.relationshipType))) {
      auto const target = model::PackageHelper::findTarget(package_, relationship);
      if (!target) continue;
      bool const isManifest = manifest::kPart.isTypeOf(*target) || manifest::kPartV1.isTypeOf(*target);
      if (isManifest || manifests.empty()) manifests.insert(target->getName());  // the first one is read whatever it is
    }
    if (auto const orphan = kind.findUnderOwnName(package_)) manifests.insert(orphan->getName());
  }
  return manifests;
}

/// No manifest may stay, and no other relationship may lead nowhere afterwards.
void Rekeying::deleteManifests(std::set<model::PartName> const& manifests) const {
  for (model::detail::OwnedPart const& kind : {manifest::kPart, manifest::kPartV1})
    for (auto const& relationship : package_.getRelationshipsByType(std::u16string(kind.relationshipType)))
      package_.deleteRelationship(relationship.getID());
  auto const targets = model::PackageHelper::getAllTargets(package_);
  for (model::PartName const& name : manifests) {
    if (std::binary_search(targets.begin(), targets.end(), name))
      throw Exception(messages::withPath(messages::kManifestOfOthers, name.toString()));
    if (package_.hasPart(name)) package_.deletePart(name);
  }
}

/// Before a content is read.
Rekeying::Progress Rekeying::measure(FileSystemManager const& old) const {
  Progress all{};
  std::uint64_t bytes = 0;
  old.tree_->forEachListed([&](FileSystemNode const& node) {
    if (node.type != FileSystemNodeType::File) return;
    NamedContent const content{package_.getPart(model::PartName(node.content)), node.deflatedFrom};
    std::uint64_t const size = decryptedSize(content);
    if (options_.newKey) throwIfTooLongToEncrypt(node.fullPath(), size);
    ++all.allFiles;
    all.allBytes += content.part.getStoredSize();
    bytes += size;
  });
  if (Watch* const watch = watching_.own()) watch->expect(all.allFiles, bytes);
  return all;
}

void Rekeying::copyTree(FileSystemManager& old) {
  queue_ = fresh_->compressionQueue();
  old.tree_->forEachListed([&](FileSystemNode const& node) {
    if (node.type == FileSystemNodeType::File)
      copyContent(old, node);
    else if (queue_)
      queue_->add([this, node] { fresh_->tree_->insertNode(node); });  // behind the files before it
    else
      fresh_->tree_->insertNode(node);
  });
  if (queue_) queue_->finish();
  queue_.reset();
}

void Rekeying::copyContent(FileSystemManager& old, FileSystemNode const& node) {
  if (options_.progress) options_.progress(progress_);
  std::uint64_t const storedSize = package_.getPart(model::PartName(node.content)).getStoredSize();
  auto source = old.getFileContentSource(old.makeEntry(node), TransformMode::Transform);
  if (Watch* const watch = watching_.own()) source = std::make_unique<WatchedSource>(std::move(source), *watch);
  if (!queue_) return store({std::move(source), nullptr}, node, storedSize);
  queue_->add(std::move(source),
              [this, node, storedSize](MaybeCompressed content) { store(std::move(content), node, storedSize); });
}

/// Creates no entry by the rules for new ones: the tree may have entries below files, which stay.
void Rekeying::store(MaybeCompressed content, FileSystemNode node, std::uint64_t storedSize) {
  auto const deflatedFrom = content.deflatedFrom;
  auto const source = options_.newKey ? fresh_->encrypted(std::move(content)) : std::move(content.source);
  model::Part const part = fresh_->createContentPart(node.fullPath(), source->getContentType());
  auto const output = part.getOutputStream();
  StreamHelper::copyStreamToStream(source->getInputStream(), *output);
  output->close();
  if (Watch* const watch = watching_.own()) watch->addFile();
  node.content = part.getName().toString();
  node.deflatedFrom = deflatedFrom ? std::optional(*deflatedFrom) : std::nullopt;
  fresh_->tree_->insertNode(node);
  ++progress_.files;
  progress_.bytes += storedSize;
}

void Rekeying::deleteContents(FileSystemManager& old) {
  old.tree_->forEachListed([&](FileSystemNode const& node) {
    bool const goes = node.type == FileSystemNodeType::File && old.contentParts().release(node.content);
    if (goes) package_.deletePart(model::PartName(node.content));
  });
}

void Rekeying::recordPassword() {
  model::RelationshipSelector const selector(model::URI(u"/"), model::RelationshipSelectorType::ByType,
                                             FileSystemManager::getRelationshipType());
  cipherData_ = std::make_unique<CipherDataManager>(package_);
  if (cipherData_->hasCipherEntry(selector)) cipherData_->deleteCipherEntry(selector);
  if (!options_.passwordEntry) return;
  CipherEntry const& entry = *options_.passwordEntry;
  cipherData_->addCipherEntry(entry.getRelationshipSelector(), entry.getHash(), entry.getSalt(), entry.getIV());
}

void rekeyPackage(std::u16string const& source, std::u16string const& destination, RekeyOptions const& options) {
  if (!options.oldKey && !options.newKey) throw CannotChangeEncryption(messages::kNoKeyToChange);
  if (options.oldKey && options.newKey && *options.oldKey == *options.newKey)
    throw CannotChangeEncryption(messages::kSameKey);
  bool const inPlace = source == destination;
  auto const package = model::Package::open(source, model::AccessMode::ReadWrite,
                                            {.openProtected = !inPlace || options.save.replaceProtected});
  package->setCompressionThreads(options.threads);
  package->setMonitor(options.monitor);
  Rekeying rekeying(*package, options);
  rekeying.run();
  if (inPlace)
    package->save(options.save);
  else
    package->saveAs(destination, model::Existing::Refuse, options.save);
}

}  // namespace opc::ztservices
