// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "io/Watch.hpp"
#include "opc/model/PackageHelper.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "package/Watching.hpp"
#include "services/tree/CompressedContent.hpp"
#include "services/tree/ContentParts.hpp"
#include "services/tree/EncryptedContent.hpp"
#include "services/tree/FileSystemManifest.hpp"
#include "services/tree/FileSystemTree.hpp"
#include "services/tree/Messages.hpp"
#include "services/tree/PathRules.hpp"

namespace opc::ztservices {
namespace {

using model::Part;
using model::PartName;

/// A document in memory.
class BytesSource final : public IContentSource {
 public:
  BytesSource(std::vector<unsigned char> bytes, model::ContentType type)
      : bytes_(std::move(bytes)), type_(std::move(type)), stream_(bytes_) {}

  model::ContentType getContentType() override { return type_; }
  InputStream& getInputStream() override { return stream_; }

 private:
  std::vector<unsigned char> bytes_;
  model::ContentType type_;
  ByteArrayInAdaptor stream_;
};

/// Checks the watch at each write, so that the monitor can end the writing of a long manifest.
class WatchedOutput final : public OutputStream {
 public:
  WatchedOutput(OutputStream& inner, Watch* watch) : inner_(inner), watch_(watch) {}

  void write(void const* data, std::size_t count) override {
    if (watch_) watch_->check();
    inner_.write(data, count);
  }
  void close() override { inner_.close(); }

 private:
  OutputStream& inner_;
  Watch* watch_;
};

/// In order of path.
std::vector<FileSystemNode> linksOf(FileSystemTree const& tree) {
  std::vector<FileSystemNode> links;
  tree.forEachLink([&](FileSystemNode const& node) { links.push_back(node); });
  return links;
}

/// Version 1 keeps the target of a link as the content of a part. Reads no more than the longest target has.
std::u16string readLinkTarget(Part const& part, std::u16string const& path) {
  constexpr std::size_t kMaximumBytes = 3 * kMaximumNameUnits;  // a code unit takes up three bytes of UTF-8 at most
  std::string bytes(kMaximumBytes + 1, '\0');
  std::size_t size = 0;
  std::unique_ptr<InputStream> const input = part.getInputStream();
  while (size < bytes.size()) {
    std::size_t const count = input->read(bytes.data() + size, bytes.size() - size);
    if (count == 0) break;
    size += count;
  }
  if (size > kMaximumBytes)
    throw CouldNotConvertFileSystemManifest(messages::withPath(messages::kLinkTargetTooLong, path));
  bytes.resize(size);
  std::u16string target = detail::toStringFromUTF8String(bytes, true);
  if (target.empty()) throw CouldNotConvertFileSystemManifest(messages::withPath(messages::kNoLinkTarget, path));
  throwIfNotCarriable(target);
  return target;
}

/// A part keeps its content type for life. By that of version 1 a reader would take the targets of links for parts, and
/// by another mark it would not inflate the manifest, or inflate one that is not deflated. So a manifest of another
/// type moves to a new part.
bool isOfAnotherKind(Part const& part, model::ContentType const& type) {
  model::ContentType const former = part.getContentType();
  return former == FileSystemManager::getPartContentTypeV1() || encryptionOf(former) != encryptionOf(type);
}

}  // namespace

// Lazy loading fills the memory of a const manager and does not change its file system. Only this const operation does
// so, and all members that it changes, including those of DataManager, are mutable, so that a manager may be defined
// const.
void FileSystemManager::ensureLoaded() const {
  auto& self = const_cast<FileSystemManager&>(*this);
  self.load();
  if (!convertedFromV1_) return;
  if (!saveV1Manifest_) self.cleanupOldPartsAndRelationships();
  self.convertedFromV1_ = false;
}

void FileSystemManager::doLoad() {
  tree_ = std::make_unique<FileSystemTree>();
  contentParts_.reset();
  loadedSave_ = sharedCount(getRelationshipType());
  auto found = manifest::kPart.find(getPackage());
  if (!found) found = manifest::kPartV1.find(getPackage());
  if (!found) return;

  Part const& part = *found;
  auto const source = decrypted(part, decryptor_, messages::kManifestIsEncrypted);
  bool const leavesOut = isMarkedCompressed(part.getContentType());
  manifest_->read(source->getInputStream(), *tree_, leavesOut ? contentNames(loadedNames_) : UsualNames());
  if (part.getContentType() == getPartContentTypeV1()) upgradeFromVersion1();
}

/// Marks the manager dirty: a save must not leave a version-1 manifest behind whose targets are gone.
void FileSystemManager::upgradeFromVersion1() {
  try {
    convertVersion1ToCurrentVersion();
  } catch (std::exception const& fault) {
    throw CouldNotConvertFileSystemManifest(std::string(messages::kCouldNotConvert) + fault.what());
  } catch (...) {
    throw CouldNotConvertFileSystemManifest(messages::kUnknownConversionFault);
  }
  convertedFromV1_ = true;
  if (!getPackage().isReadOnly()) markAsDirty();
}

// Parts are deleted after all targets are read: several links may share one part, and a conversion that fails leaves
// the package whole.
void FileSystemManager::convertVersion1ToCurrentVersion() {
  model::Package& package = getPackage();
  std::set<PartName> targetParts;
  for (FileSystemNode& link : linksOf(*tree_)) {
    PartName const part(link.content);
    link.content = readLinkTarget(package.getPart(part), link.fullPath());
    tree_->updateNode(link);
    targetParts.insert(part);
  }
  tree_->setVersion(manifest::kCurrentVersion);
  if (package.isReadOnly()) return;
  contentParts_ = std::make_unique<ContentParts>(*tree_, package);
  for (PartName const& part : targetParts)
    if (!contentParts_->isNamed(part.toString()) && contentParts_->isOwn(part)) package.deletePart(part);
}

/// Another program's relationship of this type may lead to a part that is no manifest, or to none.
void FileSystemManager::cleanupOldPartsAndRelationships() {
  model::Package& package = getPackage();
  auto const old = package.getRelationshipsByType(getRelationshipTypeV1());
  if (old.empty() || package.isReadOnly()) return;
  auto const target = model::PackageHelper::findTarget(package, old.front());
  package.deleteRelationship(old.front().getID());
  if (target && target->getContentType() == getPartContentTypeV1() && isUnused(target->getName()))
    package.deletePart(target->getName());
  markAsDirty();
}

/// Whether no entry names the part and no relationship leads to it.
bool FileSystemManager::isUnused(PartName const& part) const {
  auto const targets = model::PackageHelper::getAllTargets(getPackage());
  return !contentParts().isNamed(part.toString()) && !std::binary_search(targets.begin(), targets.end(), part);
}

// Loads first: a manager that was marked dirty but never used must not replace the manifest with an empty one.
void FileSystemManager::doSave() {
  ensureLoaded();
  std::uint64_t& saves = sharedCount(getRelationshipType());
  if (saves != loadedSave_) throw FileSystemConflict(messages::kConflict);
  throwIfSavingChangesEncryption();
  doSaveCurrent();
  if (saveV1Manifest_) doSaveV1();
  loadedSave_ = ++saves;
}

/// A manifest of the current schema may call itself version 1; a reader would then misread the permissions written
/// here. A tree that cannot be written leaves the part unchanged: the exception abandons the part's stream.
void FileSystemManager::doSaveCurrent() {
  if (tree_->getVersion() == manifest::kVersion1) tree_->setVersion(manifest::kCurrentVersion);
  if (!isEncryptionEnabled())
    return saveManifestPart(getPartContentType(), [this](OutputStream& output) { manifest_->write(*tree_, output); });
  auto const source = encryptedManifest();
  InputStream& input = source->getInputStream();
  saveManifestPart(source->getContentType(),
                   [&input](OutputStream& output) { StreamHelper::copyStreamToStream(input, output); });
}

void FileSystemManager::saveManifestPart(model::ContentType const& type,
                                         std::function<void(OutputStream&)> const& write) {
  auto const former = manifest::kPart.findAny(getPackage());
  if (former && isOfAnotherKind(*former, type))
    manifest::kPart.replace(getPackage(), type, write, [&] { leavePartOfAnotherKind(type); });
  else
    manifest::kPart.save(getPackage(), type, write);
}

/// Only a manifest that is compressed leaves names out. It hardly ever is not, as XML shrinks.
std::unique_ptr<IContentSource> FileSystemManager::encryptedManifest() const {
  model::Watching const watching(getPackage());
  auto const write = [&](UsualNames const& leftOut) {
    std::vector<unsigned char> bytes;
    ByteArrayOutAdaptor buffer(bytes);
    WatchedOutput watched(buffer, watching.current());
    manifest_->write(*tree_, watched, leftOut);
    return std::make_unique<BytesSource>(std::move(bytes), getPartContentType());
  };
  if (compression_ == Compression::Deflate) {
    MaybeCompressed made = compressedIfWanted(write(contentNames(digestEngine_)));
    if (made.deflatedFrom) return encrypted(std::move(made));
  }
  return encrypted({write({}), nullptr});
}

void FileSystemManager::leavePartOfAnotherKind(model::ContentType const& type) {
  model::Package& package = getPackage();
  while (auto const part = manifest::kPart.findAny(package)) {  // there may be several, and saving rewrites the first
    if (!isOfAnotherKind(*part, type)) return;
    auto const leadsToIt = [&](model::Relationship const& relationship) {
      auto const target = model::PackageHelper::findTarget(package, relationship);
      return target && target->getName() == part->getName();
    };
    for (model::Relationship const& relationship : package.getRelationshipsByType(getRelationshipType()))
      if (leadsToIt(relationship)) package.deleteRelationship(relationship.getID());
    auto const others = package.getRelationships();
    if (std::none_of(others.begin(), others.end(), leadsToIt)) package.deletePart(part->getName());
  }
}

void FileSystemManager::doSaveV1() {
  manifest::kPartV1.save(getPackage(), [this](OutputStream& output) { manifest_->writeV1(*tree_, output); });
}

std::vector<std::u16string> FileSystemManager::doGetManagedPartNames() const {
  std::vector<std::u16string> names{getPartURI().toString()};
  if (saveV1Manifest_) names.push_back(getPartURIV1().toString());
  tree_->forEachListed([&](FileSystemNode const& node) {
    if (node.type == FileSystemNodeType::File) names.push_back(node.content);
  });
  return names;
}

std::vector<std::u16string> FileSystemManager::doGetManagedRelationshipTypes() const {
  std::vector<std::u16string> types{getRelationshipType()};
  if (saveV1Manifest_) types.push_back(getRelationshipTypeV1());
  return types;
}

}  // namespace opc::ztservices
