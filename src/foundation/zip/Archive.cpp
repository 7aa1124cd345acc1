// SPDX-License-Identifier: Apache-2.0
#include "foundation/zip/Archive.hpp"

#include <algorithm>
#include <utility>

#include "foundation/zip/DirectoryBytes.hpp"
#include "foundation/zip/EndRecord.hpp"
#include "foundation/zip/ExtraFields.hpp"
#include "foundation/zip/ItemStream.hpp"
#include "foundation/zip/LocalHeader.hpp"
#include "foundation/zip/ReadAhead.hpp"
#include "foundation/zip/ZipErrors.hpp"
#include "foundation/zip/ZipFormat.hpp"

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
constexpr std::uint64_t kLargestSize = INT64_MAX;
constexpr std::uint64_t kUsualItems = 131'072;
constexpr char kMoreThanItems[] = "its directory holds more than its items";

/// 0 where no whole entry stands there.
std::size_t sizeOfEntry(DirectoryBytes& directory, std::size_t at) {
  unsigned char const* const p = directory.get(at, kCentralSize);
  if (!p || load32(p) != kCentralSignature) return 0;
  std::size_t const size = kCentralSize + load16(p + 28) + load16(p + 30) + load16(p + 32);
  return directory.get(at, size) ? size : 0;
}

/// Whether the rest of the directory is its digital signature, which readers pass over (ECMA-376-2, Annex C).
bool isSignature(DirectoryBytes& directory, std::size_t at) {
  unsigned char const* const p = directory.get(at, kDirectorySignatureSize);
  return p && load32(p) == kDirectorySignature && load16(p + 4) == directory.size() - at - kDirectorySignatureSize;
}

/// False when a zip64 field that the entry refers to is not there. The offset is as written.
bool decode(unsigned char const* p, Entry& entry, std::uint32_t& disk) {
  std::size_t const name = load16(p + 28), extra = load16(p + 30), comment = load16(p + 32);
  entry.name = textAt(p + kCentralSize, name);
  entry.versionMadeBy = load16(p + 4);
  entry.versionNeeded = load16(p + 6);
  entry.flags = load16(p + 8);
  entry.method = load16(p + 10);
  entry.dosTimeAndDate = load32(p + 12);
  entry.crc = load32(p + 16);
  entry.storedSize = load32(p + 20);
  entry.size = load32(p + 24);
  entry.internalAttributes = load16(p + 36);
  entry.externalAttributes = load32(p + 38);
  entry.localHeaderOffset = load32(p + 42);
  entry.extra = textAt(p + kCentralSize + name, extra);
  entry.comment = textAt(p + kCentralSize + name + extra, comment);
  disk = load16(p + 34);
  Zip64Numbers wide(entry.extra);
  return wide.widen(entry.size) && wide.widen(entry.storedSize) && wide.widen(entry.localHeaderOffset) &&
         wide.widenDisk(disk);
}

/// The bytes that the item takes at least; its local extra field is not known yet.
std::uint64_t minimumSize(Entry const& entry) { return kLocalSize + entry.name.size() + entry.storedSize; }

/// Entry by itself, and against the directory before which it must end.
void checkEntry(unsigned char const* p, std::uint64_t prefix, std::uint64_t directoryBegin) {
  Entry entry;
  std::uint32_t disk;
  if (!decode(p, entry, disk)) throw damagedArchive(entry.name, "its zip64 field is too short");
  if (disk != 0) throw damagedArchive(entry.name, "it is on another disk");
  if (!extraFieldsFit(entry.extra)) throw damagedArchive(entry.name, fault::kExtraTooLong);
  if (!isPaddedWithZeros(entry.extra)) throw damagedArchive(entry.name, "something behind its extra fields");
  if (entry.size > kLargestSize) throw damagedArchive(entry.name, "its size is beyond what the format allows");
  std::uint64_t const room = directoryBegin - prefix;
  std::uint64_t const offset = entry.localHeaderOffset;
  if (offset > room || entry.storedSize > room || minimumSize(entry) > room - offset)
    throw damagedArchive(entry.name, "it does not fit into the file");
}

ItemFacts factsOf(Entry const& entry) {
  return {std::string(entry.name), entry.method, entry.storedSize, entry.size, entry.crc};
}

void checkReadable(Entry const& entry) {
  constexpr std::uint16_t kUnreadable = kEncryptedFlag | kPatchFlag | kStrongEncryptionFlag | kMaskedFlag;
  if ((entry.flags & kUnreadable & ~kPatchFlag) != 0) throw invalidItem(entry.name, fault::kEncrypted);
  if ((entry.flags & kPatchFlag) != 0) throw invalidItem(entry.name, fault::kDamagedData);
  if (isRenamedByUnicodePath(entry.name, entry.extra)) throw invalidItem(entry.name, fault::kOtherName);
}

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
    std::size_t const size = sizeOfEntry(directory, at);
    if (size == 0) throw damagedArchive("its directory is not where or what its end record says");
    checkEntry(directory.get(at, size), prefix_, directoryBegin_);
    offsets_.push_back(at);
    at += size;
  }
  if (at != directory.size() && !isSignature(directory, at)) throw damagedArchive(kMoreThanItems);
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
  decode(directory_.get() + offsets_.at(index), entry, disk);
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
