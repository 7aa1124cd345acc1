// SPDX-License-Identifier: Apache-2.0
#include "container/ArchiveSurvey.hpp"

#include <algorithm>
#include <utility>

#include "container/DirectoryBytes.hpp"
#include "container/DirectoryEntry.hpp"
#include "container/ExtraFields.hpp"
#include "container/HeaderWalk.hpp"
#include "container/ItemStream.hpp"
#include "container/LocalHeader.hpp"
#include "container/ZipErrors.hpp"
#include "container/ZipFormat.hpp"

namespace opc::model::zip {
namespace {

constexpr std::uint16_t kGrowthHintExtra = 0xA220;
constexpr std::uint64_t kWindow = 1u << 20;
// Where an end record is looked for that does not end the file.
constexpr std::uint64_t kTail = 1u << 20;
constexpr int kMostEndRecords = 16;
// A stored or deflated item's data, a header with the longest name and extra field, a descriptor.
constexpr std::size_t kReadStep = 256u << 10;

std::string bytesText(std::uint64_t count) { return std::to_string(count) + (count == 1 ? " byte" : " bytes"); }

std::string inItem(std::string_view name, std::string const& what) { return invalidItem(name, what).what(); }

/// The first bytes of others.
class FirstBytes final : public RandomAccessBytes {
 public:
  FirstBytes(RandomAccessBytes const& bytes, std::uint64_t size) : bytes_(bytes), size_(size) {}
  std::uint64_t size() const override { return size_; }
  void readAt(std::uint64_t offset, void* buffer, std::size_t count) const override {
    bytes_.readAt(offset, buffer, count);
  }
  int descriptor() const override { return -1; }

 private:
  RandomAccessBytes const& bytes_;
  std::uint64_t size_;
};

/// Where end records stand in the last bytes of the file, the last first, and where each of them ends.
std::vector<std::uint64_t> endsOfEndRecords(RandomAccessBytes const& bytes) {
  std::vector<std::uint64_t> ends;
  std::uint64_t const size = std::min(bytes.size(), kTail), begin = bytes.size() - size;
  std::vector<unsigned char> tail(static_cast<std::size_t>(size));
  bytes.readAt(begin, tail.data(), tail.size());
  for (std::size_t at = tail.size(); at-- > 0 && ends.size() < kMostEndRecords;) {
    if (tail.size() - at < kEndSize || load32(&tail[at]) != kEndSignature) continue;
    std::uint64_t const end = at + kEndSize + load16(&tail[at + 20]);
    if (end <= tail.size()) ends.push_back(begin + end);
  }
  return ends;
}

bool hasEndSignature(RandomAccessBytes const& bytes) {
  std::vector<unsigned char> tail(static_cast<std::size_t>(std::min(bytes.size(), kTail)));
  bytes.readAt(bytes.size() - tail.size(), tail.data(), tail.size());
  for (std::size_t at = 0; at + 4 <= tail.size(); ++at)
    if (load32(&tail[at]) == kEndSignature) return true;
  return false;
}

}  // namespace

ArchiveSurvey::ArchiveSurvey(std::shared_ptr<RandomAccessBytes const> bytes, std::uint64_t maximumEntries,
                             FaultSink tell)
    : bytes_(std::move(bytes)), tell_(std::move(tell)) {
  findItems(maximumEntries);
  checkEntries();
}

Entry ArchiveSurvey::entry(std::size_t index) const {
  Entry entry;
  std::uint32_t disk;
  decodeEntry(directory_.get() + offsets_.at(index), entry, disk);
  entry.localHeaderOffset += place_.prefix;
  return entry;
}

void ArchiveSurvey::findItems(std::uint64_t maximumEntries) {
  if (findByEndRecord()) readDirectory(*bytes_, place_, maximumEntries);
  if (!isComplete_) findByHeaders(maximumEntries);
}

bool ArchiveSurvey::findByEndRecord() {
  try {
    place_ = findDirectory(*bytes_);
    return true;
  } catch (InvalidPackage const& fault) {
    return findBehindLaterBytes(fault.what());
  }
}

/// The last end record of which a directory is found, when more than its comment follows it.
bool ArchiveSurvey::findBehindLaterBytes(std::string const& fault) {
  for (std::uint64_t const end : endsOfEndRecords(*bytes_)) try {
      place_ = findDirectory(FirstBytes(*bytes_, end));
      std::uint64_t const behind = bytes_->size() - end;
      if (behind == 0)
        tell(ArchiveFault::DamagedEndRecord, {}, fault);
      else
        tell(ArchiveFault::TrailingData, {}, "The archive is followed by " + bytesText(behind) + " of something else");
      return true;
    } catch (InvalidPackage const&) {  // one that leads nowhere
    }
  tell(hasEndSignature(*bytes_) ? ArchiveFault::DamagedEndRecord : ArchiveFault::NoEndRecord, {}, fault);
  return false;
}

/// The entries up to the first that is none.
void ArchiveSurvey::takeDirectory(RandomAccessBytes const& bytes, DirectoryPlace const& place) {
  DirectoryBytes directory(bytes, place.begin, place.size);
  offsets_.clear();
  std::size_t at = 0;
  while (offsets_.size() < place.count) {
    std::size_t const size = entrySizeAt(directory, at);
    if (size == 0) break;
    offsets_.push_back(at);
    at += size;
  }
  directory.get(0, at);
  isComplete_ = at == directory.size() || isDirectorySignature(directory, at);
  directory_ = directory.take();
  place_ = place;
}

void ArchiveSurvey::readDirectory(RandomAccessBytes const& bytes, DirectoryPlace place, std::uint64_t maximumEntries) {
  DirectoryPlace all = place;
  all.count = std::min(maximumEntries, place.size / kCentralSize);
  takeDirectory(bytes, all);
  if (!isComplete_ && offsets_.size() == maximumEntries) {
    isComplete_ = true;  // as far as it may be read
    return tell(ArchiveFault::DamagedDirectory, {},
                damagedArchive("it has more than " + std::to_string(maximumEntries) + " items").what());
  }
  if (!isComplete_)
    return tell(ArchiveFault::DamagedDirectory, {},
                damagedArchive("its directory is damaged behind its first " + std::to_string(offsets_.size()) + " of " +
                               std::to_string(place.count) + " items")
                    .what());
  if (offsets_.size() != place.count)
    tell(ArchiveFault::DamagedEndRecord, {},
         damagedArchive("its end record counts " + std::to_string(place.count) + " items, its directory has " +
                        std::to_string(offsets_.size()))
             .what());
}

/// The directory itself tells more than the headers: it is read where the headers lead to it whole.
void ArchiveSurvey::findByHeaders(std::uint64_t maximumEntries) {
  FoundItems found = walkHeaders(*bytes_, maximumEntries);
  if (found.endsAtDirectory) {
    ArchiveSurvey::takeDirectory(*bytes_, {found.end, bytes_->size() - found.end, found.count, 0});
    if (offsets_.size() >= found.count) return;
  }
  if (found.count <= offsets_.size()) return;
  auto const size = static_cast<std::uint64_t>(found.directory.size());
  auto const made = makeMemoryBytes(std::move(found.directory));
  takeDirectory(*made, {0, size, found.count, 0});
  place_ = {found.end, 0, found.count, 0};
}

void ArchiveSurvey::checkEntries() {
  isUsable_.assign(size(), true);
  std::uint64_t const room = isComplete_ ? place_.begin - place_.prefix : bytes_->size();
  for (std::size_t i = 0; i < size(); ++i) try {
      checkEntry(directory_.get() + offsets_[i], room);
    } catch (InvalidPackage const& fault) {
      tell(ArchiveFault::DamagedEntry, entry(i).name, fault.what());
      isUsable_[i] = false;
    }
}

struct ArchiveSurvey::Place {
  std::uint64_t begin;
  std::size_t index;
  bool operator<(Place const& other) const { return begin != other.begin ? begin < other.begin : index < other.index; }
};

void ArchiveSurvey::readItems(ItemSink const& done, ContentSink const& take) {
  std::vector<Place> places;
  for (std::size_t i = 0; i < size(); ++i) {
    if (isUsable_[i])
      places.push_back({entry(i).localHeaderOffset, i});
    else
      done(i, false);
  }
  std::sort(places.begin(), places.end());
  std::uint64_t const begin = places.empty() ? place_.begin : places.front().begin;
  if (begin > 0 && isComplete_)
    tell(ArchiveFault::PrefixBytes, {}, "The archive begins behind " + bytesText(begin) + " of something else");
  for (std::size_t i = 0; i < places.size(); ++i)
    readItem(places[i].index, i + 1 < places.size() ? places[i + 1].begin : std::max(place_.begin, places[i].begin),
             done, take);
}

/// Nothing of the item should stand at `limit` or beyond.
void ArchiveSurvey::readItem(std::size_t index, std::uint64_t limit, ItemSink const& done, ContentSink const& take) {
  Entry const item = entry(index);
  std::uint64_t const begin = item.localHeaderOffset, left = bytes_->size() - begin;
  std::size_t headerSize = 0;
  LocalHeader header{0, {}, false, true};  // of one that is none no descriptor is expected
  bool isSound = true;
  try {
    headerSize = localHeaderSize(item, window(begin, std::min<std::uint64_t>(left, kLocalSize)));
    if (headerSize > left || item.storedSize > left - headerSize) throw invalidItem(item.name, fault::kOverlap);
    header = checkLocalHeader(item, window(begin, headerSize), headerSize);
    tellHints(item, header.extra);
    if (isRenamedByUnicodePath(item.name, header.extra)) throw invalidItem(item.name, fault::kOtherName);
  } catch (InvalidItem const& fault) {
    tell(ArchiveFault::BadLocalHeader, item.name, fault.what());
    isSound = false;
  }
  if (headerSize == 0 || headerSize > left || item.storedSize > left - headerSize) return done(index, false);
  std::uint64_t const data = begin + headerSize;
  isSound &= readContent(index, data, take);
  checkGap(item, header, data + item.storedSize, limit);
  done(index, isSound);
}

void ArchiveSurvey::checkGap(Entry const& item, LocalHeader const& header, std::uint64_t end, std::uint64_t limit) {
  if (end > limit) return tell(ArchiveFault::Overlap, item.name, inItem(item.name, fault::kOverlap));
  if (header.hasDescriptor) end = endOfDescriptor(item, header, end, limit);
  if (end < limit && isComplete_)
    tell(ArchiveFault::Gap, item.name,
         inItem(item.name, "it is followed by " + bytesText(limit - end) + " that belong to no item"));
}

/// Of the forms that a descriptor may have (with its signature or without, with sizes of 32 or 64 bits) the one that
/// says what the directory says; `begin` where it is none of them.
std::uint64_t ArchiveSurvey::endOfDescriptor(Entry const& item, LocalHeader const& header, std::uint64_t begin,
                                             std::uint64_t limit) {
  auto const available = static_cast<std::size_t>(std::min<std::uint64_t>(limit - begin, kMaximumDescriptorSize));
  unsigned char p[kMaximumDescriptorSize] = {};
  bytes_->readAt(begin, p, available);
  try {
    checkDescriptor(item, header, p, available);
  } catch (InvalidItem const& fault) {
    tell(ArchiveFault::BadDescriptor, item.name, fault.what());
    return limit;  // whatever it is, it has been told
  }
  for (std::size_t const start : {std::size_t{4}, std::size_t{0}}) {
    if (start == 4 && load32(p) != kDescriptorSignature) continue;
    unsigned char const* const values = p + start;
    if (load32(values) != item.crc) continue;
    std::size_t const wide = start + 20, narrow = start + 12;
    if (available >= wide && load64(values + 4) == item.storedSize && load64(values + 12) == item.size)
      return begin + wide;
    if (available >= narrow && load32(values + 4) == item.storedSize && load32(values + 8) == item.size)
      return begin + narrow;
  }
  return begin;
}

void ArchiveSurvey::tellHints(Entry const& item, std::string_view localExtra) {
  if (findExtraField(localExtra, kGrowthHintExtra) || findExtraField(item.extra, kGrowthHintExtra))
    tell(ArchiveFault::GrowthHint, item.name, inItem(item.name, "it has room to grow in an extra field"));
}

bool ArchiveSurvey::readContent(std::size_t index, std::uint64_t begin, ContentSink const& take) {
  Entry const item = entry(index);
  ItemFacts facts = factsOf(item);
  try {
    checkReadable(item);
    checkFacts(facts);
  } catch (InvalidItem const& fault) {
    tell(ArchiveFault::UnreadableItem, item.name, fault.what());
    return false;
  }
  try {
    auto const stream = openItem(std::move(facts), [this, begin](std::uint64_t offset, void* to, std::size_t count) {
      if (count > kWindow) return bytes_->readAt(begin + offset, to, count);
      std::copy_n(window(begin + offset, count), count, static_cast<unsigned char*>(to));
    });
    Buffer buffer(kReadStep);
    while (!stream->isEnd()) {
      std::size_t const count = stream->read(buffer.data.get(), buffer.size);
      if (take) take(index, {buffer.data.get(), count});
    }
    return true;
  } catch (InvalidItem const& fault) {
    tell(ArchiveFault::DamagedContent, item.name, fault.what());
    return false;
  }
}

unsigned char const* ArchiveSurvey::window(std::uint64_t offset, std::uint64_t count) {
  ReadAhead::Source const source{bytes_.get(), bytes_->size(), [this](std::uint64_t at, void* to, std::size_t size) {
                                   bytes_->readAt(at, to, size);
                                 }};
  return ahead_.bytes(source, offset, static_cast<std::size_t>(count));
}

std::unique_ptr<InputStream> ArchiveSurvey::openContent(std::size_t index) const {
  Entry const item = entry(index);
  if (!isUsable_[index]) throw invalidItem(item.name, "it does not fit into the file");
  checkReadable(item);
  std::uint64_t const left = bytes_->size() - item.localHeaderOffset;
  unsigned char header[kLocalSize];
  if (left < sizeof header) throw invalidItem(item.name, fault::kNoLocalHeader);
  bytes_->readAt(item.localHeaderOffset, header, sizeof header);
  std::uint64_t const headerSize = localHeaderSize(item, header);
  if (headerSize > left || item.storedSize > left - headerSize) throw invalidItem(item.name, fault::kOverlap);
  std::uint64_t const begin = item.localHeaderOffset + headerSize;
  return openItem(factsOf(item), [bytes = bytes_, begin](std::uint64_t offset, void* to, std::size_t count) {
    bytes->readAt(begin + offset, to, count);
  });
}

}  // namespace opc::model::zip
