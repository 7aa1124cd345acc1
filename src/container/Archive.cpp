// SPDX-License-Identifier: Apache-2.0
#include "container/Archive.hpp"

#include <algorithm>
#include <optional>
#include <utility>

#include "container/ChunkIndex.hpp"
#include "container/Directory.hpp"
#include "container/Faults.hpp"
#include "container/ItemStream.hpp"
#include "container/LocalHeader.hpp"
#include "container/Reader.hpp"
#include "container/ZipFormat.hpp"

namespace opc::model::zip {
namespace {

// The expected maximum of a local extra field, so that one read gets a whole small item.
constexpr std::uint64_t kExtraGuess = 1024;

}  // namespace

/// The first bytes of an item: its local header and the number of bytes behind it that the caller wants.
struct Archive::Located {
  Buffer bytes;
  LocalHeader header;
};

std::shared_ptr<Archive const> Archive::open(std::shared_ptr<RandomAccessBytes const> bytes,
                                             std::uint64_t maximumEntries) {
  ThrowingFaults faults;
  return Reader(std::move(bytes), maximumEntries, faults).archive();
}

Entry Archive::entry(std::size_t index) const {
  Entry entry;
  std::uint32_t disk;
  decodeEntry(directory_.get() + offsets_.at(index), entry, disk);
  entry.localHeaderOffset += prefix_;
  return entry;
}

bool Archive::holdsItsDirectory() const {
  constexpr std::size_t kStep = 256u << 10;
  if (bytes_->size() < directoryBegin_ || bytes_->size() - directoryBegin_ < directorySize_) return false;
  Buffer found(std::min(directorySize_, kStep));
  for (std::size_t at = 0; at < directorySize_; at += kStep) {
    std::size_t const size = std::min(kStep, directorySize_ - at);
    bytes_->readAt(directoryBegin_ + at, found.data.get(), size);
    if (!std::equal(found.data.get(), found.data.get() + size, directory_.get() + at)) return false;
  }
  return true;
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

/// The most bytes that the item may take.
std::uint64_t Archive::roomOf(Entry const& item, std::size_t index) const {
  return (isLenient_ ? bytes_->size() : limitOf(index)) - item.localHeaderOffset;
}

/// Reads and checks the local header, and reads `wanted` bytes behind it, fewer only where the item's room ends.
Archive::Located Archive::locate(std::size_t index, std::uint64_t wanted) const {
  Entry const item = entry(index);
  std::uint64_t const begin = item.localHeaderOffset, room = roomOf(item, index);
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
  if (isLenient_) return {std::move(bytes), {headerSize}};
  LocalHeader const header = checkLocalHeader(item, bytes.data.get(), headerSize);
  return {std::move(bytes), header};
}

std::unique_ptr<InputStream> Archive::openContent(std::size_t index, std::uint64_t offset, std::size_t threads) const {
  Entry const item = entry(index);
  if (!isUsable(index)) throw invalidItem(item.name, fault::kBeyondFile);
  ItemFacts facts = factsOf(item);
  checkReadable(item);
  checkFacts(facts);
  bool const whole = isReadWhole(facts);
  Located const located = locate(index, whole ? facts.storedSize + kMaximumDescriptorSize : 0);
  if (isRenamedByUnicodePath(item.name, located.header.extra)) throw invalidItem(item.name, fault::kOtherName);
  if (whole) return startingAt(offset, unpackLocated(item, facts, located));

  std::uint64_t const begin = item.localHeaderOffset + located.header.size;
  if (located.header.hasDescriptor) {
    unsigned char descriptor[kMaximumDescriptorSize];
    std::uint64_t const behind = begin + facts.storedSize;
    std::uint64_t const available = std::min<std::uint64_t>(sizeof descriptor, limitOf(index) - behind);
    bytes_->readAt(behind, descriptor, static_cast<std::size_t>(available));
    checkDescriptor(item, located.header, descriptor, static_cast<std::size_t>(available));
  }
  std::optional<ChunkIndex> const chunks = chunksOf(item);
  auto source = [self = shared_from_this(), begin](std::uint64_t at, void* to, std::size_t n) {
    self->bytes_->readAt(begin + at, to, n);
  };
  return openItem(std::move(facts), std::move(source), chunks ? &*chunks : nullptr, offset, threads);
}

/// For an item that was read whole, together with its header.
std::unique_ptr<InputStream> Archive::unpackLocated(Entry const& item, ItemFacts const& facts, Located const& located) {
  unsigned char const* const stored = located.bytes.data.get() + located.header.size;
  auto const size = static_cast<std::size_t>(facts.storedSize);
  if (located.header.hasDescriptor)
    checkDescriptor(item, located.header, stored + size, located.bytes.size - located.header.size - size);
  return makeStream(unpack(facts, stored));
}

}  // namespace opc::model::zip
