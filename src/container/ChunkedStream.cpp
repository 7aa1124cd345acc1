// SPDX-License-Identifier: Apache-2.0
#include "container/ChunkedStream.hpp"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <utility>
#include <vector>

#include "container/Faults.hpp"
#include "container/ZipFormat.hpp"
#include "io/TaskQueue.hpp"

namespace opc::model::zip {
namespace {

/// An empty block that is the last one: what a chunk lacks to be a whole stream.
constexpr std::array<unsigned char, 2> kLastBlock{0x03, 0x00};

constexpr std::uint64_t kAhead = 32u << 20;  // bytes of content that threads load before they are read

/// One chunk in memory.
struct LoadedChunk {
  ChunkIndex::Chunk chunk{};
  Buffer content{0};
  Buffer stored{0};

  /// Throws InvalidItem unless the chunk is what the index says.
  void load(ItemFacts const& facts, StoredBytes const& source) {
    if (content.size < chunk.size) content = Buffer(chunk.size);
    unpack(facts, source);
    if (crcOf(0, content.data.get(), chunk.size) != chunk.crc) throw invalidItem(facts.name, fault::kWrongCrc);
  }

 private:
  void unpack(ItemFacts const& facts, StoredBytes const& source) {
    if (facts.method == kStored) {
      if (chunk.storedSize != chunk.size) throw invalidItem(facts.name, fault::kWrongLength);
      return source(chunk.storedBegin, content.data.get(), chunk.size);
    }
    bool const isLast = chunk.begin + chunk.size == facts.size;
    std::size_t const storedSize = chunk.storedSize + (isLast ? 0 : kLastBlock.size());
    if (stored.size < storedSize) stored = Buffer(storedSize);
    source(chunk.storedBegin, stored.data.get(), chunk.storedSize);
    if (!isLast) std::copy(kLastBlock.begin(), kLastBlock.end(), stored.data.get() + chunk.storedSize);
    if (!inflateExactly({stored.data.get(), storedSize}, {content.data.get(), chunk.size}))
      throw invalidItem(facts.name, fault::kDamagedData);
  }
};

/// Delivers the chunks of an item one after the other, and loads the next ones on threads meanwhile.
class ChunkLoader {
 public:
  ChunkLoader(ItemFacts const& facts, ChunkIndex const& index, StoredBytes const& source, std::size_t threads)
      : facts_(facts),
        index_(index),
        source_(source),
        threads_(threads),
        most_(std::clamp<std::uint64_t>(kAhead / index.chunkSize(), 2, 2 * threads + 1)) {}

  /// Loads the chunk of that position. What it takes is given back by the next call.
  LoadedChunk const& load(std::uint64_t position) {
    if (threads_ == 0) {
      current_.chunk = index_.chunkAt(position);
      current_.load(facts_, source_);
      return current_;
    }
    if (!queue_) start(position);
    spare_.push_back(std::exchange(current_, {}));
    while (next_ < facts_.size && underWay_ < most_) begin();
    while (ready_.empty()) queue_->deliverFirst();
    current_ = std::move(ready_.front());
    ready_.pop_front();
    --underWay_;
    return current_;
  }

  /// The next chunk to be loaded may be any.
  void restart() {
    queue_.reset();
    ready_.clear();
    underWay_ = 0;
  }

 private:
  class Task final : public TaskQueue::Task {
   public:
    Task(ChunkLoader& loader, LoadedChunk chunk) : loader_(loader), chunk_(std::move(chunk)) {}

    void run() override { chunk_.load(loader_.facts_, loader_.source_); }
    void deliver() override { loader_.ready_.push_back(std::move(chunk_)); }

   private:
    ChunkLoader& loader_;
    LoadedChunk chunk_;
  };

  void start(std::uint64_t position) {
    queue_.emplace(SIZE_MAX / 2);  // the number of chunks bounds it
    queue_->setThreads(threads_);
    next_ = position;
  }

  void begin() {
    LoadedChunk taken;
    if (!spare_.empty()) {
      taken = std::move(spare_.back());
      spare_.pop_back();
    }
    taken.chunk = index_.chunkAt(next_);
    auto const end = taken.chunk.begin + taken.chunk.size;
    std::size_t const size = taken.chunk.size;
    queue_->add(std::make_unique<Task>(*this, std::move(taken)), size);
    next_ = end;
    ++underWay_;
  }

  ItemFacts const& facts_;
  ChunkIndex const& index_;
  StoredBytes const& source_;
  std::size_t threads_;
  std::uint64_t most_;              // chunks that are under way or ready
  LoadedChunk current_;             // the one that is read
  std::vector<LoadedChunk> spare_;  // their buffers serve again
  std::deque<LoadedChunk> ready_;
  std::uint64_t next_ = 0;  // the position of the next chunk to be begun
  std::uint64_t underWay_ = 0;
  std::optional<TaskQueue> queue_;  // last, so that it ends before what its tasks use
};

class ChunkedStream final : public InputStream {
 public:
  ChunkedStream(ItemFacts facts, ChunkIndex index, StoredBytes source, std::uint64_t offset, std::size_t threads)
      : facts_(std::move(facts)),
        index_(std::move(index)),
        source_(std::move(source)),
        begin_(std::min(offset, facts_.size)),
        position_(begin_),
        loader_(facts_, index_, source_, threads) {}

  void reset() override {
    position_ = begin_;
    crc_ = 0;
    held_ = nullptr;
    loader_.restart();
  }

  std::size_t read(void* buffer, std::size_t count) override {
    auto* to = static_cast<unsigned char*>(buffer);
    count = static_cast<std::size_t>(std::min<std::uint64_t>(count, facts_.size - position_));
    for (std::size_t left = count; left > 0;) {
      std::size_t const step = readSome(to, left);
      to += step;
      left -= step;
    }
    return count;
  }

  bool isEnd() override { return position_ == facts_.size; }
  void clear() override {}

 private:
  /// Reads up to the end of a chunk. Each chunk is loaded for its first byte that is read; a chunk that could not be
  /// loaded is not held, so the next read tries it again.
  std::size_t readSome(unsigned char* to, std::size_t count) {
    bool const isHeld = held_ && position_ - held_->chunk.begin < held_->chunk.size;
    if (!isHeld) load();
    auto const at = static_cast<std::size_t>(position_ - held_->chunk.begin);
    count = std::min(count, held_->chunk.size - at);
    std::copy_n(held_->content.data.get() + at, count, to);
    position_ += count;
    return count;
  }

  void load() {
    held_ = nullptr;
    LoadedChunk const& loaded = loader_.load(position_);
    if (begin_ == 0) checkWhole(loaded.chunk);
    held_ = &loaded;
  }

  /// The chunks come in order when the content is read from its beginning.
  void checkWhole(ChunkIndex::Chunk const& chunk) {
    auto const crc = static_cast<std::uint32_t>(crc32_combine(crc_, chunk.crc, static_cast<z_off_t>(chunk.size)));
    if (chunk.begin + chunk.size == facts_.size && crc != facts_.crc) {
      loader_.restart();
      throw invalidItem(facts_.name, fault::kWrongCrc);
    }
    crc_ = crc;
  }

  ItemFacts facts_;
  ChunkIndex index_;
  StoredBytes source_;
  std::uint64_t begin_;
  std::uint64_t position_;
  std::uint32_t crc_ = 0;              // of the chunks so far, when read from the beginning
  LoadedChunk const* held_ = nullptr;  // the loader's
  ChunkLoader loader_;
};

}  // namespace

std::unique_ptr<InputStream> openChunks(ItemFacts facts, ChunkIndex index, StoredBytes source, std::uint64_t offset,
                                        std::size_t threads) {
  return std::make_unique<ChunkedStream>(std::move(facts), std::move(index), std::move(source), offset, threads);
}

}  // namespace opc::model::zip
