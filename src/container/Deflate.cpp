// SPDX-License-Identifier: Apache-2.0
#include "container/Deflate.hpp"

#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>

#include "container/ChunkIndex.hpp"

namespace opc::model::zip {
namespace {

constexpr int kProbeLevel = 1;
// A smaller saving does not justify inflating at each read.
constexpr std::size_t kWorthwhilePercent = 98;

int levelOf(Effort effort) {
  switch (effort) {
    case Effort::Store:
      return 0;
    case Effort::Fast:
      return 1;
    case Effort::Small:
      return 9;
    case Effort::Default:
      break;
  }
  return 6;
}

struct FreeCompressor {
  void operator()(libdeflate_compressor* c) const { libdeflate_free_compressor(c); }
};

/// Allocating a compressor costs as much as deflating a small file, so each thread keeps those that it used.
libdeflate_compressor* compressor(int level) {
  thread_local std::array<std::unique_ptr<libdeflate_compressor, FreeCompressor>, 10> kept;
  auto& place = kept.at(static_cast<std::size_t>(level));
  if (!place) place.reset(libdeflate_alloc_compressor(level));
  if (!place) throw std::bad_alloc();
  return place.get();
}

/// zlib's inflate over a finished stream, which stops at each block. It proves the stream by the way.
class BlockScan {
 public:
  BlockScan() : room_(ChunkIndex::kChunkSize) {
    if (inflateInit2(&stream_, -MAX_WBITS) != Z_OK) throw std::bad_alloc();
  }
  ~BlockScan() { inflateEnd(&stream_); }
  BlockScan(BlockScan const&) = delete;
  BlockScan& operator=(BlockScan const&) = delete;

  struct LastBlock {
    std::size_t begin;  // in bits
    std::size_t end;
  };

  /// Throws Exception unless the stream inflates to `content`.
  LastBlock findLastBlock(Buffer& deflated, void const* content, std::size_t count) {
    inflateReset(&stream_);
    stream_.next_in = deflated.data.get();
    stream_.avail_in = static_cast<uInt>(deflated.size);
    stream_.next_out = room_.data.get();
    stream_.avail_out = static_cast<uInt>(count);
    LastBlock last{0, 0};
    while (last.end == 0) {
      if (inflate(&stream_, Z_BLOCK) != Z_OK || (stream_.data_type & kAtBlockEnd) == 0) throw notDeflated();
      std::size_t const bit = stream_.total_in * 8 - static_cast<std::size_t>(stream_.data_type & kUnusedBits);
      ((stream_.data_type & kInLastBlock) != 0 ? last.end : last.begin) = bit;
    }
    if (stream_.avail_out != 0 || std::memcmp(room_.data.get(), content, count) != 0) throw notDeflated();
    return last;
  }

 private:
  static constexpr int kUnusedBits = 7;
  static constexpr int kInLastBlock = 64;
  static constexpr int kAtBlockEnd = 128;

  static Exception notDeflated() { return Exception("A chunk could not be deflated"); }

  z_stream stream_{};
  Buffer room_;
};

/// What joining adds at most: the rest of a block header, and the length of an empty stored block.
constexpr std::size_t kJoinRoom = 5;
constexpr std::array<unsigned char, 4> kEmptyStoredBlock{0x00, 0x00, 0xFF, 0xFF};

/// Makes the last block of a stream an ordinary one, and ends on a byte with an empty stored block.
void openEnd(Buffer& deflated, BlockScan::LastBlock last) {
  unsigned char* const bytes = deflated.data.get();
  bytes[last.begin / 8] &= static_cast<unsigned char>(~(1u << last.begin % 8));
  std::size_t const usedBits = last.end % 8;
  if (usedBits != 0) bytes[last.end / 8] &= static_cast<unsigned char>((1u << usedBits) - 1);
  constexpr std::size_t kHeaderBits = 3;  // all zeros: not the last block, stored
  std::size_t const end = (last.end + kHeaderBits + 7) / 8;
  for (std::size_t i = (last.end + 7) / 8; i < end; ++i) bytes[i] = 0;
  std::copy(kEmptyStoredBlock.begin(), kEmptyStoredBlock.end(), bytes + end);
  deflated.size = end + kEmptyStoredBlock.size();
}

}  // namespace

bool doesShrink(void const* data, std::size_t count) {
  Buffer room(count * kWorthwhilePercent / 100);
  return libdeflate_deflate_compress(compressor(kProbeLevel), data, count, room.data.get(), room.size) != 0;
}

Buffer deflateWhole(Effort effort, void const* data, std::size_t count) {
  Buffer deflated(count == 0 ? 0 : count - 1);
  deflated.size =
      libdeflate_deflate_compress(compressor(levelOf(effort)), data, count, deflated.data.get(), deflated.size);
  return deflated;
}

Buffer deflateChunk(Effort effort, void const* data, std::size_t count, bool last) {
  libdeflate_compressor* const used = compressor(levelOf(effort));
  Buffer deflated(libdeflate_deflate_compress_bound(used, count) + kJoinRoom);
  deflated.size = libdeflate_deflate_compress(used, data, count, deflated.data.get(), deflated.size - kJoinRoom);
  if (last) return deflated;
  thread_local BlockScan scan;
  openEnd(deflated, scan.findLastBlock(deflated, data, count));
  return deflated;
}

}  // namespace opc::model::zip
