// SPDX-License-Identifier: Apache-2.0
#include "package/PackageState.hpp"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "container/ContentWriter.hpp"
#include "container/ZipFormat.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/Messages.hpp"
#include "package/PartNameRules.hpp"
#include "package/PieceStream.hpp"
#include "package/RelationshipsPart.hpp"
#include "text/Narrow.hpp"

namespace opc::model::detail {
namespace {

/// What the part of a name is kept by: without the leading slash.
std::string_view keyOf(std::string_view name) { return name.substr(std::min<std::size_t>(1, name.size())); }

}  // namespace

PackageState::PackageState() : spool(makeSpool()) {}

PackageState::~PackageState() = default;

PartTable::iterator PackageState::find(std::string_view name) {
  return name.empty() || name.front() != '/' ? parts.end() : parts.find(keyOf(name));
}

PartTable::iterator PackageState::findExactly(PartName const& name) {
  std::string const narrow = narrowName(name.toString());
  auto const part = find(narrow);
  return part != parts.end() && part->first.text() == keyOf(narrow) ? part : parts.end();
}

PartTable::iterator PackageState::get(PartName const& name) {
  auto const part = findExactly(name);
  if (part == parts.end()) throw PartNotFound(messages::partNotFound(name.toString()));
  return part;
}

std::string PackageState::nameOf(PartTable::const_iterator part) { return std::string("/").append(part->first.text()); }

PartName PackageState::partNameOf(PartTable::const_iterator part) { return PartName(wideName(nameOf(part))); }

std::string_view PackageState::nameOf(LooseItem const& item) const { return archive->entry(item.index).name; }

LooseItem const* PackageState::findItem(std::string_view key) const {
  auto const takes = [this](LooseItem const& item) { return nameOf(item).substr(0, item.nameLength); };
  auto const found = std::lower_bound(items.begin(), items.end(), key, [&](LooseItem const& item, std::string_view k) {
    return NameLess::less(takes(item), k);
  });
  return found != items.end() && equalIgnoringCase(takes(*found), key) ? &*found : nullptr;
}

/// No two parts of a package stand in each other's way. So a part that the name continues is the last one before it,
/// and one that continues the name the first one from it on (NameLess): one look-up finds both.
std::optional<std::string> PackageState::existingClash(std::string_view name) {
  return existingClash(name, parts.lower_bound(keyOf(name)));
}

std::optional<std::string> PackageState::existingClash(std::string_view name, PartTable::iterator next) {
  if (name.empty() || name.front() != '/') return std::nullopt;
  std::string_view const key = keyOf(name);
  if (next != parts.begin() && continues(key, std::prev(next)->first.text())) return nameOf(std::prev(next));
  bool const isFree = next == parts.end() || NameLess::less(key, next->first.text());
  if (!isFree) return nameOf(next);
  if (LooseItem const* const item = findItem(key)) return std::string("/").append(nameOf(*item), 0, item->nameLength);
  if (next != parts.end() && continues(next->first.text(), key)) return nameOf(next);
  return std::nullopt;
}

std::optional<std::u16string> PackageState::clash(std::u16string const& name) {
  std::string narrow = narrowName(name);
  if (free_ && free_->name == narrow) return std::nullopt;
  auto const bad = lengthUpToBadSegment(narrow);
  auto const next = parts.lower_bound(keyOf(narrow));
  auto const existing = existingClash(narrow, next);
  if (bad && (!existing || existing->size() > *bad)) return name.substr(0, *bad);
  if (existing) return toString(*existing, false);
  free_ = FreeName{std::move(narrow), next};
  return std::nullopt;
}

PartTable::iterator PackageState::insert(std::string_view name, MediaType const* type) {
  auto const next = free_ && free_->name == name ? free_->next : parts.lower_bound(keyOf(name));
  free_.reset();
  PartRecord record;
  record.type = type;
  return parts.emplace_hint(next, PartKey::copyOf(keyOf(name)), std::move(record));
}

void PackageState::eraseRecord(PartTable::iterator part) noexcept {
  free_.reset();
  parts.erase(part);
}

void PackageState::erase(PartTable::iterator part) {
  auto const write = writes.find(nameOf(part));
  if (write != writes.end()) {
    write->second->isDeleted = true;
    writes.erase(write);
  }
  eraseRecord(part);
}

std::unique_ptr<InputStream> PackageState::openContent(PartTable::iterator part) {
  awaitContent(part);
  refresh(part);
  PartRecord const& record = part->second;
  switch (record.place) {
    case Place::Archive:
      return archive->openContent(static_cast<std::size_t>(record.offset));
    case Place::Pieces:
      return openPieces(archive, pieces[static_cast<std::size_t>(record.offset)]);
    case Place::Spool:
      return contentOf(record).open(std::string(part->first.text()));
    case Place::Nowhere:
    case Place::Outdated:
      break;
  }
  static std::vector<unsigned char> const kNothing;
  return std::make_unique<ByteArrayInAdaptor>(kNothing);
}

std::uint64_t PackageState::sizeOf(PartTable::iterator part) {
  awaitContent(part);
  refresh(part);
  PartRecord const& record = part->second;
  if (record.place == Place::Archive) return archive->entry(static_cast<std::size_t>(record.offset)).size;
  if (record.place != Place::Pieces) return record.size;
  std::uint64_t size = 0;
  for (auto const piece : pieces[static_cast<std::size_t>(record.offset)]) size += archive->entry(piece).size;
  return size;
}

std::uint64_t PackageState::storedSizeOf(PartTable::iterator part) {
  awaitContent(part);
  refresh(part);
  PartRecord const& record = part->second;
  if (record.place == Place::Archive) return archive->entry(static_cast<std::size_t>(record.offset)).storedSize;
  if (record.place != Place::Pieces) return record.storedSize;
  std::uint64_t size = 0;
  for (auto const piece : pieces[static_cast<std::size_t>(record.offset)]) size += archive->entry(piece).storedSize;
  return size;
}

void PackageState::refresh(PartTable::iterator part) {
  if (part->second.place != Place::Outdated) return;
  zip::ContentWriter writer(spool, effort);
  writeRelationships(*part->second.relationships, writer);
  writer.close();
  setContent(part->second, writer.content());
}

void PackageState::refreshAll() {
  for (auto part = parts.begin(); part != parts.end(); ++part) refresh(part);
}

zip::Content PackageState::contentOf(PartRecord const& record) const {
  std::shared_ptr<zip::Spool const> const contentSpool = record.place == Place::Spool ? spools[record.spool] : spool;
  return {contentSpool, record.offset, record.storedSize,
          record.size,  record.crc,    record.isDeflated ? zip::kDeflated : zip::kStored};
}

std::uint16_t PackageState::numberOf(std::shared_ptr<zip::Spool const> const& contentSpool) {
  auto const found = std::find(spools.begin(), spools.end(), contentSpool);
  auto const number = narrow<std::uint16_t>(found - spools.begin());
  if (found == spools.end()) spools.push_back(contentSpool);
  return number;
}

void PackageState::setContent(PartRecord& record, zip::Content const& content) {
  record.spool = numberOf(content.spool);
  record.offset = content.offset;
  record.storedSize = content.storedSize;
  record.size = content.size;
  record.crc = content.crc;
  record.isDeflated = content.method == zip::kDeflated;
  record.place = Place::Spool;
}

void PackageState::awaitContent(PartTable::const_iterator part) {
  auto const write = writes.empty() ? writes.end() : writes.find(nameOf(part));
  if (write != writes.end() && write->second->isDeflating) deflating.deliverAll();
}

RelationshipSet* PackageState::relationshipsOf(std::string_view source) {
  auto const part = find(relationshipsNameOf(source));
  return part == parts.end() ? nullptr : part->second.relationships.get();
}

PartTable::iterator PackageState::relationshipsPartOf(std::string_view source) {
  std::string const name = relationshipsNameOf(source);
  auto part = find(name);
  if (part != parts.end()) return part;
  if (name.size() - 1 > kMaximumItemName) throw InvalidPartName(messages::partNameTooLong(wideName(name)));
  if (auto const existing = existingClash(name))
    throw PartNameClash(messages::partNameClash(wideName(name), toString(*existing, false)));
  auto relationships = std::make_unique<RelationshipSet>();
  part = insert(name, types.intern(kRelationshipsType));
  part->second.relationships = std::move(relationships);
  part->second.place = Place::Outdated;
  return part;
}

void PackageState::relationshipsChanged(PartTable::iterator part) {
  if (part->second.relationships->empty())
    eraseRecord(part);
  else
    part->second.place = Place::Outdated;
}

void PackageState::bind(std::string newPath) {
  path = std::move(newPath);
  spool = makeSpool();
}

void PackageState::setThreads(std::size_t count) {
  deflating.setThreads(count);
  hasThreads = count > 0;
  spool->setWritesBehind(hasThreads);
}

std::shared_ptr<zip::Spool> PackageState::makeSpool() const {
  auto made = std::make_shared<zip::Spool>(std::filesystem::path(path).parent_path().string());
  made->setWritesBehind(hasThreads);
  return made;
}

void PackageState::requirePackage() const {
  if (isGone) throw InvalidState(messages::kPackageIsGone);
}

void PackageState::requireWritable() const {
  requirePackage();
  if (isReadOnly) throw PackageIsReadOnly(messages::packageIsReadOnly(path));
}

void PackageState::requireNoOpenWrites() {
  deflating.deliverAll();
  for (auto const& [name, write] : writes)
    if (write->isOpen) throw InvalidState(messages::streamIsOpen(name));
  for (auto const& [name, write] : writes)
    if (write->failure) std::rethrow_exception(write->failure);
}

}  // namespace opc::model::detail
