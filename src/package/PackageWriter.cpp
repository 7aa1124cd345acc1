// SPDX-License-Identifier: Apache-2.0
#include "package/PackageWriter.hpp"

#include <algorithm>
#include <utility>

#include "container/ContentWriter.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/ContentTypesPart.hpp"
#include "package/PartNameRules.hpp"
#include "text/Narrow.hpp"

namespace opc::model::detail {

void PackageWriter::write(zip::ArchiveSink& sink) {
  state_.refreshAll();
  collectItems();
  zip::ArchiveWriter writer(sink, state_.hasThreads);
  writeContentTypes(writer);
  for (Item const& item : items_) writeItem(writer, item);
  writer.finish();
}

void PackageWriter::collectItems() {
  items_.clear();
  items_.reserve(state_.parts.size() + state_.items.size());
  for (auto& part : state_.parts) collectPart(part);
  for (std::size_t i = 0; i < state_.items.size(); ++i) {
    LooseItem const& item = state_.items[i];
    items_.push_back({state_.nameOf(item), nullptr, item.index, narrow<std::uint32_t>(i)});
  }
  std::stable_sort(items_.begin(), items_.end(), [](Item const& a, Item const& b) {
    bool const aIsFirst = equalIgnoringCase(a.name, "_rels/.rels"), bIsFirst = equalIgnoringCase(b.name, "_rels/.rels");
    return aIsFirst != bIsFirst ? aIsFirst : a.name < b.name;
  });
}

void PackageWriter::collectPart(PartTable::value_type& part) {
  PartRecord const& record = part.second;
  if (record.place != Place::Pieces) {
    bool const isInArchive = record.place == Place::Archive;
    items_.push_back({part.first.text(), &part, isInArchive ? narrow<std::uint32_t>(record.offset) : 0, 0});
    return;
  }
  std::uint32_t ordinal = 0;
  for (auto const piece : state_.pieces[static_cast<std::size_t>(record.offset)])
    items_.push_back({state_.archive->entry(piece).name, &part, piece, ordinal++});
}

bool PackageWriter::isCopied(Item const& item) {
  return !item.part || item.part->second.place == Place::Archive || item.part->second.place == Place::Pieces;
}

void PackageWriter::writeContentTypes(zip::ArchiveWriter& writer) {
  defaults_ = defaultsFor(state_);
  zip::ContentWriter content(state_.spool, state_.effort);
  detail::writeContentTypes(state_, defaults_, content);
  content.close();
  writer.add(kContentTypesItem, content.content());
}

void PackageWriter::writeItem(zip::ArchiveWriter& writer, Item const& item) const {
  if (isCopied(item))
    writer.copy(*state_.archive, item.source);
  else
    writer.add(item.name, state_.contentOf(item.part->second));
}

/// Somebody else may have replaced the file since.
void PackageWriter::requireWritten(zip::Archive const& archive) const {
  bool isIt = archive.size() == items_.size() + 1;
  for (std::size_t i = 0; isIt && i < items_.size(); ++i) {
    zip::Entry const entry = archive.entry(i + 1);
    Item const& item = items_[i];
    if (isCopied(item)) {
      zip::Entry const before = state_.archive->entry(item.source);
      isIt = entry.name == item.name && entry.crc == before.crc && entry.size == before.size;
    } else {
      PartRecord const& record = item.part->second;
      isIt = entry.name == item.name && entry.crc == record.crc && entry.size == record.size;
    }
  }
  if (!isIt) throw InvalidPackage("It does not hold what was written");
}

void PackageWriter::adopt(std::shared_ptr<zip::Archive const> archive) {
  requireWritten(*archive);
  auto spool = state_.makeSpool();
  auto pieces = state_.pieces;
  auto looseItems = state_.items;
  // From here on nothing throws: every name moves to the new directory before the old one goes.
  for (std::size_t i = 0; i < items_.size(); ++i) {
    Item const& item = items_[i];
    auto const index = static_cast<std::uint32_t>(i + 1);
    if (!item.part) {
      looseItems[item.ordinal].index = index;
      continue;
    }
    auto& [key, record] = *item.part;
    if (item.ordinal == 0) key.viewInstead(archive->entry(index).name.substr(0, key.text().size()));
    if (record.place == Place::Pieces) {
      pieces[static_cast<std::size_t>(record.offset)][item.ordinal] = index;
    } else {
      record.place = Place::Archive;
      record.offset = index;
    }
  }
  state_.archive = std::move(archive);
  state_.spool = std::move(spool);
  state_.spools.clear();
  state_.pieces = std::move(pieces);
  state_.items = std::move(looseItems);
  state_.defaults = std::move(defaults_);
}

}  // namespace opc::model::detail
