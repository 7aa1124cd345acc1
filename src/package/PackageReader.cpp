// SPDX-License-Identifier: Apache-2.0
#include "package/PackageReader.hpp"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/Messages.hpp"
#include "package/PartNameRules.hpp"
#include "package/Pieces.hpp"

namespace opc::model::detail {
namespace {

XmlLimits limitsOf(OpenOptions const& options) {
  XmlLimits limits;
  limits.depth = options.maximumXmlDepth;
  limits.attributeBytes = options.maximumXmlAttributeBytes;
  limits.documentBytes = options.maximumMarkupBytes;
  return limits;
}

std::string bytes(std::uint64_t limit) { return std::to_string(limit) + " bytes"; }

std::string slashed(std::string_view key) { return std::string("/").append(key); }

/// Whether MS-DOS attributes mark the item as a folder or a volume label. The same bits of other systems' attributes
/// are not reliable.
bool isMarkedAsFolder(zip::Entry const& item) {
  constexpr std::uint32_t kVolumeLabel = 0x08, kFolder = 0x10;
  bool const isOfMSDOS = item.versionMadeBy >> 8 == 0;
  return isOfMSDOS && (item.externalAttributes & (kVolumeLabel | kFolder)) != 0;
}

/// Folders, by name or by mark, and volume labels. A mark on an item with content or on a relationships part does not
/// count, since it would hide content that other readers see.
bool isDirectoryItem(zip::Entry const& item) {
  if (item.name.ends_with('/')) return true;
  return isMarkedAsFolder(item) && item.size == 0 && !isRelationshipsName(slashed(item.name));
}

}  // namespace

/// The kinds of items that are no parts; the kind decides whether two of them may share a name.
enum class PackageReader::LooseKind { File, Folder, Piece };

/// The classification of an item by its name and content type.
struct PackageReader::Classified {
  bool isPart = false;
  MediaType const* type = nullptr;
  bool isUntyped = false;
};

PackageReader::PackageReader(std::shared_ptr<PackageState> state, zip::Reader& container, OpenOptions const& options,
                             Faults& faults)
    : state_(std::move(state)),
      container_(container),
      archive_(container.archive()),
      options_(options),
      faults_(faults),
      markupBytesLeft_(options.maximumMarkupBytes),
      relationshipCount_{options.maximumRelationships},
      reader_(nullptr, limitsOf(options), XmlSchemaLocations::Refuse),
      isDone_(archive_->size()) {
  state_->parts.read(archive_);
  state_->contents.read(archive_);
}

void PackageReader::read() {
  checkTotalSize();
  container_.checkHeaders();
  identify();
  readRelationships();
}

bool PackageReader::checkTotalSize() {
  std::uint64_t left = options_.maximumTotalBytes;
  for (std::uint32_t i = 0; i < archive_->size(); ++i) {
    zip::Entry const item = archive_->entry(i);
    if (item.size > left) {
      refuse(code::kInvalidPackage, slashed(item.name),
             messages::invalidItem(item.name, "the items up to this one are larger than " +
                                                  bytes(options_.maximumTotalBytes) + " together"));
      return false;
    }
    left -= item.size;
  }
  return true;
}

void PackageReader::identify() {
  collectPieces();
  findContentTypes();
  classifyItems();
  keepUnusedOverrides();
  checkEqualNames();
  checkDerivedNames();
}

std::vector<ReadPart> PackageReader::parts() const {
  std::vector<ReadPart> parts;
  parts.reserve(state_->parts.size() + clashing_.size());
  for (auto const& [key, record] : state_->parts) parts.push_back(partOf(key.text(), record));
  if (clashing_.empty()) return parts;
  for (auto const& [key, record] : clashing_) parts.push_back(partOf(key, record));
  std::stable_sort(parts.begin(), parts.end(),
                   [](ReadPart const& a, ReadPart const& b) { return NameLess::less(a.key, b.key); });
  // Of items with the same name one is a part.
  auto const isSame = [](ReadPart const& a, ReadPart const& b) { return a.key == b.key; };
  parts.erase(std::unique(parts.begin(), parts.end(), isSame), parts.end());
  return parts;
}

ReadPart PackageReader::partOf(std::string_view key, PartRecord const& record) const {
  if (record.place == Place::Pieces) return {key, record.type, 0, &state_->contents.piecesOf(record)};
  return {key, record.type, record.number, nullptr};
}

bool PackageReader::areSound(std::span<std::uint32_t const> items) const {
  return std::ranges::all_of(items, [this](std::uint32_t item) { return container_.isSound(item); });
}

std::unique_ptr<InputStream> PackageReader::open(ReadPart const& part) const {
  return part.pieces ? openPieces(archive_, *part.pieces) : archive_->openContent(part.item);
}

void PackageReader::collectPieces() {
  PieceCollector collector;
  for (std::uint32_t i = 0; i < archive_->size(); ++i) {
    std::string_view const name = archive_->entry(i).name;
    auto const piece = parsePieceName(name);
    if (!piece) continue;
    isDone_[i] = true;
    try {
      collector.add(*piece, i);
    } catch (InvalidPackage const& fault) {
      refuse(code::kDuplicatePiece, slashed(name), fault.what());
    }
  }
  sequences_ = collector.sequences();
}

void PackageReader::findContentTypes() {
  std::vector<std::vector<std::uint32_t>> found;
  for (std::uint32_t i = 0; i < archive_->size(); ++i)
    if (equalIgnoringCase(archive_->entry(i).name, kContentTypesItem)) {
      found.push_back({i});
      isDone_[i] = true;
    }
  std::erase_if(sequences_, [&](PieceCollector::Sequence const& sequence) {
    if (!equalIgnoringCase(sequence.name, kContentTypesItem)) return false;
    if (sequence.isComplete)
      found.push_back(sequence.items);
    else
      refuse(code::kMissingPiece, slashed(sequence.name), messages::invalidItem(sequence.name, "a piece is missing"));
    return true;
  });
  if (found.empty()) return refuse(code::kNoContentTypes, {}, "Not a package: it has no content types");
  if (found.size() > 1)
    refuse(code::kSeveralContentTypes, slashed(kContentTypesItem),
           messages::invalidItem(kContentTypesItem, "there is more than one"));
  contentTypesItems_ = std::move(found.front());
  readContentTypes(contentTypesItems_);
}

void PackageReader::readContentTypes(std::vector<std::uint32_t> const& items) {
  std::uint64_t size = 0;
  for (auto const item : items) size += archive_->entry(item).size;
  knowsTypes_ = readMarkup(code::kInvalidContentTypes, kContentTypesItem, size, [&] {
    PieceStream input(archive_, items);
    contentTypes_ = detail::readContentTypes(reader_, input, options_.maximumContentTypes, state_->types);
  });
}

bool PackageReader::readMarkup(char const* code, std::string const& name, std::uint64_t size,
                               std::function<void()> const& parse) {
  std::string const item = name.starts_with('/') ? name : slashed(name);
  auto const fail = [&](char const* fault) { refuse(code, item, messages::invalidItem(name, fault)); };
  if (size > markupBytesLeft_) {
    bool const isAlone = size > options_.maximumMarkupBytes;
    refuse(isAlone ? code : code::kInvalidPackage, isAlone ? item : std::string(),
           messages::invalidItem(name, "content types and relationships are larger than " +
                                           bytes(options_.maximumMarkupBytes) + " together"));
    return false;
  }
  markupBytesLeft_ -= size;
  try {
    parse();
    return true;
  } catch (InvalidPackage const& error) {
    fail(error.what());
  } catch (InvalidXMLDocument const& error) {
    fail(error.what());
  } catch (InvalidItem const& error) {
    faults_.refuseContent(error.what());  // it names the item
  }
  return false;
}

void PackageReader::classifyItems() {
  for (std::uint32_t i = 0; i < archive_->size(); ++i)
    if (!isDone_[i]) classifyItem(i);
  for (auto const& sequence : sequences_) classifySequence(sequence);
}

void PackageReader::classifyItem(std::uint32_t index) {
  zip::Entry const entry = archive_->entry(index);
  std::string_view const item = entry.name;
  if (isDirectoryItem(entry)) return addLooseItem(index, item.size(), false);
  if (faults_.listsAll() && isMarkedAsFolder(entry))
    tolerate(code::kFolderMark, slashed(item),
             messages::invalidItem(slashed(item), "a file that is marked as a folder or a volume label"));
  auto const [isPart, type, isUntyped] = classify(item);
  if (!isPart) return addLooseItem(index, item.size(), isUntyped);
  PartContents::setItem(addPart(item, type), index);
}

void PackageReader::classifySequence(PieceCollector::Sequence const& sequence) {
  if (!sequence.isComplete)
    tolerate(code::kMissingPiece, slashed(sequence.name),
             messages::invalidItem(slashed(sequence.name), "a piece is missing"));
  auto const [isPart, type, isUntyped] = classify(sequence.name);
  if (!isPart || !sequence.isComplete) {
    for (auto const item : sequence.items) addLooseItem(item, sequence.name.size(), isUntyped);
    return;
  }
  std::string_view const first = archive_->entry(sequence.items.front()).name;
  state_->contents.setPieces(addPart(first.substr(0, sequence.name.size()), type), sequence.items);
}

PackageReader::Classified PackageReader::classify(std::string_view item) {
  name_.assign(1, '/').append(item);
  if (!isValidPartName(name_)) {
    if (faults_.listsAll())
      tolerate(code::kInvalidPartName, item.empty() ? item : name_,
               messages::invalidItem(name_, "its name is not one that a part may have"));
    return {};
  }
  if (!knowsTypes_) return {true, nullptr, false};
  MediaType const* const type = contentTypes_.typeOf(name_);
  if (isRelationshipsName(name_)) checkRelationshipsName(type);
  if (faults_.listsAll()) checkType(type);
  return {type && type->value, type, type == nullptr};
}

void PackageReader::checkRelationshipsName(MediaType const* type) {
  auto const fail = [this](char const* code, char const* fault) {
    refuse(code, name_, messages::invalidItem(name_, fault));
  };
  if (!type) fail(code::kRelationshipsType, "a relationships part without a content type");
  if (type && !type->is(kRelationshipsType))
    fail(code::kRelationshipsType, "a relationships part with another content type");
  if (isRelationshipsName(sourceNameOf(name_)))
    fail(code::kRelationshipsOfRelationships, "a relationships part with relationships");
}

/// Reports content types that readers tolerate.
void PackageReader::checkType(MediaType const* type) {
  auto const report = [this](char const* code, std::string const& fault) {
    tolerate(code, name_, messages::invalidItem(name_, fault));
  };
  if (!type && !isRelationshipsName(name_)) report(code::kUntypedItem, "it has no content type");
  if (!type) return;
  if (!type->value)
    report(code::kInvalidContentType, messages::invalidContentType(type->text));
  else if (hasForbiddenParameters(*type->value))
    report(code::kTypeParameters, messages::parametersNotAllowed(type->text));
}

PartRecord& PackageReader::addPart(std::string_view key, MediaType const* type) {
  auto const [part, isNew] = state_->parts.add(key, type);
  if (isNew) return part->second;
  std::string_view const existing = part->first.text();
  faults_.refuse({code::kNamesClash, slashed(key), messages::namesClash(existing, key),
                  messages::namesClash(slashed(existing), slashed(key))});
  PartRecord& record = clashing_.emplace_back(key, PartRecord()).second;
  record.type = type;
  return record;
}

void PackageReader::addLooseItem(std::uint32_t index, std::size_t nameLength, bool isUntyped) {
  items_.push_back({index, static_cast<std::uint16_t>(nameLength), isUntyped});
}

void PackageReader::keepUnusedOverrides() {
  for (auto const& [name, entry] : contentTypes_.overrides)
    if (!entry.isUsed) state_->declared.overrides.emplace(name, entry.type);
  state_->declared.defaults = std::move(contentTypes_.defaults);
  contentTypes_ = {};
}

PackageReader::LooseKind PackageReader::kindOf(LooseItem const& item) const {
  zip::Entry const entry = archive_->entry(item.index);
  if (item.nameLength < entry.name.size()) return LooseKind::Piece;
  return isDirectoryItem(entry) ? LooseKind::Folder : LooseKind::File;
}

/// Reports equal names among the items that are no parts, and between them and the parts, and names that are used both
/// whole and in pieces.
void PackageReader::checkEqualNames() {
  auto const taken = [this](LooseItem const& item) {
    return archive_->entry(item.index).name.substr(0, item.nameLength);
  };
  std::stable_sort(items_.begin(), items_.end(),
                   [&](LooseItem const& a, LooseItem const& b) { return NameLess::less(taken(a), taken(b)); });
  for (auto item = items_.begin(); item != items_.end(); ++item) {
    bool const isSecond = item != items_.begin() && equalIgnoringCase(taken(*std::prev(item)), taken(*item));
    checkLooseItem(isSecond ? &*std::prev(item) : nullptr, *item);
  }
  state_->parts.setItems(std::move(items_));
}

/// Compares an item that is no part with the item before it, if that has the same name, or with the part of that name.
/// Folders may share a name, since some writers list them twice, and so may the pieces of one part.
void PackageReader::checkLooseItem(LooseItem const* before, LooseItem const& item) {
  std::string_view const name = archive_->entry(item.index).name, taken = name.substr(0, item.nameLength);
  std::string_view other;
  if (before) {
    LooseKind const kind = kindOf(item);
    if (kind == kindOf(*before) && kind != LooseKind::File) return;
    other = archive_->entry(before->index).name;
  } else {
    auto const part = state_->parts.find(slashed(taken));
    if (part == state_->parts.end()) return;
    other = part->first.text();
  }
  faults_.refuse({code::kNamesClash, slashed(taken), messages::namesClash(other, name),
                  messages::namesClash(slashed(other), slashed(name))});
}

/// The names that continue a name follow it directly.
void PackageReader::checkDerivedNames() {
  std::string_view base;
  for (auto const& [key, record] : state_->parts) {
    std::string_view const name = key.text();
    if (!base.empty() && continues(name, base))
      faults_.refuse({code::kDerivedName, slashed(name), messages::namesClash(base, name),
                      messages::namesClash(slashed(base), slashed(name))});
    else
      base = name;
  }
}

void PackageReader::refuse(char const* code, std::string_view item, std::string const& message) const {
  faults_.refuse({code, std::string(item), message});
}

void PackageReader::tolerate(char const* code, std::string_view item, std::string const& message) const {
  faults_.tolerate({code, std::string(item), message});
}

}  // namespace opc::model::detail
