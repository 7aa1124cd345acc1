// SPDX-License-Identifier: Apache-2.0
#include "container/ChunkIndex.hpp"

#include <zlib.h>

#include <algorithm>
#include <utility>

#include "container/Directory.hpp"
#include "container/ZipFormat.hpp"

namespace opc::model::zip {
namespace {

constexpr std::uint16_t kIndexVersion = 1;
constexpr std::size_t kHeaderSize = 6;  // version, size of a chunk
constexpr std::size_t kRecordSize = 8;  // stored size, CRC

/// The CRC of two pieces behind each other, the second of that size.
std::uint32_t joined(std::uint32_t first, std::uint32_t second, std::size_t size) {
  return static_cast<std::uint32_t>(crc32_combine(first, second, static_cast<z_off_t>(size)));
}

constexpr std::uint32_t kStoredSlack = 64u << 10;  // what does not shrink gets a little longer

}  // namespace

void ChunkIndex::add(std::size_t storedSize, std::uint32_t crc, std::size_t size) {
  if (records_.empty() && size_ > 0) return;
  if (records_.size() == kMostChunks && size_ % chunkSize_ == 0) joinNeighbours();
  std::uint64_t const storedEnd = storedBeginOf(records_.size()) + storedSize;
  if (size_ % chunkSize_ == 0)
    records_.push_back({storedEnd, crc});
  else
    records_.back() = {storedEnd, joined(records_.back().crc, crc, size)};
  size_ += size;
}

std::uint64_t ChunkIndex::sizeOf(std::size_t index) const {
  return std::min<std::uint64_t>(chunkSize_, size_ - static_cast<std::uint64_t>(index) * chunkSize_);
}

/// All chunks are full, and they are of an even number.
void ChunkIndex::joinNeighbours() {
  static_assert(kMostChunks % 2 == 0);
  if (chunkSize_ == kLargestChunk) return records_.clear();
  for (std::size_t i = 0; i < records_.size(); i += 2)
    records_[i / 2] = {records_[i + 1].storedEnd, joined(records_[i].crc, records_[i + 1].crc, chunkSize_)};
  records_.resize(records_.size() / 2);
  chunkSize_ *= 2;
}

std::string ChunkIndex::toField() const {
  if (records_.empty()) return {};
  std::vector<unsigned char> bytes;
  bytes.reserve(kHeaderSize + records_.size() * kRecordSize);
  RecordWriter record(bytes);
  record.u16(kIndexVersion).u32(chunkSize_);
  for (std::size_t i = 0; i < records_.size(); ++i)
    record.u32(static_cast<std::uint32_t>(records_[i].storedEnd - storedBeginOf(i))).u32(records_[i].crc);
  return std::string(textAt(bytes.data(), bytes.size()));
}

std::optional<ChunkIndex> ChunkIndex::fromField(std::string_view field, std::uint64_t storedSize, std::uint64_t size) {
  if (field.size() < kHeaderSize || load16(bytesOf(field)) != kIndexVersion) return std::nullopt;
  ChunkIndex index(load32(bytesOf(field) + 2));
  if (index.chunkSize_ == 0 || index.chunkSize_ > kLargestReadable || (field.size() - kHeaderSize) % kRecordSize != 0)
    return std::nullopt;
  std::size_t const count = (field.size() - kHeaderSize) / kRecordSize;
  if (count == 0 || size == 0 || (size - 1) / index.chunkSize_ + 1 != count) return std::nullopt;
  index.records_.reserve(count);
  for (field.remove_prefix(kHeaderSize); !field.empty(); field.remove_prefix(kRecordSize)) {
    unsigned char const* const p = bytesOf(field);
    if (load32(p) > index.chunkSize_ + kStoredSlack) return std::nullopt;
    index.records_.push_back({index.storedBeginOf(index.records_.size()) + load32(p), load32(p + 4)});
  }
  if (index.records_.back().storedEnd != storedSize) return std::nullopt;
  index.size_ = size;
  return index;
}

ChunkIndex::Chunk ChunkIndex::chunkAt(std::uint64_t offset) const {
  auto const index = static_cast<std::size_t>(offset / chunkSize_);
  Record const& record = records_.at(index);
  std::uint64_t const storedBegin = storedBeginOf(index);
  return {static_cast<std::uint64_t>(index) * chunkSize_, static_cast<std::size_t>(sizeOf(index)), storedBegin,
          static_cast<std::size_t>(record.storedEnd - storedBegin), record.crc};
}

std::optional<ChunkIndex> chunksOf(Entry const& item) {
  auto const field = findExtraField(item.extra, kChunksExtra);
  return field ? ChunkIndex::fromField(*field, item.storedSize, item.size) : std::nullopt;
}

}  // namespace opc::model::zip
