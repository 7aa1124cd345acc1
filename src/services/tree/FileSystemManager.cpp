// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "crypto/CryptoInterfaces.hpp"
#include "opc/Strings.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "services/tree/ContentParts.hpp"
#include "services/tree/EncryptedContent.hpp"
#include "services/tree/FileSystemManifest.hpp"
#include "services/tree/FileSystemTree.hpp"
#include "services/tree/PathRules.hpp"

namespace opc::ztservices {
namespace {

constexpr std::size_t kAccumulatedNumbers = 100;

/// Before the last dot of the whole name, which may stand in a folder's component; else at the end.
std::size_t positionBeforeExtension(std::u16string const& name) { return std::min(name.rfind(u'.'), name.size()); }

/// A part name with numbers in it.
class NumberedName {
 public:
  explicit NumberedName(std::u16string text) : stem_(text), text_(std::move(text)) {}

  std::u16string const& text() const { return text_; }
  /// Behind the number that was inserted last.
  std::size_t endOfNumber() const { return position_ + text_.size() - stem_.size(); }

  void insertNumber(std::size_t position, std::size_t number) {
    stem_ = text_;
    position_ = position;
    replaceNumber(number);
  }
  void replaceNumber(std::size_t number) {
    text_ = stem_;
    text_.insert(position_, u"_" + opc::toString(std::to_string(number)));
  }

 private:
  std::u16string stem_;  // without the last number
  std::u16string text_;
  std::size_t position_ = 0;
};

/// A number from `first` on that is not taken; the first one where all below it are taken. Takes O(log n) questions.
template <typename IsTaken>
std::size_t firstFree(std::size_t first, IsTaken const& isTaken) {
  std::size_t taken = first - 1, free = first;
  for (std::size_t step = 1; isTaken(free); step *= 2) {
    taken = free;
    free += step;
  }
  while (free - taken > 1) {
    std::size_t const middle = taken + (free - taken) / 2;
    (isTaken(middle) ? taken : free) = middle;
  }
  return free;
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

/// Where a number makes the name another one; nothing where the name is free. A name that an entry of a damaged package
/// gives its missing part is not free: the entry would get the contents of a new file.
std::optional<std::size_t> FileSystemManager::findNumberPosition(std::u16string const& name) const {
  model::PartName const candidate(name);
  std::u16string existing;
  bool const clashes = getPackage().isPartDerivedFromExistingPartName(candidate, existing);
  if (!clashes && !contentParts().isNamed(name)) return std::nullopt;
  // An existing part that lies below the candidate has the longer name.
  if (clashes && !getPackage().hasPart(candidate)) return std::min(existing.size(), name.size());
  return positionBeforeExtension(name);
}

// Numbers accumulate: a second clash of /fsroot/a_1.txt leads to /fsroot/a_1_2.txt. After a hundred, the last number is
// replaced instead, so that neither names nor the time to find them grow with the number of clashes. A part name is
// only an address: the manifest keeps the exact path, so that paths that are no part names can be stored too.
std::u16string FileSystemManager::makeUniquePartName(std::u16string const& path) const {
  ensureLoaded();
  NumberedName name(contentName(path, digestEngine_.get()));
  for (std::size_t count = 1;; ++count) {
    auto const position = findNumberPosition(name.text());
    if (!position) return name.text();
    if (count > kAccumulatedNumbers && *position == name.endOfNumber())
      name.replaceNumber(firstFree(count, [&](std::size_t number) {
        name.replaceNumber(number);
        return findNumberPosition(name.text()) == name.endOfNumber();
      }));
    else
      name.insertNumber(*position, count);
  }
}

/// What a load has found; files that are added later name no part of another file.
ContentParts& FileSystemManager::contentParts() const {
  if (!contentParts_) contentParts_ = std::make_unique<ContentParts>(*tree_, getPackage());
  return *contentParts_;
}

}  // namespace opc::ztservices
