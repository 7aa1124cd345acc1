// SPDX-License-Identifier: Apache-2.0
#include "package/PackageReader.hpp"

#include <algorithm>
#include <utility>

#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/Messages.hpp"
#include "package/PartNameRules.hpp"
#include "package/PieceStream.hpp"

namespace opc::model::detail {
namespace {

XmlLimits limitsOf(OpenOptions const& options) {
  XmlLimits limits;
  limits.depth = options.maximumXmlDepth;
  limits.attributeBytes = options.maximumXmlAttributeBytes;
  limits.documentBytes = options.maximumMarkupBytes;
  return limits;
}

/// Whether the content is no XML document at all but for an XML declaration, as programs leave behind that
/// broke off. As a relationships part it says nothing, which does no harm. Longer content is not looked at.
bool holdsNoMarkup(InputStream& input) {
  constexpr std::size_t kEnough = 4096;  // no declaration is longer
  std::string text(kEnough, '\0');
  std::size_t size = 0;
  while (size < kEnough && !input.isEnd()) size += input.read(text.data() + size, kEnough - size);
  if (!input.isEnd()) return false;
  std::string_view rest = std::string_view(text).substr(0, size);
  if (rest.starts_with("\xEF\xBB\xBF")) rest.remove_prefix(3);
  if (rest.starts_with("<?xml ")) rest.remove_prefix(std::min(rest.find("?>"), rest.size()));
  return rest.find('<') == std::string_view::npos;
}

std::string bytes(std::uint64_t limit) { return std::to_string(limit) + " bytes"; }

[[noreturn]] void failAt(std::string_view item, std::string_view fault) {
  throw InvalidPackage(messages::invalidItem(item, fault));
}

}  // namespace

bool isMarkedAsFolder(zip::Entry const& item) {
  constexpr std::uint32_t kVolumeLabel = 0x08, kFolder = 0x10;
  bool const isOfMSDOS = item.versionMadeBy >> 8 == 0;
  return isOfMSDOS && (item.externalAttributes & (kVolumeLabel | kFolder)) != 0;
}

bool isFolder(zip::Entry const& item) {
  if (item.name.ends_with('/')) return true;
  return isMarkedAsFolder(item) && item.size == 0 && !isRelationshipsName("/" + std::string(item.name));
}

PackageReader::PackageReader(PackageState& state, zip::Reader& container, OpenOptions const& options)
    : state_(state),
      container_(container),
      archive_(*state.archive),
      options_(options),
      markupBytesLeft_(options.maximumMarkupBytes),
      relationshipCount_{options.maximumRelationships},
      reader_(nullptr, limitsOf(options), XmlSchemaLocations::Refuse),
      isDone_(archive_.size()) {}

void PackageReader::read() {
  checkTotalSize();
  container_.checkHeaders();
  collectPieces();
  findContentTypes();
  classifyItems();
  keepUnusedOverrides();
  refuseEqualNames();
  refuseDerivedNames();
  readAllRelationships();
}

/// Sizes of items may be summed up without a thought from here on.
void PackageReader::checkTotalSize() const {
  std::uint64_t left = options_.maximumTotalBytes;
  for (std::uint32_t i = 0; i < archive_.size(); ++i) {
    zip::Entry const item = archive_.entry(i);
    if (item.size > left)
      failAt(item.name, "the items up to this one are larger than " + bytes(options_.maximumTotalBytes) + " together");
    left -= item.size;
  }
}

void PackageReader::collectPieces() {
  PieceCollector collector;
  for (std::uint32_t i = 0; i < archive_.size(); ++i) {
    auto const piece = parsePieceName(archive_.entry(i).name);
    if (!piece) continue;
    collector.add(*piece, i);
    isDone_[i] = true;
  }
  sequences_ = collector.sequences();
}

void PackageReader::findContentTypes() {
  std::vector<std::vector<std::uint32_t>> found;
  for (std::uint32_t i = 0; i < archive_.size(); ++i)
    if (equalIgnoringCase(archive_.entry(i).name, kContentTypesItem)) {
      found.push_back({i});
      isDone_[i] = true;
    }
  std::erase_if(sequences_, [&](PieceCollector::Sequence const& sequence) {
    if (!equalIgnoringCase(sequence.name, kContentTypesItem)) return false;
    if (!sequence.isComplete) failAt(sequence.name, "a piece is missing");
    found.push_back(sequence.items);
    return true;
  });
  if (found.empty()) throw InvalidPackage("Not a package: it has no content types");
  if (found.size() > 1) failAt(kContentTypesItem, "there is more than one");
  std::uint64_t size = 0;
  for (auto const item : found.front()) size += archive_.entry(item).size;
  readMarkup(kContentTypesItem, size, [&] {
    PieceStream input(state_.archive, found.front());
    contentTypes_ = readContentTypes(reader_, input, options_.maximumContentTypes, state_.types);
  });
}

template <typename Parse>
void PackageReader::readMarkup(std::string const& name, std::uint64_t size, Parse const& parse) {
  if (size > markupBytesLeft_)
    failAt(name, "content types and relationships are larger than " + bytes(options_.maximumMarkupBytes) + " together");
  markupBytesLeft_ -= size;
  try {
    parse();
  } catch (InvalidPackage const& error) {
    failAt(name, error.what());
  } catch (InvalidXMLDocument const& error) {
    failAt(name, error.what());
  } catch (InvalidItem const& error) {
    throw InvalidPackage(error.what());  // it names the item
  }
}

void PackageReader::classifyItems() {
  for (std::uint32_t i = 0; i < archive_.size(); ++i)
    if (!isDone_[i]) classify(i);
  for (auto const& sequence : sequences_) classifySequence(sequence);
}

void PackageReader::classify(std::uint32_t index) {
  zip::Entry const entry = archive_.entry(index);
  std::string_view const item = entry.name;
  bool isUntyped = false;
  MediaType const* const type = isFolder(entry) ? nullptr : partTypeOf(item, isUntyped);
  if (!type) {
    addLooseItem(index, item.size(), isUntyped);
    return;
  }
  PartRecord& record = addPart(item, type);
  record.place = Place::Archive;
  record.offset = index;
}

void PackageReader::classifySequence(PieceCollector::Sequence const& sequence) {
  bool isUntyped = false;
  MediaType const* const type = partTypeOf(sequence.name, isUntyped);
  if (!type || !sequence.isComplete) {
    for (auto const item : sequence.items) addLooseItem(item, sequence.name.size(), isUntyped);
    return;
  }
  std::string_view const first = archive_.entry(sequence.items.front()).name;
  PartRecord& record = addPart(first.substr(0, sequence.name.size()), type);
  record.place = Place::Pieces;
  record.offset = state_.pieces.size();
  state_.pieces.push_back(sequence.items);
}

MediaType const* PackageReader::partTypeOf(std::string_view item, bool& isUntyped) {
  name_.assign(1, '/').append(item);
  if (!isValidPartName(name_)) return nullptr;
  MediaType const* const type = contentTypes_.typeOf(name_);
  isUntyped = type == nullptr;
  if (isRelationshipsName(name_)) {
    if (!type) failAt(name_, "a relationships part without a content type");
    if (!type->is(kRelationshipsType)) failAt(name_, "a relationships part with another content type");
    if (isRelationshipsName(sourceNameOf(name_))) failAt(name_, "a relationships part with relationships");
  }
  return type && type->value ? type : nullptr;
}

PartRecord& PackageReader::addPart(std::string_view key, MediaType const* type) {
  std::size_t const before = state_.parts.size();
  auto const part = state_.parts.emplace_hint(state_.parts.end(), PartKey::viewOf(key), PartRecord());
  if (state_.parts.size() == before) throw InvalidPackage(messages::namesClash(part->first.text(), key));
  part->second.type = type;
  return part->second;
}

void PackageReader::addLooseItem(std::uint32_t index, std::size_t nameLength, bool isUntyped) {
  state_.items.push_back({index, static_cast<std::uint16_t>(nameLength), isUntyped});
}

void PackageReader::keepUnusedOverrides() {
  for (auto const& [name, entry] : contentTypes_.overrides)
    if (!entry.isUsed) state_.overrides.emplace(name, entry.type);
  state_.defaults = std::move(contentTypes_.defaults);
  contentTypes_ = {};
}

LooseKind PackageReader::kindOf(LooseItem const& item) const {
  zip::Entry const entry = archive_.entry(item.index);
  if (item.nameLength < entry.name.size()) return LooseKind::Piece;
  return isFolder(entry) ? LooseKind::Folder : LooseKind::File;
}

/// Among the items that are no parts, and between them and the parts: equal names, and names that are
/// used both whole and in pieces.
void PackageReader::refuseEqualNames() {
  auto const nameOf = [this](LooseItem const& item) { return archive_.entry(item.index).name; };
  auto const taken = [&](LooseItem const& item) { return nameOf(item).substr(0, item.nameLength); };
  auto& items = state_.items;
  std::stable_sort(items.begin(), items.end(),
                   [&](LooseItem const& a, LooseItem const& b) { return NameLess::less(taken(a), taken(b)); });
  for (auto item = items.begin(); item != items.end(); ++item) {
    auto const part = state_.parts.find(taken(*item));
    if (part != state_.parts.end()) throw InvalidPackage(messages::namesClash(part->first.text(), nameOf(*item)));
    auto const next = item + 1;
    if (next == items.end() || !equalIgnoringCase(taken(*item), taken(*next))) continue;
    if (!mayShareName(kindOf(*item), kindOf(*next)))
      throw InvalidPackage(messages::namesClash(nameOf(*item), nameOf(*next)));
  }
}

/// The names that continue a name stand right behind it.
void PackageReader::refuseDerivedNames() {
  auto part = state_.parts.begin();
  if (part == state_.parts.end()) return;
  for (auto next = std::next(part); next != state_.parts.end(); part = next++)
    if (continues(next->first.text(), part->first.text()))
      throw InvalidPackage(messages::namesClash(part->first.text(), next->first.text()));
}

void PackageReader::readAllRelationships() {
  for (auto part = state_.parts.begin(); part != state_.parts.end(); ++part)
    if (endsIgnoringCase(part->first.text(), ".rels") && isRelationshipsName(PackageState::nameOf(part)))
      readRelationshipsOf(part);
}

void PackageReader::readRelationshipsOf(PartTable::iterator part) {
  std::string const name = PackageState::nameOf(part);
  auto relationships = std::make_unique<RelationshipSet>();
  readMarkup(name, state_.sizeOf(part), [&] {
    auto const input = state_.openContent(part);
    try {
      readRelationships(reader_, *input, sourceNameOf(name), state_.texts, relationshipCount_, *relationships);
    } catch (InvalidXMLDocument const&) {
      if (!holdsNoMarkup(*state_.openContent(part))) throw;
    }
  });
  part->second.relationships = std::move(relationships);
}

}  // namespace opc::model::detail
