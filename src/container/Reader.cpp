// SPDX-License-Identifier: Apache-2.0
#include "container/Reader.hpp"

#include <algorithm>
#include <utility>

#include "container/ChunkIndex.hpp"
#include "container/Directory.hpp"
#include "container/DirectoryReader.hpp"
#include "container/Faults.hpp"
#include "container/ItemHeaders.hpp"
#include "container/ItemStream.hpp"
#include "container/LocalHeader.hpp"
#include "container/ZipFormat.hpp"

namespace opc::model::zip {
namespace {

// The usual maximum of a local extra field, for reads of a header alone.
constexpr std::uint64_t kSmallExtraGuess = 64;
// A descriptor and the next header are read together, since ReadAhead would take two reads for the begin of a row.
constexpr std::uint64_t kDescriptorAndNextHeader = 512;
constexpr std::uint64_t kLargestWindow = 1u << 20;
constexpr std::size_t kReadStep = 256u << 10;

std::string itemText(std::string_view name, std::string const& what) { return invalidItem(name, what).what(); }

bool runsOver(std::uint64_t headerSize, Entry const& item, std::uint64_t room) {
  return headerSize > room || item.storedSize > room - headerSize;
}

}  // namespace

/// Where an item begins.
struct Reader::Start {
  std::uint64_t begin;
  std::size_t index;
  bool operator<(Start const& other) const { return begin != other.begin ? begin < other.begin : index < other.index; }
};

Reader::Reader(std::shared_ptr<RandomAccessBytes const> bytes, std::uint64_t maximumItems, Faults& faults,
               HeaderWalk walk)
    : bytes_(std::move(bytes)), faults_(faults), archive_(new Archive) {
  archive_->bytes_ = bytes_;
  archive_->isLenient_ = faults_.listsAll();
  DirectoryReader directory(*bytes_, *archive_, faults_, walk);
  directory.read(maximumItems);
  isComplete_ = directory.isComplete();
  hasWholeDirectory_ = directory.isWhole();
  checkPlaces();
}

std::vector<Reader::Start> Reader::usableStarts() const {
  std::vector<Start> starts;
  starts.reserve(archive_->size());
  for (std::size_t i = 0; i < archive_->size(); ++i)
    if (archive_->isUsable(i)) starts.push_back({archive_->entry(i).localHeaderOffset, i});
  return starts;
}

/// No item may begin within another one, and the last item must end before the directory. Most directories are in the
/// order of the items.
void Reader::checkPlaces() {
  auto places = usableStarts();
  if (!std::is_sorted(places.begin(), places.end()) || places.size() != archive_->size()) {
    std::sort(places.begin(), places.end());
    archive_->starts_.reserve(places.size());
    for (auto const& place : places) archive_->starts_.push_back(place.begin);
  }
  for (std::size_t i = 0; i < places.size(); ++i) {
    Entry const item = archive_->entry(places[i].index);
    if (minimumSize(item) > limitAfter(places, i) - item.localHeaderOffset)
      faults_.refuse({code::kOverlap, faultItem(item.name), damagedArchive(item.name, fault::kOverlap).what(),
                      itemText(item.name, fault::kOverlap)});
  }
}

/// The begin of the next item, or of the directory.
std::uint64_t Reader::limitAfter(std::vector<Start> const& starts, std::size_t index) const {
  return index + 1 < starts.size() ? starts[index + 1].begin : std::max(archive_->directoryBegin_, starts[index].begin);
}

void Reader::checkHeaders() {
  bool isSeamless = archive_->starts_.empty();
  for (std::size_t i = 0; i < archive_->size(); ++i) {
    Entry const item = archive_->entry(i);
    std::uint64_t const limit = archive_->limitOf(i);
    LocalHeader header;
    bool const isSound = checkHeader(item, limit, header);
    if (isSound) checkBehind(item, header, limit);
    bool const isFull = item.localHeaderOffset + header.size + item.storedSize == limit;
    isSeamless = isSeamless && isSound && isFull && !header.hasDescriptor;
  }
  archive_->isSeamless_ = isSeamless;
}

/// What one call of readItems() hands its items to.
struct Reader::Reading {
  ItemSink const& done;
  ContentSink const& take;
  std::size_t threads;
  TaskQueue queue{};  // last, so that it ends before what its tasks use
};

/// Unpacks a content that is held whole. What it finds is reported in the order of the items.
class Reader::ContentTask final : public TaskQueue::Task {
 public:
  ContentTask(Reader& reader, Reading& reading, std::size_t index, bool isSound, ItemFacts facts, Buffer stored)
      : reader_(reader),
        reading_(reading),
        index_(index),
        isSound_(isSound),
        facts_(std::move(facts)),
        stored_(std::move(stored)) {}

  void run() override {
    try {
      content_ = unpack(facts_, stored_.data.get());
    } catch (InvalidItem const& fault) {
      fault_ = fault.what();
    }
    stored_ = Buffer(0);
  }

  void deliver() override {
    if (fault_)
      reader_.faults_.tolerate({code::kDamagedContent, faultItem(facts_.name), *fault_});
    else if (reading_.take && content_.size > 0)
      reading_.take(index_, {content_.data.get(), content_.size});
    reader_.finish(index_, isSound_ && !fault_, reading_.done);
  }

 private:
  Reader& reader_;
  Reading& reading_;
  std::size_t index_;
  bool isSound_;  // apart from its content
  ItemFacts facts_;
  Buffer stored_;
  Buffer content_{0};
  std::optional<std::string> fault_;
};

void Reader::readItems(ItemSink const& done, ContentSink const& take, std::size_t threads) {
  auto places = usableStarts();
  std::sort(places.begin(), places.end());
  std::uint64_t const begin = places.empty() ? archive_->directoryBegin_ : places.front().begin;
  if (begin > 0 && isComplete_)
    tolerate(code::kPrefixBytes, {}, "The archive begins behind " + bytesText(begin) + " of something else");
  isUnsound_.assign(archive_->size(), false);
  for (std::size_t i = 0; i < archive_->size(); ++i)
    if (!archive_->isUsable(i)) finish(i, false, done);
  Reading reading{done, take, threads};
  reading.queue.setThreads(threads);
  queue_ = &reading.queue;
  try {
    for (std::size_t i = 0; i < places.size(); ++i) readItem(places[i].index, limitAfter(places, i), reading);
    settle();
  } catch (...) {
    queue_ = nullptr;
    throw;
  }
  queue_ = nullptr;
}

void Reader::finish(std::size_t index, bool isSound, ItemSink const& done) {
  isUnsound_[index] = !isSound;
  if (done) done(index, isSound);
}

/// Compares the local header, and the room up to `limit`, with the directory. Sets the size of `header` once the data
/// is known to lie within the file.
bool Reader::checkHeader(Entry const& item, std::uint64_t limit, LocalHeader& header) {
  std::uint64_t const begin = item.localHeaderOffset, left = bytes_->size() - begin, room = limit - begin;
  std::uint64_t const least = kLocalSize + item.name.size();
  try {
    std::uint64_t const guess = std::min(std::max(room, least), least + kSmallExtraGuess);
    std::size_t const size = localHeaderSize(item, window(begin, guess));
    if (runsOver(size, item, left)) throw invalidItem(item.name, fault::kOverlap);
    header.size = size;
    // A header that is too long even without its extra field has been reported with the places.
    if (runsOver(size, item, room) && minimumSize(item) <= room)
      refuse(code::kOverlap, item.name, itemText(item.name, fault::kOverlap));
    header = checkLocalHeader(item, window(begin, size), size);
    return true;
  } catch (InvalidItem const& fault) {
    refuse(code::kBadLocalHeader, item.name, fault.what());
    return false;
  }
}

/// Checks the descriptor, and that nothing stands between the item and `limit`.
void Reader::checkBehind(Entry const& item, LocalHeader const& header, std::uint64_t limit) {
  std::uint64_t const behind = item.localHeaderOffset + header.size + item.storedSize;
  if (behind > limit) return;  // reported as an overlap
  auto const end = header.hasDescriptor ? endOfDescriptor(item, header, behind, limit) : behind;
  if (end && *end < limit && isComplete_ && faults_.listsAll())
    tolerate(code::kGap, item.name,
             itemText(item.name, "it is followed by " + bytesText(limit - *end) + " that belong to no item"));
}

/// Absent where the descriptor disagrees, since its end is then unknown.
std::optional<std::uint64_t> Reader::endOfDescriptor(Entry const& item, LocalHeader const& header, std::uint64_t begin,
                                                     std::uint64_t limit) {
  std::uint64_t const read = std::min(bytes_->size() - begin, kDescriptorAndNextHeader);
  auto const available = static_cast<std::size_t>(std::min(limit - begin, read));
  try {
    return begin + checkDescriptor(item, header, window(begin, read), available);
  } catch (InvalidItem const& fault) {
    refuse(code::kBadDescriptor, item.name, fault.what());
    return std::nullopt;
  }
}

/// Reads the content even if the header disagrees, as long as its place is known.
void Reader::readItem(std::size_t index, std::uint64_t limit, Reading& reading) {
  Entry const item = archive_->entry(index);
  LocalHeader header;
  bool isSound = checkHeader(item, limit, header);
  if (header.size == 0) {
    settle();
    return finish(index, false, reading.done);
  }
  isSound = isSound && checkExtra(item, header);
  header.extra = {};  // a view into the window, which moves on
  readContent(index, item.localHeaderOffset + header.size, isSound, reading);
  checkBehind(item, header, limit);
}

/// Checks the extra fields for a name that opening the content refuses, and for growth hints other than a writer's own.
bool Reader::checkExtra(Entry const& item, LocalHeader const& header) {
  if (hasGrowthHint(item, header.extra))
    tolerate(code::kGrowthHint, item.name, itemText(item.name, "it has room to grow in an extra field"));
  if (!isRenamedByUnicodePath(item.name, header.extra)) return true;
  tolerate(code::kBadLocalHeader, item.name, itemText(item.name, fault::kOtherName));
  return false;
}

/// `isSound` says so of the item apart from its content.
void Reader::readContent(std::size_t index, std::uint64_t begin, bool isSound, Reading& reading) {
  Entry const item = archive_->entry(index);
  ItemFacts facts = factsOf(item);
  try {
    checkReadable(item);
    checkFacts(facts);
  } catch (InvalidItem const& fault) {
    tolerate(code::kUnreadableItem, item.name, fault.what());
    return finish(index, false, reading.done);
  }
  if (!isReadWhole(facts)) {
    settle();
    return finish(index, readLongContent(item, index, begin, reading) && isSound, reading.done);
  }
  Buffer stored(static_cast<std::size_t>(facts.storedSize));
  if (stored.size > kLargestWindow)
    bytes_->readAt(begin, stored.data.get(), stored.size);
  else
    std::copy_n(window(begin, stored.size), stored.size, stored.data.get());
  std::size_t const size = stored.size + static_cast<std::size_t>(facts.size);
  reading.queue.add(std::make_unique<ContentTask>(*this, reading, index, isSound, std::move(facts), std::move(stored)),
                    size);
}

bool Reader::readLongContent(Entry const& item, std::size_t index, std::uint64_t begin, Reading& reading) {
  auto const source = [bytes = bytes_, begin](std::uint64_t offset, void* to, std::size_t count) {
    bytes->readAt(begin + offset, to, count);
  };
  auto const chunks = chunksOf(item);
  try {
    auto const stream = openItem(factsOf(item), source, chunks ? &*chunks : nullptr, 0, reading.threads);
    Buffer buffer(kReadStep);
    while (!stream->isEnd()) {
      std::size_t const count = stream->read(buffer.data.get(), buffer.size);
      if (reading.take) reading.take(index, {buffer.data.get(), count});
    }
    return true;
  } catch (InvalidItem const& fault) {
    tolerate(code::kDamagedContent, item.name, fault.what());
    return false;
  }
}

/// Faults are reported in the order of the items.
void Reader::settle() const {
  if (queue_) queue_->deliverAll();
}

void Reader::refuse(char const* code, std::string_view item, std::string const& message) const {
  settle();
  faults_.refuse({code, item.empty() ? std::string() : faultItem(item), message});
}

void Reader::tolerate(char const* code, std::string_view item, std::string const& message) const {
  settle();
  faults_.tolerate({code, item.empty() ? std::string() : faultItem(item), message});
}

unsigned char const* Reader::window(std::uint64_t offset, std::uint64_t count) {
  ReadAhead::Source const source{bytes_.get(), bytes_->size(), [this](std::uint64_t at, void* to, std::size_t size) {
                                   bytes_->readAt(at, to, size);
                                 }};
  return ahead_.bytes(source, offset, static_cast<std::size_t>(count));
}

}  // namespace opc::model::zip
