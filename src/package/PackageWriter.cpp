// SPDX-License-Identifier: Apache-2.0
#include "package/PackageWriter.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "opc/model/Exceptions.hpp"
#include "package/ContentTypesPart.hpp"
#include "package/PartNameRules.hpp"
#include "text/Narrow.hpp"

namespace opc::model::detail {

void PackageWriter::write(zip::ArchiveSink& sink) {
  state_.refreshRelationships();
  collectItems();
  zip::ArchiveWriter writer(sink, state_.contents.store().hasThreads());
  writeContentTypes(writer);
  for (Item const& item : items_) writeItem(writer, item);
  writer.finish();
}

void PackageWriter::collectItems() {
  items_.clear();
  items_.reserve(state_.parts.size() + state_.parts.items().size());
  for (auto& part : state_.parts) collectPart(part);
  auto const& looseItems = state_.parts.items();
  for (std::size_t i = 0; i < looseItems.size(); ++i)
    items_.push_back({state_.parts.nameOf(looseItems[i]), nullptr, looseItems[i].index, narrow<std::uint32_t>(i)});
  std::stable_sort(items_.begin(), items_.end(), [](Item const& a, Item const& b) {
    bool const aIsFirst = equalIgnoringCase(a.name, "_rels/.rels"), bIsFirst = equalIgnoringCase(b.name, "_rels/.rels");
    return aIsFirst != bIsFirst ? aIsFirst : a.name < b.name;
  });
}

void PackageWriter::collectPart(PartTable::value_type& part) {
  PartRecord const& record = part.second;
  if (record.place != Place::Pieces) {
    items_.push_back({part.first.text(), &part, record.isInArchive() ? record.number : 0, 0});
    return;
  }
  std::uint32_t ordinal = 0;
  for (auto const piece : state_.contents.piecesOf(record))
    items_.push_back({state_.contents.archive()->entry(piece).name, &part, piece, ordinal++});
}

bool PackageWriter::isCopied(Item const& item) { return !item.part || item.part->second.isInArchive(); }

void PackageWriter::writeContentTypes(zip::ArchiveWriter& writer) {
  defaults_ = defaultsFor(state_);
  writer.add(kContentTypesItem, state_.contents.writeApart([this](OutputStream& output) {
    detail::writeContentTypes(state_, defaults_, output);
  }));
}

void PackageWriter::writeItem(zip::ArchiveWriter& writer, Item const& item) const {
  if (isCopied(item))
    writer.copy(*state_.contents.archive(), item.source);
  else
    writer.add(item.name, state_.contents.written(item.part->second));
}

/// Another program may have replaced the file since.
void PackageWriter::requireWritten(zip::Archive const& archive) const {
  bool matches = archive.size() == items_.size() + 1;
  for (std::size_t i = 0; matches && i < items_.size(); ++i) {
    zip::Entry const entry = archive.entry(i + 1);
    Item const& item = items_[i];
    auto const isEqual = [&](auto const& written) { return entry.crc == written.crc && entry.size == written.size; };
    matches = entry.name == item.name && (isCopied(item) ? isEqual(state_.contents.archive()->entry(item.source))
                                                         : isEqual(state_.contents.written(item.part->second)));
  }
  if (!matches) throw InvalidPackage("It does not hold what was written");
}

void PackageWriter::adopt(std::shared_ptr<zip::Archive const> archive) {
  requireWritten(*archive);
  auto pieces = state_.contents.allPieces();
  auto looseItems = state_.parts.items();
  for (std::size_t i = 0; i < items_.size(); ++i) {
    Item const& item = items_[i];
    auto const index = static_cast<std::uint32_t>(i + 1);
    if (!item.part)
      looseItems[item.ordinal].index = index;
    else if (item.part->second.place == Place::Pieces)
      pieces[item.part->second.number][item.ordinal] = index;
  }
  state_.contents.moveTo(archive, std::move(pieces), state_.file.directory());
  // From here on nothing throws: every name moves to the new directory before the old one goes.
  for (std::size_t i = 0; i < items_.size(); ++i) {
    Item const& item = items_[i];
    auto const index = static_cast<std::uint32_t>(i + 1);
    if (!item.part) continue;
    auto& [key, record] = *item.part;
    if (item.ordinal == 0) key.viewInstead(archive->entry(index).name.substr(0, key.text().size()));
    if (record.place != Place::Pieces) PartContents::setItem(record, index);
  }
  state_.parts.moveTo(std::move(archive), std::move(looseItems));
  state_.declared.defaults = std::move(defaults_);
}

}  // namespace opc::model::detail
