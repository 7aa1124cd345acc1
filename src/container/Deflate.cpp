// SPDX-License-Identifier: Apache-2.0
#include "container/Deflate.hpp"

#include <libdeflate.h>
#include <zlib.h>

#include <array>
#include <memory>
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

/// The bound of zlib is for one block sequence that is finished; a sync flush adds an empty block.
constexpr std::size_t kFlushRoom = 64;

class ChunkStream {
 public:
  explicit ChunkStream(int level) {
    if (deflateInit2(&stream, level, Z_DEFLATED, -MAX_WBITS, MAX_MEM_LEVEL, Z_DEFAULT_STRATEGY) != Z_OK)
      throw std::bad_alloc();
  }
  ~ChunkStream() { deflateEnd(&stream); }
  ChunkStream(ChunkStream const&) = delete;
  ChunkStream& operator=(ChunkStream const&) = delete;

  z_stream stream{};
};

z_stream& chunkStream(int level) {
  thread_local std::array<std::unique_ptr<ChunkStream>, 10> kept;
  auto& place = kept.at(static_cast<std::size_t>(level));
  if (!place) place = std::make_unique<ChunkStream>(level);
  return place->stream;
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

Buffer deflateChunk(Effort effort, void const* before, std::size_t beforeCount, void const* data, std::size_t count,
                    bool last) {
  z_stream& stream = chunkStream(levelOf(effort));
  Buffer deflated(deflateBound(&stream, static_cast<uLong>(count)) + kFlushRoom);
  deflateReset(&stream);
  if (beforeCount > 0) deflateSetDictionary(&stream, static_cast<Bytef const*>(before), static_cast<uInt>(beforeCount));
  stream.next_in = static_cast<Bytef*>(const_cast<void*>(data));  // zlib does not write to it
  stream.avail_in = static_cast<uInt>(count);
  stream.next_out = deflated.data.get();
  stream.avail_out = static_cast<uInt>(deflated.size);
  int const result = deflate(&stream, last ? Z_FINISH : Z_SYNC_FLUSH);
  if (result != (last ? Z_STREAM_END : Z_OK) || stream.avail_out == 0) throw Exception("A chunk could not be deflated");
  deflated.size -= stream.avail_out;
  return deflated;
}

}  // namespace opc::model::zip
