// SPDX-License-Identifier: Apache-2.0
#include "package/PackageWriter.hpp"

#include <algorithm>
#include <cstddef>
#include <unordered_map>
#include <utility>

#include "container/ContentStore.hpp"
#include "container/ItemHeaders.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/ContentTypesPart.hpp"
#include "package/PartNameRules.hpp"
#include "text/Narrow.hpp"

namespace opc::model::detail {
namespace {

/// Checks the watch before anything goes to another sink, and counts it unless an outer operation is watched. Without
/// a watch it is not used.
class WatchedSink final : public zip::ArchiveSink {
 public:
  WatchedSink(zip::ArchiveSink& inner, Watching const& watching) : inner_(inner), watching_(watching) {}

  void write(void const* data, std::size_t count) override {
    watching_.current()->check();
    inner_.write(data, count);
    wrote(count);
  }
  void copyFrom(int descriptor, std::uint64_t offset, std::uint64_t count) override {
    while (count > 0) {
      std::uint64_t const step = std::min(count, kStep);
      watching_.current()->check();
      inner_.copyFrom(descriptor, offset, step);
      wrote(step);
      offset += step;
      count -= step;
    }
  }

 private:
  static constexpr std::uint64_t kStep = 4u << 20;

  void wrote(std::uint64_t count) {
    if (Watch* const watch = watching_.own()) watch->addBytes(count);
  }

  zip::ArchiveSink& inner_;
  Watching const& watching_;
};

}  // namespace

void PackageWriter::write(zip::ArchiveSink& target) {
  state_.refreshRelationships();
  collectItems();
  Watch* const watch = watching_.own();
  WatchedSink watched(target, watching_);
  zip::ArchiveSink& sink = watching_.current() ? watched : target;
  announceWork();
  zip::ArchiveWriter writer(sink, state_.contents.store().hasThreads());
  if (state_.contents.archive()) writer.keepSurroundings(*state_.contents.archive());
  writer.add(kContentTypesItem, contentTypes());
  for (std::size_t begin = 0, end; begin < items_.size(); begin = end) {
    end = endOfRun(begin);
    writeRun(writer, begin, end);
    for (std::size_t i = begin; watch && i < end; ++i) watch->addFile();
  }
  writer.finish();
}

FileHandle PackageWriter::shareFile() {
  zip::ContentStore& store = state_.contents.store();
  if (!store.isInFile()) return {};
  state_.refreshRelationships();
  collectItems();
  auto const spool = orderAsStored();
  return spool && fillRoom() ? store.shareFile(spool) : FileHandle();
}

/// Orders the items as the one spool has them that holds nothing else, each behind its header. Null, and nothing is
/// ordered, where there is no such spool.
std::shared_ptr<zip::Spool const> PackageWriter::orderAsStored() {
  struct Placed {
    std::uint64_t begin, end;
    Item item;
  };
  std::vector<Placed> placed;
  placed.reserve(items_.size());
  std::shared_ptr<zip::Spool const> spool;
  for (Item const& item : items_) {
    if (isCopied(item)) return nullptr;
    zip::Content const content = state_.contents.written(item.part->second);
    if (content.headerSize == 0 || (spool && content.spool != spool)) return nullptr;
    placed.push_back({content.offset - content.headerSize, content.offset + content.storedSize, item});
    spool = content.spool;
  }
  std::sort(placed.begin(), placed.end(), [](Placed const& a, Placed const& b) { return a.begin < b.begin; });
  std::uint64_t end = zip::ContentStore::kRoom;
  for (Placed const& item : placed)
    if (std::exchange(end, item.end) != item.begin) return nullptr;
  if (spool && end != spool->size()) return nullptr;
  std::transform(placed.begin(), placed.end(), items_.begin(), [](Placed const& item) { return item.item; });
  return spool;
}

/// Whether the content types have room in front of the items.
bool PackageWriter::fillRoom() {
  zip::Content const& types = contentTypes();
  auto const size = static_cast<std::size_t>(types.storedSize);
  first_.clear();
  if (!zip::putFillingHeader(first_, zip::newEntry(kContentTypesItem, types), size, zip::ContentStore::kRoom))
    return false;
  firstHeader_ = narrow<std::uint16_t>(first_.size());
  first_.resize(zip::ContentStore::kRoom);
  types.spool->readAt(types.offset, first_.data() + firstHeader_, size);
  return true;
}

void PackageWriter::complete(zip::AtomicFile& target) {
  Watch* const watch = watching_.own();
  WatchedSink watched(target, watching_);
  zip::ArchiveSink& sink = watching_.current() ? watched : static_cast<zip::ArchiveSink&>(target);
  announceWork();
  target.overwrite(0, first_.data(), first_.size());
  zip::ArchiveWriter writer(sink, false, target.size());
  zip::Content types = contentTypes();
  types.offset = types.headerSize = firstHeader_;
  writer.addInPlace(kContentTypesItem, types);
  for (Item const& item : items_) {
    zip::Content const content = state_.contents.written(item.part->second);
    writer.addInPlace(item.name, content);
    if (!watch) continue;
    watch->addBytes(content.storedSize);
    watch->addFile();
  }
  writer.finish();
}

void PackageWriter::announceWork() const {
  Watch* const watch = watching_.own();
  if (!watch) return;
  std::uint64_t bytes = 0;
  for (Item const& item : items_) bytes += storedSize(item);
  watch->expect(items_.size(), bytes);
}

void PackageWriter::collectItems() {
  items_.clear();
  items_.reserve(state_.parts.size() + state_.parts.items().size());
  for (auto& part : state_.parts) collectPart(part);
  auto const& looseItems = state_.parts.items();
  for (std::size_t i = 0; i < looseItems.size(); ++i)
    items_.push_back({state_.parts.nameOf(looseItems[i]), nullptr, looseItems[i].index, narrow<std::uint32_t>(i)});
  findFormerItems();
  std::sort(items_.begin(), items_.end(), [](Item const& a, Item const& b) {
    if (a.source != b.source) return a.source < b.source;
    bool const aIsFirst = equalIgnoringCase(a.name, "_rels/.rels"), bIsFirst = equalIgnoringCase(b.name, "_rels/.rels");
    return aIsFirst != bIsFirst ? aIsFirst : a.name < b.name;
  });
}

/// A part whose content was replaced keeps its place, so that replacing it by the same changes nothing.
void PackageWriter::findFormerItems() {
  auto const& archive = state_.contents.archive();
  std::unordered_map<std::string_view, Item*> written;
  for (Item& item : items_)
    if (archive && !isCopied(item)) written.emplace(item.name, &item);
  for (std::uint32_t i = 0; !written.empty() && i < archive->size(); ++i) {
    auto const found = written.find(archive->entry(i).name);
    if (found == written.end()) continue;
    found->second->source = i;
    written.erase(found);
  }
}

void PackageWriter::collectPart(PartTable::value_type& part) {
  PartRecord const& record = part.second;
  if (record.place != Place::Pieces) {
    items_.push_back({part.first.text(), &part, record.isInArchive() ? record.number : kNone, 0});
    return;
  }
  std::uint32_t ordinal = 0;
  for (auto const piece : state_.contents.piecesOf(record))
    items_.push_back({state_.contents.archive()->entry(piece).name, &part, piece, ordinal++});
}

bool PackageWriter::isCopied(Item const& item) { return !item.part || item.part->second.isInArchive(); }

zip::Content const& PackageWriter::contentTypes() {
  if (contentTypes_) return *contentTypes_;
  defaults_ = defaultsFor(state_);
  return contentTypes_.emplace(
      state_.contents.writeApart([this](OutputStream& output) { writeContentTypes(state_, defaults_, output); }));
}

/// Of items that can be copied together.
std::size_t PackageWriter::endOfRun(std::size_t begin) const {
  std::size_t end = begin + 1;
  if (!isCopied(items_[begin]) || !state_.contents.archive()->isSeamless()) return end;
  while (end < items_.size() && isCopied(items_[end]) && items_[end].source == items_[end - 1].source + 1) ++end;
  return end;
}

void PackageWriter::writeRun(zip::ArchiveWriter& writer, std::size_t begin, std::size_t end) const {
  Item const& first = items_[begin];
  if (!isCopied(first))
    writer.add(first.name, state_.contents.written(first.part->second));
  else if (end - begin > 1)
    writer.copyRange(*state_.contents.archive(), first.source, items_[end - 1].source);
  else
    writer.copy(*state_.contents.archive(), first.source);
}

std::uint64_t PackageWriter::storedSize(Item const& item) const {
  return isCopied(item) ? state_.contents.archive()->entry(item.source).storedSize
                        : state_.contents.written(item.part->second).storedSize;
}

/// Another program may have replaced the file after the rename.
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
  // Nothing throws from here on: every name moves to the new directory before the old one is freed.
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
