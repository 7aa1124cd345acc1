// SPDX-License-Identifier: Apache-2.0
#include "container/Archive.hpp"

#include <algorithm>
#include <utility>

#include "container/DirectoryBytes.hpp"
#include "container/DirectoryEntry.hpp"
#include "container/EndRecord.hpp"
#include "container/ExtraFields.hpp"
#include "container/ItemStream.hpp"
#include "container/LocalHeader.hpp"
#include "container/ReadAhead.hpp"
#include "container/ZipErrors.hpp"
#include "container/ZipFormat.hpp"

namespace opc::model::zip {
namespace {

// What a local extra field is expected to take at most, so that one read gets a whole small item.
constexpr std::uint64_t kExtraGuess = 1024;
// What it takes mostly, where a header is all that is read.
constexpr std::uint64_t kSmallExtraGuess = 64;
// Read together, a descriptor far from its own header does not look like the beginning of something long.
constexpr std::uint64_t kDescriptorAndNextHeader = 512;
// ECMA-376-2, Annex C. Indexes of items are 32-bit numbers elsewhere, too.
constexpr std::uint64_t kMostItems = 2'147'483'647;
constexpr std::uint64_t kUsualItems = 131'072;
constexpr char kMoreThanItems[] = "its directory holds more than its items";

}  // namespace

/// The first bytes of an item: its local header, and as much behind it as was asked for.
struct Archive::Located {
  Buffer bytes;
  LocalHeader header;
};

std::shared_ptr<Archive const> Archive::open(std::shared_ptr<RandomAccessBytes const> bytes,
                                             std::uint64_t maximumEntries) {
  maximumEntries = std::min(maximumEntries, kMostItems);
  DirectoryPlace const place = findDirectory(*bytes);
  if (place.count > maximumEntries)
    throw damagedArchive("it has more than " + std::to_string(maximumEntries) + " items");
  if (place.count > place.size / kCentralSize) throw damagedArchive("its directory ends too early");
  std::shared_ptr<Archive> const archive(new Archive);
  archive->bytes_ = std::move(bytes);
  archive->readDirectory(place);
  archive->checkPlaces();
  return archive;
}

void Archive::readDirectory(DirectoryPlace const& place) {
  directoryBegin_ = place.begin;
  prefix_ = place.prefix;
  DirectoryBytes directory(*bytes_, place.begin, place.size);
  offsets_.reserve(static_cast<std::size_t>(std::min<std::uint64_t>(place.count, kUsualItems)));
  std::size_t at = 0;
  for (std::uint64_t i = 0; i < place.count; ++i) {
    std::size_t const size = entrySizeAt(directory, at);
    if (size == 0) throw damagedArchive("its directory is not where or what its end record says");
    checkEntry(directory.get(at, size), directoryBegin_ - prefix_);
    offsets_.push_back(at);
    at += size;
  }
  if (at != directory.size() && !isDirectorySignature(directory, at)) throw damagedArchive(kMoreThanItems);
  directory_ = directory.take();
}

/// No item may begin within another one. Most directories are in the order of the items.
void Archive::checkPlaces() {
  std::vector<std::pair<std::uint64_t, std::size_t>> places;
  places.reserve(size());
  for (std::size_t i = 0; i < size(); ++i) places.emplace_back(entry(i).localHeaderOffset, i);
  if (!std::is_sorted(places.begin(), places.end())) {
    std::sort(places.begin(), places.end());
    starts_.reserve(places.size());
    for (auto const& place : places) starts_.push_back(place.first);
  }
  for (std::size_t i = 1; i < places.size(); ++i) {
    Entry const before = entry(places[i - 1].second);
    if (minimumSize(before) > places[i].first - before.localHeaderOffset)
      throw damagedArchive(before.name, fault::kOverlap);
  }
}

Entry Archive::entry(std::size_t index) const {
  Entry entry;
  std::uint32_t disk;
  decodeEntry(directory_.get() + offsets_.at(index), entry, disk);
  entry.localHeaderOffset += prefix_;
  return entry;
}

std::uint64_t Archive::limitOf(std::size_t index) const {
  if (starts_.empty()) return index + 1 < size() ? entry(index + 1).localHeaderOffset : directoryBegin_;
  auto const next = std::upper_bound(starts_.begin(), starts_.end(), entry(index).localHeaderOffset);
  return next == starts_.end() ? directoryBegin_ : *next;
}

std::uint64_t Archive::prefixSize() const {
  if (!starts_.empty()) return starts_.front();
  return size() == 0 ? directoryBegin_ : entry(0).localHeaderOffset;
}

/// Reads the local header, checks it, and makes sure that `wanted` bytes behind it are read too (fewer only
/// where the item's room ends, for a descriptor).
Archive::Located Archive::locate(std::size_t index, std::uint64_t wanted) const {
  Entry const item = entry(index);
  std::uint64_t const begin = item.localHeaderOffset, room = limitOf(index) - begin;
  std::uint64_t const least = kLocalSize + item.name.size();
  auto const read = [&](std::uint64_t count) {
    Buffer bytes(static_cast<std::size_t>(std::min(room, count)));
    bytes_->readAt(begin, bytes.data.get(), bytes.size);
    return bytes;
  };
  Buffer bytes = read(least + kExtraGuess + wanted);
  std::size_t const headerSize = localHeaderSize(item, bytes.data.get());
  if (headerSize > room || item.storedSize > room - headerSize) throw invalidItem(item.name, fault::kOverlap);
  std::uint64_t const needed = std::min(room, headerSize + wanted);
  if (needed > bytes.size) bytes = read(needed);
  LocalHeader const header = checkLocalHeader(item, bytes.data.get(), headerSize);
  return {std::move(bytes), header};
}

std::unique_ptr<InputStream> Archive::openContent(std::size_t index) const {
  Entry const item = entry(index);
  ItemFacts facts = factsOf(item);
  checkReadable(item);
  checkFacts(facts);
  bool const whole = isReadWhole(facts);
  Located const located = locate(index, whole ? facts.storedSize + kMaximumDescriptorSize : 0);
  if (isRenamedByUnicodePath(item.name, located.header.extra)) throw invalidItem(item.name, fault::kOtherName);
  if (whole) return unpackLocated(item, facts, located);

  std::uint64_t const begin = item.localHeaderOffset + located.header.size;
  if (located.header.hasDescriptor) {
    unsigned char descriptor[kMaximumDescriptorSize];
    std::uint64_t const behind = begin + facts.storedSize;
    std::uint64_t const available = std::min<std::uint64_t>(sizeof descriptor, limitOf(index) - behind);
    bytes_->readAt(behind, descriptor, static_cast<std::size_t>(available));
    checkDescriptor(item, located.header, descriptor, static_cast<std::size_t>(available));
  }
  return openItem(std::move(facts), [self = shared_from_this(), begin](std::uint64_t offset, void* to, std::size_t n) {
    self->bytes_->readAt(begin + offset, to, n);
  });
}

/// All of the item has been read together with its header.
std::unique_ptr<InputStream> Archive::unpackLocated(Entry const& item, ItemFacts const& facts, Located const& located) {
  unsigned char const* const stored = located.bytes.data.get() + located.header.size;
  auto const size = static_cast<std::size_t>(facts.storedSize);
  if (located.header.hasDescriptor)
    checkDescriptor(item, located.header, stored + size, located.bytes.size - located.header.size - size);
  return makeStream(unpack(facts, stored));
}

/// The file as it is read from its beginning to its end.
struct Archive::Window {
  unsigned char const* bytes(std::uint64_t offset, std::uint64_t count) {
    return ahead.bytes(source, offset, static_cast<std::size_t>(count));
  }

  ReadAhead::Source source;
  ReadAhead ahead{};
};

void Archive::checkHeaders() const {
  Window window{{bytes_.get(), bytes_->size(),
                 [this](std::uint64_t offset, void* to, std::size_t n) { bytes_->readAt(offset, to, n); }}};
  for (std::size_t i = 0; i < size(); ++i) try {
      checkHeaders(i, window);
    } catch (InvalidItem const& thrown) {
      throw InvalidPackage(thrown.what());
    }
}

void Archive::checkHeaders(std::size_t index, Window& window) const {
  Entry const item = entry(index);
  std::uint64_t const begin = item.localHeaderOffset, room = limitOf(index) - begin;
  std::uint64_t const guess = std::min(room, kLocalSize + item.name.size() + kSmallExtraGuess);
  std::size_t const size = localHeaderSize(item, window.bytes(begin, guess));
  if (size > room || item.storedSize > room - size) throw invalidItem(item.name, fault::kOverlap);
  LocalHeader const header = checkLocalHeader(item, window.bytes(begin, size), size);
  if (!header.hasDescriptor) return;

  std::uint64_t const behind = begin + size + item.storedSize, left = room - size - item.storedSize;
  std::uint64_t const wanted = std::min(window.source.size - behind, kDescriptorAndNextHeader);
  checkDescriptor(item, header, window.bytes(behind, wanted), static_cast<std::size_t>(std::min(left, wanted)));
}

}  // namespace opc::model::zip
