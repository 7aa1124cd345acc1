// SPDX-License-Identifier: Apache-2.0
#include "package/PartContents.hpp"

#include <cstddef>
#include <optional>
#include <utility>

#include "opc/model/Exceptions.hpp"
#include "package/Messages.hpp"
#include "package/Pieces.hpp"
#include "package/RelationshipSet.hpp"
#include "text/Narrow.hpp"

namespace opc::model::detail {

zip::Effort effortOf(CompressionLevel level) {
  switch (level) {
    case CompressionLevel::Fast:
      return zip::Effort::Fast;
    case CompressionLevel::Small:
      return zip::Effort::Small;
    case CompressionLevel::Default:
      break;
  }
  return zip::Effort::Default;
}

std::shared_ptr<PartWrites::Write> PartWrites::begin(std::string const& name) {
  auto write = writes_.find(name);
  if (write == writes_.end())
    write = writes_.emplace(name, std::make_shared<Write>()).first;
  else if (write->second->isOpen)
    throw InvalidState(messages::streamIsOpen(name));
  write->second->isOpen = true;
  return write->second;
}

void PartWrites::complete(std::string_view name) noexcept {
  auto const write = writes_.find(name);
  if (write == writes_.end()) return;
  write->second->isOpen = false;
  writes_.erase(write);
}

void PartWrites::abandon(std::string_view name, Write& write) noexcept {
  write.isOpen = false;
  if (!write.isDeleted && !write.failure) complete(name);
}

void PartWrites::deletePart(std::string_view name) noexcept {
  auto const write = writes_.find(name);
  if (write == writes_.end()) return;
  write->second->isDeleted = true;
  writes_.erase(write);
}

void PartWrites::requireNone() const {
  for (auto const& [name, write] : writes_)
    if (write->isOpen) throw InvalidState(messages::streamIsOpen(name));
  for (auto const& [name, write] : writes_)
    if (write->failure) std::rethrow_exception(write->failure);
}

void PartContents::setItem(PartRecord& record, std::uint32_t item) {
  record.place = Place::Archive;
  record.number = item;
}

void PartContents::setPieces(PartRecord& record, Pieces pieces) {
  record.place = Place::Pieces;
  record.number = narrow<std::uint32_t>(pieces_.size());
  pieces_.push_back(std::move(pieces));
}

std::unique_ptr<InputStream> PartContents::open(PartTable::reference part, std::uint64_t offset, std::size_t threads) {
  refresh(part);
  PartRecord const& record = part.second;
  switch (record.place) {
    case Place::Archive:
      return archive_->openContent(record.number, offset, threads);
    case Place::Pieces:
      return zip::startingAt(offset, openPieces(archive_, piecesOf(record)));
    case Place::Store:
      return store_.read(record.number, std::string(part.first.text()), offset);
    case Place::Nowhere:
    case Place::Outdated:
      break;
  }
  static std::vector<unsigned char> const kNothing;
  return std::make_unique<ByteArrayInAdaptor>(kNothing);
}

std::uint64_t PartContents::sizeOf(PartTable::reference part) {
  refresh(part);
  PartRecord const& record = part.second;
  return record.isInArchive() ? sumOverItems(record, &zip::Entry::size) : written(record).size;
}

std::uint64_t PartContents::storedSizeOf(PartTable::reference part) {
  refresh(part);
  PartRecord const& record = part.second;
  return record.isInArchive() ? sumOverItems(record, &zip::Entry::storedSize) : written(record).storedSize;
}

std::optional<std::uint32_t> PartContents::crcOf(PartTable::reference part) {
  refresh(part);
  if (part.second.place != Place::Archive) return std::nullopt;
  return archive_->entry(part.second.number).crc;
}

std::uint64_t PartContents::sumOverItems(PartRecord const& record, std::uint64_t zip::Entry::*size) const {
  if (record.place == Place::Archive) return archive_->entry(record.number).*size;
  std::uint64_t sum = 0;
  for (auto const piece : piecesOf(record)) sum += archive_->entry(piece).*size;
  return sum;
}

zip::Content PartContents::written(PartRecord const& record) {
  return record.place == Place::Store ? store_.content(record.number) : zip::Content();
}

std::unique_ptr<zip::ContentStore::Writer> PartContents::write(PartTable::const_reference part) {
  PartRecord const& record = part.second;
  if (record.place == Place::Store) store_.await(record.number);
  return store_.write(effortFor(record), part.first.text());
}

/// Markup is read whenever a package is used, so it is compressed well even where content is to be written fast.
zip::Effort PartContents::effortFor(PartRecord const& record) const {
  if (record.isStored) return zip::Effort::Store;
  return record.isMarkup && effort_ == zip::Effort::Fast ? zip::Effort::Default : effort_;
}

zip::Content PartContents::writeApart(std::function<void(OutputStream&)> const& writeTo) const {
  return store_.writeApart(effort_, writeTo);
}

void PartContents::replace(PartRecord& record, zip::ContentStore::Number number) noexcept {
  drop(record);
  record.place = Place::Store;
  record.number = number;
}

void PartContents::move(PartRecord& from, PartRecord& to) {
  if (from.place == Place::Store) store_.await(from.number);
  drop(to);
  to.place = std::exchange(from.place, Place::Nowhere);
  to.number = from.number;
  if (to.place == Place::Store) store_.rename(to.number);
}

void PartContents::drop(PartRecord& record) noexcept {
  if (record.place == Place::Store) store_.discard(record.number);
  record.place = Place::Nowhere;
}

void PartContents::relationshipsChanged(PartRecord& record) noexcept {
  drop(record);
  record.place = Place::Outdated;
}

void PartContents::refresh(PartTable::reference part) {
  PartRecord& record = part.second;
  if (record.place != Place::Outdated) return;
  auto const write = [&](OutputStream& output) { writeRelationships(*record.relationships, output); };
  replace(record, store_.write(effort_, write, part.first.text()));
}

void PartContents::moveTo(std::shared_ptr<zip::Archive const> archive, std::vector<Pieces> pieces,
                          std::string const& directory) {
  store_.restart(directory);
  archive_ = std::move(archive);
  pieces_ = std::move(pieces);
}

}  // namespace opc::model::detail
