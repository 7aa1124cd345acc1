// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace opc::model::zip {

/// Where the chunks of a long content lie among its stored bytes, and their CRCs: each chunk can be read by itself. All
/// chunks but the last hold the same number of the content's bytes. The index goes into an extra field of the item's
/// central directory entry, which other programs skip.
class ChunkIndex {
 public:
  /// One chunk, found by an offset in the content. Offsets and sizes are in bytes.
  struct Chunk {
    std::uint64_t begin;  // in the content
    std::size_t size;
    std::uint64_t storedBegin;  // in the item's stored bytes
    std::size_t storedSize;
    std::uint32_t crc;
  };

  explicit ChunkIndex(std::uint32_t chunkSize = kChunkSize) : chunkSize_(chunkSize) {}

  /// Adds the chunk behind the last one. Beyond kMostChunks, neighbours are joined, so that the field always fits; a
  /// content that would need chunks above kLargestChunk has no index.
  /// Does nothing when it throws.
  void add(std::size_t storedSize, std::uint32_t crc, std::size_t size);
  bool hasMany() const { return records_.size() > 1; }

  /// The data of the extra field; empty where there is no index.
  std::string toField() const;
  /// Nothing unless the field describes exactly that many bytes, in chunks that are read whole: up to
  /// kLargestReadable bytes each.
  static std::optional<ChunkIndex> fromField(std::string_view field, std::uint64_t storedSize, std::uint64_t size);

  /// `offset` is less than size().
  Chunk chunkAt(std::uint64_t offset) const;
  std::size_t chunkSize() const { return chunkSize_; }
  std::uint64_t size() const { return size_; }

  static constexpr std::uint32_t kChunkSize = 1u << 20;
  static constexpr std::size_t kMostChunks = 8000;
  static constexpr std::uint32_t kLargestChunk = 1u << 30;
  static constexpr std::uint32_t kLargestReadable = 8u << 20;

 private:
  struct Record {
    std::uint64_t storedEnd;
    std::uint32_t crc;
  };

  void joinNeighbours();
  std::uint64_t storedBeginOf(std::size_t index) const { return index == 0 ? 0 : records_[index - 1].storedEnd; }
  std::uint64_t sizeOf(std::size_t index) const;

  std::uint32_t chunkSize_;
  std::uint64_t size_ = 0;
  std::vector<Record> records_;  // empty once the content is too long
};

struct Entry;

/// The index in the item's directory entry. Absent if the entry has no index that fits the item.
std::optional<ChunkIndex> chunksOf(Entry const& item);

}  // namespace opc::model::zip
