// SPDX-License-Identifier: Apache-2.0
#include "opc/ztservices/Repair.hpp"

#include <algorithm>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "container/Reader.hpp"
#include "container/Salvage.hpp"
#include "crypto/CipherTransforms.hpp"
#include "crypto/CryptoAdapters.hpp"
#include "crypto/CryptoInterfaces.hpp"
#include "crypto/IVGenerators.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/ztservices/ContentSources.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "package/PackageReader.hpp"
#include "package/PartNameRules.hpp"
#include "services/tree/EncryptedContent.hpp"
#include "services/tree/FileSystemManifest.hpp"
#include "verify/EncryptionCheck.hpp"
#include "verify/FaultList.hpp"
#include "verify/PackageCheck.hpp"
#include "verify/RepairedTree.hpp"

namespace opc::ztservices {
namespace {

using model::detail::wideName;

constexpr std::size_t kListedFaults = 1;             // they are not reported
constexpr std::size_t kLongestBeginning = 1u << 30;  // of a damaged manifest
constexpr char16_t kUnknownType[] = u"application/octet-stream";

/// The parts of the package itself that a repair finds by their names where relationships are lost.
constexpr model::detail::OwnedPart kManifests[] = {manifest::kPart, manifest::kPartV1};

class Repairer {
 public:
  Repairer(std::shared_ptr<model::zip::RandomAccessBytes const> bytes, model::zip::Reader& container,
           model::detail::PackageReader const& reader, PackageCheck const& source, EncryptionCheck const& encryption,
           std::u16string const& target, RepairOptions const& options)
      : container_(container),
        reader_(reader),
        source_(source),
        encryption_(encryption),
        options_(options),
        salvage_(std::move(bytes), container.archive(), options.limits.maximumItems),
        package_(model::Package::create(target)) {}

  RepairReport run() {
    CheckedPart const* const manifest = findManifest();
    for (CheckedPart const& part : source_.parts()) {
      if (options_.checkpoint) options_.checkpoint();
      if (!isRelationshipsPart(part) && &part != manifest) save(part);
      if (isRelationshipsPart(part) && !source_.isSound(part)) report_.lostParts.push_back(wideName(part.name()));
    }
    saveManifest(manifest);
    listMissing();
    saveRelationships();
    package_->save();
    return std::move(report_);
  }

 private:
  static bool isRelationshipsPart(CheckedPart const& part) { return model::detail::isRelationshipsName(part.name()); }

  CheckedPart const* findManifest() const;
  std::unique_ptr<InputStream> openSound(CheckedPart const& part);
  model::ContentType typeOf(CheckedPart const& part);
  bool save(CheckedPart const& part);
  bool copy(CheckedPart const& part, model::ContentType const& type);
  bool write(std::u16string const& name, model::ContentType const& type, InputStream& content);
  void saveManifest(CheckedPart const* manifest);
  void repairTree(CheckedPart const& manifest, InputStream& content, ManifestOutcome outcome, EntryTrust trust);
  void replaceManifest(CheckedPart const* manifest, RepairedTree const& tree);
  void saveFoundContents();
  void saveRelationships();
  void saveRelationshipsOf(std::string const& source);
  bool add(model::RelationshipSource& to, model::RelationshipRecord const& record);
  bool isLost(std::u16string const& name) const;
  void relateOwnedParts();
  bool isContainerSound() const;
  void listMissing();

  model::zip::Reader& container_;
  model::detail::PackageReader const& reader_;
  PackageCheck const& source_;
  EncryptionCheck const& encryption_;
  RepairOptions const& options_;
  model::zip::Salvage salvage_;
  std::unique_ptr<model::Package> package_;
  SavedParts saved_;
  RepairReport report_;
};

CheckedPart const* Repairer::findManifest() const {
  for (auto const& owned : kManifests) {
    auto const targets = source_.targetsOf(owned.relationshipType);
    if (!targets.empty()) return targets.front();
  }
  for (auto const& owned : kManifests)
    if (CheckedPart const* const part = source_.find(std::u16string(owned.name)))
      if (!part->type || part->type->is(owned.contentType)) return part;
  return nullptr;
}

/// The verified content of a part, or null. That of a long part is verified only when its stream has ended.
std::unique_ptr<InputStream> Repairer::openSound(CheckedPart const& part) {
  try {
    if (source_.isSound(part)) return source_.open(part);
  } catch (model::InvalidItem const&) {
    return nullptr;
  }
  return part.items().size() == 1 ? salvage_.open(part.item) : nullptr;
}

model::ContentType Repairer::typeOf(CheckedPart const& part) {
  if (part.type && part.type->value) return *part.type->value;
  report_.areContentTypesLost = true;
  for (model::detail::OwnedPart const& owned : ownedParts())
    if (model::detail::equalIgnoringCase(owned.name, wideName(part.name())))
      return model::ContentType(std::u16string(owned.contentType));
  return model::ContentType(kUnknownType);
}

bool Repairer::save(CheckedPart const& part) {
  if (copy(part, typeOf(part))) return true;
  report_.lostParts.push_back(wideName(part.name()));
  return false;
}

bool Repairer::copy(CheckedPart const& part, model::ContentType const& type) {
  auto const content = openSound(part);
  return content && write(wideName(part.name()), type, *content);
}

/// False where the content turns out to be damaged, or the rules allow no such part.
bool Repairer::write(std::u16string const& name, model::ContentType const& type, InputStream& content) try {
  model::Part const part = package_->createPart(model::PartName(name), type);
  auto const output = part.getOutputStream();
  try {
    StreamHelper::copyStreamToStream(content, *output);
    output->close();
  } catch (model::InvalidItem const&) {
    output->abandon();
    package_->deletePart(part.getName());
    return false;
  }
  saved_.all.insert(name);
  if (isMarkedCompressed(type)) saved_.compressed.insert(name);
  ++report_.parts;
  report_.savedParts.push_back(name);
  report_.bytes += part.getSize();
  return true;
} catch (model::InvalidPartName const&) {
  return false;
} catch (model::PartNameClash const&) {
  return false;
} catch (model::InvalidContentType const&) {
  return false;
}

void Repairer::saveManifest(CheckedPart const* manifest) {
  auto const targets = source_.allTargets();
  for (std::size_t i = 0; i < targets.size(); ++i)
    if (targets[i]) saved_.targets.insert(wideName(source_.parts()[i].name()));
  if (!manifest) return saveFoundContents();
  bool const isEncrypted = EncryptionCheck::isEncrypted(*manifest);
  auto const content = isEncrypted ? nullptr : openSound(*manifest);
  if (content) return repairTree(*manifest, *content, ManifestOutcome::Whole, EntryTrust::All);
  if (isEncrypted && encryption_.isAuthentic(*manifest))
    return repairTree(*manifest, *encryption_.open(*manifest), ManifestOutcome::Whole, EntryTrust::All);
  if (isEncrypted && !encryption_.hasKey() && copy(*manifest, typeOf(*manifest))) {
    report_.manifest = ManifestOutcome::Locked;
    return;
  }
  report_.lostParts.push_back(wideName(manifest->name()));
  report_.manifest = ManifestOutcome::Lost;
  if (isEncrypted || manifest->items().size() != 1) return saveFoundContents();
  auto const beginning = salvage_.beginningOf(manifest->item, kLongestBeginning);
  ByteArrayInAdaptor input(beginning.bytes);
  repairTree(*manifest, input, ManifestOutcome::Partial, beginning.isCutOff ? EntryTrust::All : EntryTrust::Files);
}

void Repairer::repairTree(CheckedPart const& manifest, InputStream& content, ManifestOutcome outcome,
                          EntryTrust trust) {
  RepairedTree tree;
  bool const isWhole = tree.read(content, encryption_.namesLeftOut(manifest));
  report_.manifest = isWhole ? outcome : tree.isEmpty() ? ManifestOutcome::Lost : ManifestOutcome::Partial;
  // The entries of version 1 have parts of any name, so that nothing tells which contents belong to none.
  tree.settle(trust, saved_, report_);
  bool const isKept = outcome == ManifestOutcome::Whole && (tree.isVersion1() || (isWhole && !tree.hasChanged()));
  if (isKept && copy(manifest, typeOf(manifest))) return;
  replaceManifest(&manifest, tree);
}

/// Contents of a file system whose manifest cannot be found.
void Repairer::saveFoundContents() {
  RepairedTree tree;
  tree.settle(EntryTrust::All, saved_, report_);
  if (!tree.hasChanged()) return;
  report_.manifest = ManifestOutcome::Lost;
  replaceManifest(nullptr, tree);
}

/// With a key that opens the contents the new manifest is encrypted too: paths are as secret as before.
void Repairer::replaceManifest(CheckedPart const* manifest, RepairedTree const& tree) {
  model::ContentType const plain(std::u16string(manifest::kPart.contentType));
  std::vector<unsigned char> bytes;
  ByteArrayOutAdaptor buffer(bytes);
  tree.write(buffer);
  std::istringstream document(std::string(bytes.begin(), bytes.end()));
  std::unique_ptr<IContentSource> source = std::make_unique<StreamContentSource>(document, plain);
  if (encryption_.countAuthentic() > 0)
    source = std::make_unique<EncryptionWithInlineIVTransform>(
        std::move(source), std::make_shared<CryptoEncryptor>(*options_.key), kEncryptionAlgorithm,
        createIVGenerator(IVMode::Random, {}));
  std::u16string const name = manifest ? wideName(manifest->name()) : std::u16string(manifest::kPart.name);
  InputStream& content = source->getInputStream();
  write(name, source->getContentType(), content);
}

void Repairer::saveRelationships() {
  saveRelationshipsOf("");
  for (CheckedPart const& part : source_.parts())
    if (saved_.all.contains(wideName(part.name()))) saveRelationshipsOf(part.name());
  relateOwnedParts();
}

void Repairer::saveRelationshipsOf(std::string const& source) {
  auto const* const relationships = reader_.state().relationshipsOf(source.empty() ? source : source.substr(1));
  if (!relationships) return;
  std::optional<model::Part> part;
  if (!source.empty()) part = package_->getPart(model::PartName(wideName(source)));
  model::RelationshipSource& to = part ? static_cast<model::RelationshipSource&>(*part) : *package_;
  for (auto const& record : relationships->records())
    if (!add(to, *record.second)) ++report_.lostRelationships;
}

bool Repairer::isLost(std::u16string const& name) const {
  auto const isIt = [&](std::u16string const& lost) { return model::detail::equalIgnoringCase(lost, name); };
  return std::ranges::any_of(report_.lostParts, isIt) && !package_->hasPart(model::PartName(name));
}

/// Without those that lead to parts that are lost: readers of the package would stumble over them.
bool Repairer::add(model::RelationshipSource& to, model::RelationshipRecord const& record) try {
  if (record.mode == model::TargetMode::External) {
    to.createExternalRelationship(*record.type, record.target, record.id);
    return true;
  }
  auto const target = model::detail::targetNameOf(record);
  if (target && isLost(wideName(*target))) return false;
  to.createInternalRelationship(*record.type, model::URI(record.target), record.id);
  return true;
} catch (model::InvalidRelationship const&) {
  return false;
}

/// Leads to the parts of our managers where the relationships of the package are lost.
void Repairer::relateOwnedParts() {
  if (reader_.knowsRelationships() && reader_.state().relationshipsOf("")) return;
  for (model::detail::OwnedPart const& owned : ownedParts()) {
    std::u16string const type(owned.relationshipType), name(owned.name);
    auto const part = package_->findPart(model::PartName(name));
    if (part && package_->getRelationshipsByType(type).empty() &&
        part->getContentType().toString().starts_with(owned.contentType))
      package_->createInternalRelationship(type, model::URI(name));
  }
}

bool Repairer::isContainerSound() const {
  for (std::size_t item = 0; item < source_.itemCount(); ++item)
    if (!container_.isSound(item)) return false;
  return container_.hasWholeDirectory();
}

/// Parts that content types or relationships name and that are in the package no longer. Without damage to the
/// container they were not there before.
void Repairer::listMissing() {
  if (isContainerSound()) return;
  if (source_.parts().empty()) report_.areContentTypesLost = true;  // they are all that can be seen
  std::set<std::u16string> known(report_.lostParts.begin(), report_.lostParts.end());
  auto const list = [&](std::u16string const& name) {
    bool const isRelationships = model::PartName(name).isRelationshipsPart();
    if (!isRelationships && !package_->hasPart(model::PartName(name)) && known.insert(name).second)
      report_.lostParts.push_back(name);
  };
  for (auto const& declared : reader_.state().declared.overrides) list(wideName(declared.first));
  if (auto const* const relationships = reader_.state().relationshipsOf(""))
    for (auto const& record : relationships->records())
      if (auto const target = model::detail::targetNameOf(*record.second))
        if (!source_.find(wideName(*target))) list(wideName(*target));
}

/// A damaged package, all of whose items have been read.
class Scan {
 public:
  Scan(std::u16string const& path, RepairOptions const& options)
      : faults_(kListedFaults),
        state_(std::make_shared<model::PackageState>()),
        bytes_(model::zip::openFileBytes(toUTF8String(path))),
        container_(bytes_, options.limits.maximumItems, faults_, model::zip::HeaderWalk::Thorough),
        reader_(state_, container_, options.limits, faults_) {
    state_->isReadOnly = true;
    if (container_.archive()->size() == 0) throw model::InvalidPackage("The file holds no item of a package");
    if (!reader_.checkTotalSize()) throw model::InvalidPackage("The items of the package are larger than the limit");
    reader_.identify();
    source_.emplace(reader_, options.limits, faults_);
    encryption_.emplace(*source_, options.key);
    container_.readItems([&](std::size_t item, bool isSound) { encryption_->finish(item, isSound); },
                         [&](std::size_t item, std::span<unsigned char const> data) { encryption_->take(item, data); });
    encryption_->finishPieces();
    reader_.readRelationships();
  }

  std::unique_ptr<model::Package> makePackage() const { return reader_.package(); }

  bool hasWrongKey() const {
    if (!encryption_->hasKey() || encryption_->countAuthentic() > 0) return false;
    return std::ranges::any_of(source_->parts(), [&](CheckedPart const& part) {
      return EncryptionCheck::isEncrypted(part) && source_->isSound(part) &&
             !EncryptionCheck::isTooShort(source_->sizeOf(part));
    });
  }

  RepairReport repairTo(std::u16string const& target, RepairOptions const& options) {
    return Repairer(bytes_, container_, reader_, *source_, *encryption_, target, options).run();
  }

 private:
  FaultList faults_;
  std::shared_ptr<model::PackageState> state_;
  std::shared_ptr<model::zip::RandomAccessBytes const> bytes_;
  model::zip::Reader container_;
  model::detail::PackageReader reader_;
  std::optional<PackageCheck> source_;
  std::optional<EncryptionCheck> encryption_;
};

}  // namespace

bool RepairReport::isComplete() const {
  bool const hasManifest = manifest != ManifestOutcome::Partial && manifest != ManifestOutcome::Lost;
  return hasManifest && lostParts.empty() && lostEntries.empty() && found.empty() && lostRelationships == 0 &&
         !areContentTypesLost && !isKeyWrong;
}

RepairReport repairPackage(std::u16string const& path, std::u16string const& target, RepairOptions const& options) {
  RepairOptions withKey = options;
  std::unique_ptr<Scan> scan;
  if (!options.key && options.findKey) {
    scan = std::make_unique<Scan>(path, options);
    withKey.key = options.findKey(*scan->makePackage());
  }
  if (!scan || withKey.key) scan = std::make_unique<Scan>(path, withKey);
  if (!scan->hasWrongKey()) return scan->repairTo(target, withKey);
  RepairReport report;
  report.isKeyWrong = true;
  return report;
}

}  // namespace opc::ztservices
