// SPDX-License-Identifier: Apache-2.0
#include "container/ChunkedStream.hpp"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "container/Faults.hpp"
#include "container/ZipFormat.hpp"

namespace opc::model::zip {
namespace {

/// An empty block that is the last one: what a chunk lacks to be a whole stream.
constexpr std::array<unsigned char, 2> kLastBlock{0x03, 0x00};

class ChunkedStream final : public InputStream {
 public:
  ChunkedStream(ItemFacts facts, ChunkIndex index, StoredBytes source, std::uint64_t offset)
      : facts_(std::move(facts)),
        index_(std::move(index)),
        source_(std::move(source)),
        begin_(std::min(offset, facts_.size)),
        position_(begin_) {}

  void reset() override {
    position_ = begin_;
    crc_ = 0;
    held_ = 0;
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
    bool const isHeld = position_ >= contentBegin_ && position_ - contentBegin_ < held_;
    if (!isHeld) load(index_.chunkAt(position_));
    auto const at = static_cast<std::size_t>(position_ - contentBegin_);
    count = std::min(count, held_ - at);
    std::copy_n(content_.data.get() + at, count, to);
    position_ += count;
    return count;
  }

  void load(ChunkIndex::Chunk const& chunk) {
    held_ = 0;
    if (content_.size < chunk.size) content_ = Buffer(chunk.size);
    unpackChunk(chunk);
    if (crcOf(0, content_.data.get(), chunk.size) != chunk.crc) throw invalidItem(facts_.name, fault::kWrongCrc);
    if (begin_ == 0) checkWhole(chunk);
    contentBegin_ = chunk.begin;
    held_ = chunk.size;
  }

  /// The chunks come in order when the content is read from its beginning.
  void checkWhole(ChunkIndex::Chunk const& chunk) {
    auto const crc = static_cast<std::uint32_t>(crc32_combine(crc_, chunk.crc, static_cast<z_off_t>(chunk.size)));
    if (chunk.begin + chunk.size == facts_.size && crc != facts_.crc) throw invalidItem(facts_.name, fault::kWrongCrc);
    crc_ = crc;
  }

  void unpackChunk(ChunkIndex::Chunk const& chunk) {
    if (facts_.method == kStored) {
      if (chunk.storedSize != chunk.size) throw invalidItem(facts_.name, fault::kWrongLength);
      return source_(chunk.storedBegin, content_.data.get(), chunk.size);
    }
    bool const isLast = chunk.begin + chunk.size == facts_.size;
    std::size_t const storedSize = chunk.storedSize + (isLast ? 0 : kLastBlock.size());
    if (stored_.size < storedSize) stored_ = Buffer(storedSize);
    source_(chunk.storedBegin, stored_.data.get(), chunk.storedSize);
    if (!isLast) std::copy(kLastBlock.begin(), kLastBlock.end(), stored_.data.get() + chunk.storedSize);
    if (!inflateExactly({stored_.data.get(), storedSize}, {content_.data.get(), chunk.size}))
      throw invalidItem(facts_.name, fault::kDamagedData);
  }

  ItemFacts facts_;
  ChunkIndex index_;
  StoredBytes source_;
  std::uint64_t begin_;
  std::uint64_t position_;
  std::uint32_t crc_ = 0;           // of the chunks so far, when read from the beginning
  std::uint64_t contentBegin_ = 0;  // of the chunk that is held
  std::size_t held_ = 0;            // bytes of that chunk; 0 while none is held
  Buffer content_{0};
  Buffer stored_{0};
};

}  // namespace

std::unique_ptr<InputStream> openChunks(ItemFacts facts, ChunkIndex index, StoredBytes source, std::uint64_t offset) {
  return std::make_unique<ChunkedStream>(std::move(facts), std::move(index), std::move(source), offset);
}

}  // namespace opc::model::zip
