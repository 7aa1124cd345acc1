// SPDX-License-Identifier: Apache-2.0
#include "verify/FileSystemCheck.hpp"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>

#include "opc/SafePaths.hpp"
#include "opc/Strings.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "package/Messages.hpp"
#include "package/PartNameRules.hpp"
#include "services/tree/EncryptedContent.hpp"
#include "services/tree/FileSystemManifest.hpp"
#include "services/tree/Messages.hpp"
#include "verify/FaultList.hpp"
#include "xml/XmlStreamReader.hpp"

namespace opc::ztservices {
namespace {

std::u16string text(model::XmlAttributes const& attributes, std::u16string_view name) {
  return std::u16string(attributes.find(name).value_or(std::u16string_view()));
}

FileSystemNodeType typeOf(std::u16string const& type) {
  if (type == manifest::kFile) return FileSystemNodeType::File;
  return type == manifest::kLink ? FileSystemNodeType::Link : FileSystemNodeType::Folder;
}

class Handler final : public model::XmlContentHandler {
 public:
  Handler(std::function<void(ManifestEntry)> const& take, EntryFaultSink const& reportFault, UsualNames const& leftOut)
      : take_(take), reportFault_(reportFault), reader_(tree_, leftOut) {}

  void startElement(std::u16string_view namespaceURI, std::u16string_view localName,
                    model::XmlAttributes const& attributes) override {
    if (localName == manifest::kEntries) return reader_.startElement(namespaceURI, localName, attributes);
    std::u16string const name = pathOf(attributes);
    bool const isThere = tree_.hasNode(name);
    try {
      reader_.startElement(namespaceURI, localName, attributes);
    } catch (Exception const& fault) {
      return reportFault_(isThere ? code::kDuplicateEntry : code::kInvalidEntry, name, fault.what());
    }
    FileSystemNodeType const type = typeOf(text(attributes, manifest::kType));
    bool const isFile = type == FileSystemNodeType::File;
    entry_ = {
        type, name, isFile ? tree_.getNode(reader_.lastPath()).content : text(attributes, manifest::kContent), {}};
  }
  void characters(std::u16string_view text) override { reader_.characters(text); }
  void endElement(std::u16string_view namespaceURI, std::u16string_view localName) override {
    reader_.endElement(namespaceURI, localName);
    if (!entry_) return;
    entry_->deflatedFrom = tree_.deflatedFrom(reader_.lastPath());
    take_(*std::exchange(entry_, std::nullopt));
  }

 private:
  std::u16string pathOf(model::XmlAttributes const& attributes) const {
    std::u16string const name = text(attributes, manifest::kName);
    return tree_.getVersion() == manifest::kVersion1 && !name.starts_with(u'/') ? u"/" + name : name;
  }

  std::function<void(ManifestEntry)> const& take_;
  EntryFaultSink const& reportFault_;
  FileSystemTree tree_;
  ManifestReader reader_;
  std::optional<ManifestEntry> entry_;  // being read, without a fault so far
};

using model::detail::wideName;
using model::detail::messages::shown;

constexpr std::string_view kContents = "fsroot/";

/// The code of the fault of a path by itself; null where it has none.
char const* faultOf(std::u16string_view path) {
  PathFault const fault = findPathFault(path);
  if (fault == PathFault::LeadsUpwards) return code::kUnsafePath;
  return fault == PathFault::Unclear || !path.starts_with(u'/') ? code::kUnclearPath : nullptr;
}

bool hasType(CheckedPart const& part, model::ContentType const& type) {
  return part.type && part.type->is(type.getType() + u"/" + type.getSubType());
}

bool isEncrypted(CheckedPart const& part) { return EncryptionCheck::isEncrypted(part); }

}  // namespace

void readManifestEntries(InputStream& input, std::function<void(ManifestEntry)> const& take,
                         EntryFaultSink const& reportFault, UsualNames const& leftOut) {
  model::XmlStreamReader reader(manifestGrammars());
  Handler handler(take, reportFault, leftOut);
  reader.read(input, handler);
}

FileSystemCheck::FileSystemCheck(PackageCheck const& package, EncryptionCheck const& encryption, FaultList& faults,
                                 Watch& watch)
    : package_(package),
      encryption_(encryption),
      faults_(faults),
      watch_(watch),
      isTarget_(package.allTargets()),
      owners_(package.parts().size()) {}

bool FileSystemCheck::check() {
  CheckedPart const* const manifest = findManifest();
  isKeyWrong_ = isKeyWrong(manifest);
  if (manifest && package_.isSound(*manifest)) checkManifest(*manifest);
  checkEncryption(manifest);
  return !isKeyWrong_;
}

/// An encrypted manifest can be read only if it is authentic.
void FileSystemCheck::checkManifest(CheckedPart const& manifest) {
  if (isEncrypted(manifest)) {
    if (!encryption_.isAuthentic(manifest) ||
        isTooSmallForEncrypted(package_.storedSizeOf(manifest), package_.sizeOf(manifest)))
      return;
    isDecrypted_ = true;
  }
  bool const isWhole = read(manifest);
  checkPlaces();
  if (isWhole) checkUnreferenced();
}

CheckedPart const* FileSystemCheck::findManifest() {
  auto found = package_.targetsOf(FileSystemManager::getRelationshipType());
  if (found.empty()) found = package_.targetsOf(FileSystemManager::getRelationshipTypeV1());
  if (found.empty()) return nullptr;
  CheckedPart const& manifest = *found.front();
  std::u16string const name = wideName(manifest.name());
  if (found.size() > 1)
    faults_.add(code::kSeveralManifests, name,
                "The package has " + std::to_string(found.size()) + " manifests, of which " + shown(name) + " counts");
  if (manifest.type && !hasType(manifest, FileSystemManager::getPartContentType()) &&
      !hasType(manifest, FileSystemManager::getPartContentTypeV1()))
    faults_.add(code::kManifestType, name,
                shown(name) + ": a manifest with another content type, " + shown(manifest.type->text));
  return &manifest;
}

/// False where the document breaks off, so that what it does not list says nothing.
bool FileSystemCheck::read(CheckedPart const& manifest) {
  bool const isVersion1 = hasType(manifest, FileSystemManager::getPartContentTypeV1());
  try {
    auto const input = isDecrypted_ ? encryption_.open(manifest) : package_.open(manifest);
    readManifestEntries(
        *input, [&](ManifestEntry const& entry) { take(entry, isVersion1); },
        [&](char const* code, std::u16string const& path, std::string const& what) {
          faults_.add(code, path, shown(path) + ": " + what);
        },
        encryption_.namesLeftOut(manifest));
    return true;
  } catch (Cancelled const&) {
    throw;
  } catch (Exception const& fault) {
    if (fault.getErrorCode()) throw;
    faults_.add(code::kInvalidManifest, wideName(manifest.name()), shown(manifest.name()) + ": " + fault.what());
    return false;
  }
}

void FileSystemCheck::take(ManifestEntry const& entry, bool isVersion1) {
  watch_.check();
  char const* const fault = faultOf(entry.path);
  if (fault)
    faults_.add(fault, entry.path,
                shown(entry.path) + (fault == code::kUnsafePath ? ": a path that leads upwards"
                                                                : ": a path that is not absolute, or has an empty name "
                                                                  "or a dot in it"));
  bool const hasPart = entry.type == FileSystemNodeType::File || (isVersion1 && entry.type == FileSystemNodeType::Link);
  entries_.push_back({entry.path, entry.type});
  if (hasPart) checkContent(entry);
  if (entry.type == FileSystemNodeType::Link) checkLinkTarget(entry, isVersion1);
}

/// Whether the part belongs to others, so that it stays when the entry goes.
bool FileSystemCheck::isForeign(CheckedPart const& part) const {
  return isTarget_[static_cast<std::size_t>(&part - package_.parts().data())] ||
         model::detail::isRelationshipsName(part.name());
}

/// Version 1 keeps the target in a part.
void FileSystemCheck::checkLinkTarget(ManifestEntry const& entry, bool isVersion1) {
  constexpr std::uint64_t kLongestTarget = 4095;  // in bytes, on the systems where links are made
  CheckedPart const* const part = isVersion1 ? package_.find(entry.content) : nullptr;
  if (isVersion1 && !part) return;
  std::uint64_t const size = part ? package_.sizeOf(*part) : toUTF8String(entry.content).size();
  if (size == 0)
    faults_.add(code::kBadLinkTarget, entry.path, shown(entry.path) + ": a link without a target");
  else if (size > kLongestTarget)
    faults_.add(code::kBadLinkTarget, entry.path,
                shown(entry.path) + ": a link with a target of " + std::to_string(size) + " bytes, which is too long");
}

void FileSystemCheck::checkContent(ManifestEntry const& entry) {
  CheckedPart const* const part = package_.find(entry.content);
  if (!part)
    return faults_.add(code::kMissingPart, entry.path,
                       shown(entry.path) + ": its contents are not in the package: " + shown(entry.content));
  if (isForeign(*part))
    faults_.add(code::kForeignPart, entry.path,
                shown(entry.path) + ": its contents are not a part of the file system: " + shown(entry.content));
  std::uint32_t& owner = owners_[static_cast<std::size_t>(part - package_.parts().data())];
  if (owner != 0)
    faults_.add(code::kSharedPart, entry.path,
                shown(entry.path) + ": its contents are those of " + shown(entries_[owner - 1].path) +
                    " too: " + shown(entry.content));
  else
    owner = static_cast<std::uint32_t>(entries_.size());
  if (isDecrypted_ && !isEncrypted(*part))
    faults_.add(code::kPlainContent, entry.path,
                shown(entry.path) + ": its contents are not encrypted, as the manifest is: " + shown(entry.content));
  else if (isEncrypted(*part) && isMarkedCompressed(*part->type->value) != entry.deflatedFrom.has_value())
    faults_.add(code::kChangedMark, entry.path,
                shown(entry.path) +
                    ": its contents are not compressed and encrypted as the manifest says: " + shown(entry.content));
}

/// Nothing may stand below a file or link. The message names the highest file or link above.
void FileSystemCheck::checkPlaces() {
  std::vector<Listed const*> sorted;
  sorted.reserve(entries_.size());
  for (Listed const& entry : entries_) sorted.push_back(&entry);
  std::sort(sorted.begin(), sorted.end(),
            [](Listed const* a, Listed const* b) { return PathLess()(a->path, b->path); });
  Listed const* above = nullptr;
  for (Listed const* const entry : sorted) {
    if (above && isBelowPath(entry->path, above->path)) {
      bool const isLink = above->type == FileSystemNodeType::Link;
      faults_.add(isLink ? code::kBelowLink : code::kBelowFile, entry->path,
                  shown(entry->path) + ": it is below the " + (isLink ? "link " : "file ") + shown(above->path));
    } else if (entry->type != FileSystemNodeType::Folder) {
      above = entry;
    }
  }
}

void FileSystemCheck::checkUnreferenced() {
  for (std::size_t i = 0; i < owners_.size(); ++i) {
    CheckedPart const& part = package_.parts()[i];
    if (owners_[i] != 0 || !part.key.starts_with(kContents)) continue;
    std::string const name = part.name();
    if (!model::detail::isRelationshipsName(name))
      faults_.add(code::kUnreferencedPart, wideName(name), shown(name) + ": contents that belong to no entry");
  }
}

bool FileSystemCheck::isContents(CheckedPart const& part) const {
  return part.key.starts_with(kContents) || owners_[static_cast<std::size_t>(&part - package_.parts().data())] != 0;
}

/// A key is wrong if it decrypts nothing of all that could be read of the container. (Or all of it was modified.)
bool FileSystemCheck::isKeyWrong(CheckedPart const* manifest) const {
  if (!encryption_.hasKey() || encryption_.countAuthentic() > 0) return false;
  return std::ranges::any_of(package_.parts(), [&](CheckedPart const& part) {
    std::uint64_t const size = package_.sizeOf(part);
    return isEncrypted(part) && (&part == manifest || isContents(part)) && package_.isSound(part) &&
           !EncryptionCheck::isTooShort(size) && !isTooSmallForEncrypted(package_.storedSizeOf(part), size);
  });
}

void FileSystemCheck::checkEncryption(CheckedPart const* manifest) {
  for (std::size_t i = 0; i < owners_.size(); ++i) {
    CheckedPart const& part = package_.parts()[i];
    if (isEncrypted(part) && (&part == manifest || isContents(part)))
      checkEncrypted(part, owners_[i] != 0 ? entries_[owners_[i] - 1].path : wideName(part.name()));
  }
}

void FileSystemCheck::checkEncrypted(CheckedPart const& part, std::u16string const& path) {
  std::string const of = path == wideName(part.name()) ? "" : ": " + shown(part.name());
  if (EncryptionCheck::isTooShort(package_.sizeOf(part)))
    faults_.add(code::kTruncatedEncryption, path,
                shown(path) + ": too short to be encrypted, as its content type says that it is" + of);
  else if (isTooSmallForEncrypted(package_.storedSizeOf(part), package_.sizeOf(part)))
    faults_.add(code::kShrunkEncryption, path,
                shown(path) + ": it cannot be encrypted, as its content type says that it is: its " +
                    std::to_string(package_.sizeOf(part)) + " bytes take only " +
                    std::to_string(package_.storedSizeOf(part)) + of);
  else if (encryption_.hasKey() && !isKeyWrong_ && package_.isSound(part) && !encryption_.isAuthentic(part))
    faults_.add(code::kNotAuthentic, path,
                shown(path) + ": it does not authenticate: wrong key or algorithm, or the data was modified" + of);
}

}  // namespace opc::ztservices
