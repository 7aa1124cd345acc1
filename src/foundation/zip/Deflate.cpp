// SPDX-License-Identifier: Apache-2.0
#include "foundation/zip/Deflate.hpp"

#include <libdeflate.h>

#include <array>
#include <new>

namespace opc::model::zip {
namespace {

constexpr int kProbeLevel = 1;
// Saving less than this share of the bytes is not worth inflating them at each read.
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

/// Making one costs as much as deflating a small file, so each thread keeps those that it used.
libdeflate_compressor* compressor(int level) {
  thread_local std::array<std::unique_ptr<libdeflate_compressor, FreeCompressor>, 10> kept;
  auto& place = kept.at(static_cast<std::size_t>(level));
  if (!place) place.reset(libdeflate_alloc_compressor(level));
  if (!place) throw std::bad_alloc();
  return place.get();
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

ChunkDeflater::ChunkDeflater(Effort effort) {
  if (deflateInit2(&stream_, levelOf(effort), Z_DEFLATED, -MAX_WBITS, MAX_MEM_LEVEL, Z_DEFAULT_STRATEGY) != Z_OK)
    throw std::bad_alloc();
  // The bound of zlib is for one block sequence that is finished; a sync flush adds an empty block.
  constexpr std::size_t kFlushRoom = 64;
  output_ = Buffer(deflateBound(&stream_, kChunk) + kFlushRoom);
}

ChunkDeflater::~ChunkDeflater() { deflateEnd(&stream_); }

ChunkDeflater::Result ChunkDeflater::deflateChunk(void const* before, std::size_t beforeCount, void const* data,
                                                  std::size_t count, bool last) {
  deflateReset(&stream_);
  if (beforeCount > 0)
    deflateSetDictionary(&stream_, static_cast<Bytef const*>(before), static_cast<uInt>(beforeCount));
  stream_.next_in = static_cast<Bytef*>(const_cast<void*>(data));  // zlib does not write to it
  stream_.avail_in = static_cast<uInt>(count);
  stream_.next_out = output_.data.get();
  stream_.avail_out = static_cast<uInt>(output_.size);
  int const result = deflate(&stream_, last ? Z_FINISH : Z_SYNC_FLUSH);
  if (result != (last ? Z_STREAM_END : Z_OK) || stream_.avail_out == 0)
    throw Exception("A chunk could not be deflated");
  return {output_.data.get(), output_.size - stream_.avail_out};
}

}  // namespace opc::model::zip
