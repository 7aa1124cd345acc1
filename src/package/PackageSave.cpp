// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "container/ArchiveWriter.hpp"
#include "container/AtomicFile.hpp"
#include "container/Faults.hpp"
#include "io/FileHandle.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/Package.hpp"
#include "package/ContentTypesPart.hpp"
#include "package/ManagerRegistry.hpp"
#include "package/Messages.hpp"
#include "package/PackageState.hpp"
#include "package/PartNameRules.hpp"
#include "package/Watching.hpp"
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

/// Writes the present state of a package: the content types, the package's relationships, then all items in the order
/// of their names. It writes changed relationships parts into the store first; nothing else of the state changes until
/// adopt().
class PackageWriter {
 public:
  PackageWriter(PackageState& state, Watching& watching) : state_(state), watching_(watching) {}

  void write(zip::ArchiveSink& target);

  /// Has the state read from the archive, which must hold what was written, and restarts its store. Otherwise throws
  /// and changes nothing.
  void adopt(std::shared_ptr<zip::Archive const> archive);

 private:
  struct Item {
    std::string_view name;
    PartTable::value_type* part;  // null for an item that is no part
    std::uint32_t source;         // item of the old archive, for a copied item
    std::uint32_t ordinal;        // among the pieces of the part, or the items that are no parts
  };

  void collectItems();
  void collectPart(PartTable::value_type& part);
  void writeContentTypes(zip::ArchiveWriter& writer);
  static bool isCopied(Item const& item);
  void writeItem(zip::ArchiveWriter& writer, Item const& item) const;
  std::uint64_t storedSize(Item const& item) const;
  void requireWritten(zip::Archive const& archive) const;

  PackageState& state_;
  Watching& watching_;
  std::vector<Item> items_;  // in the order of writing, behind the content types
  std::map<std::string, MediaType const*> defaults_;
};

void PackageWriter::write(zip::ArchiveSink& target) {
  state_.refreshRelationships();
  collectItems();
  Watch* const watch = watching_.own();
  WatchedSink watched(target, watching_);
  zip::ArchiveSink& sink = watching_.current() ? watched : target;
  if (watch) {
    std::uint64_t bytes = 0;
    for (Item const& item : items_) bytes += storedSize(item);
    watch->expect(items_.size(), bytes);
  }
  zip::ArchiveWriter writer(sink, state_.contents.store().hasThreads());
  if (state_.contents.archive()) writer.keepSurroundings(*state_.contents.archive());
  writeContentTypes(writer);
  for (Item const& item : items_) {
    writeItem(writer, item);
    if (watch) watch->addFile();
  }
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

}  // namespace
}  // namespace opc::model::detail

namespace opc::model {
namespace {

using detail::PackageFile;
using detail::PackageWriter;
using zip::AtomicFile;

/// Refuses a save within a save, which a manager's doSave would repeat without end.
class SavingGuard {
 public:
  explicit SavingGuard(PackageState& state) : state_(state) {
    if (state_.isSaving) throw InvalidState(detail::messages::kBeingSaved);
    state_.isSaving = true;
  }
  ~SavingGuard() { state_.isSaving = false; }
  SavingGuard(SavingGuard const&) = delete;
  SavingGuard& operator=(SavingGuard const&) = delete;

 private:
  PackageState& state_;
};

/// Has the managers write their data into parts. Afterwards no part is being written.
void gather(PackageState& state) {
  state.requireNoOpenWrites();
  state.managers->saveAll();
  state.requireNoOpenWrites();
}

/// Has the package read from the archive just written. If that cannot be opened, the package continues with the old
/// archive and the spool, so that the save has not failed.
template <typename OpenBytes>
void adoptWritten(PackageWriter& writer, OpenBytes const& openBytes) {
  try {
    writer.adopt(zip::Archive::open(openBytes()));
  } catch (std::exception const&) {
    return;
  }
}

/// Whether the own file was written in place and its time put back. A new change time alone may come of a chmod or a
/// new link: only then the directory is read again, which has the place and the CRC of each content.
bool isEditedInPlace(PackageState const& state, FileIdentity const& now) {
  auto const& archive = state.contents.archive();
  return now != *state.file.identity && archive && !archive->holdsItsDirectory();
}

/// The own file is to hold this package still.
void requireUnchangedFile(PackageState const& state) {
  PackageFile const& file = state.file;
  if (!file.identity) return;
  struct stat status {};
  bool const isThere = ::stat(file.path.c_str(), &status) == 0;
  if (!isThere && errno != ENOENT) throw zip::couldNotSave(file.path, errno);
  if (!isThere || !zip::isSameContent(FileIdentity::of(status), *file.identity) ||
      isEditedInPlace(state, FileIdentity::of(status)))
    throw zip::packageHasChanged(file.path);
}

/// Replaces the target and binds the package to it.
void saveToFile(PackageState& state, Watching& watching, PackageFile const& target, SaveOptions const& options) {
  if (target.identity) requireUnchangedFile(state);
  AtomicFile::Rules rules;
  rules.replacesProtected = options.replaceProtected;
  rules.target = target.mustBeNew ? AtomicFile::Target::MustNotExist : AtomicFile::Target::MayExist;
  rules.expected = target.identity;
  if (Watch* const watch = watching.current()) rules.checkpoint = [watch] { watch->finish(); };
  AtomicFile file(target.path, rules);
  PackageWriter writer(state, watching);
  writer.write(file);
  std::string bound = target.path;
  state.file.identity = file.replace();
  // The package is at the path even if a later step fails, and the next save must expect it there.
  state.file.path = std::move(bound);
  state.file.mustBeNew = false;
  adoptWritten(writer, [&] { return zip::openFileBytes(state.file.path); });
  file.syncDirectory();
}

/// Whether a save to the target would replace the file to which the package is bound.
bool isOwnFile(PackageFile const& own, PackageFile const& target) {
  std::error_code error;
  return own.identity && !target.mustBeNew &&
         (own.path == target.path || std::filesystem::equivalent(own.path, target.path, error));
}

std::vector<unsigned char> writtenBytes(PackageWriter& writer) {
  std::vector<unsigned char> bytes;
  zip::MemorySink sink(bytes);
  writer.write(sink);
  return bytes;
}

void saveInMemory(PackageState& state, Watching& watching) {
  PackageWriter writer(state, watching);
  auto bytes = writtenBytes(writer);
  if (Watch* const watch = watching.own()) watch->finish();
  adoptWritten(writer, [&] { return zip::makeMemoryBytes(std::move(bytes)); });
}

}  // namespace

void Package::save(SaveOptions const& options) {
  PackageState& state = this->state();
  state.requireWritable();
  SavingGuard const guard(state);
  Watching watching(state);
  gather(state);
  if (!state.isChanged)
    requireUnchangedFile(state);  // nothing to write, but no doubt either that the path holds this package
  else if (state.file.path.empty())
    saveInMemory(state, watching);
  else
    saveToFile(state, watching, state.file, options);
  state.isChanged = false;
  state.managers->markClean();
}

void Package::saveAs(std::u16string const& path, Existing existing, SaveOptions const& options) {
  PackageState& state = this->state();
  SavingGuard const guard(state);
  Watching watching(state);
  PackageFile target = PackageFile::forNew(path, existing);
  if (isOwnFile(state.file, target)) target.identity = state.file.identity;
  gather(state);
  saveToFile(state, watching, target, options);
  state.isChanged = false;
  state.managers->markClean();
}

std::vector<unsigned char> Package::saveToBytes() {
  PackageState& state = this->state();
  SavingGuard const guard(state);
  Watching watching(state);
  gather(state);
  PackageWriter writer(state, watching);
  auto bytes = writtenBytes(writer);
  if (Watch* const watch = watching.own()) watch->finish();
  return bytes;
}

}  // namespace opc::model
