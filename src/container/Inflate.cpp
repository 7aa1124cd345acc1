// SPDX-License-Identifier: Apache-2.0
#include "container/Inflate.hpp"

#include <libdeflate.h>

#include <algorithm>
#include <limits>
#include <new>

#include "container/ZipErrors.hpp"
#include "container/ZipFormat.hpp"

namespace opc::model::zip {
namespace {

// A deflated match of 258 bytes takes two bits at least.
constexpr std::uint64_t kMaximumExpansion = 1032;

struct FreeDecompressor {
  void operator()(libdeflate_decompressor* d) const { libdeflate_free_decompressor(d); }
};

libdeflate_decompressor* decompressor() {
  thread_local std::unique_ptr<libdeflate_decompressor, FreeDecompressor> const kept(libdeflate_alloc_decompressor());
  if (!kept) throw std::bad_alloc();
  return kept.get();
}

void inflateWhole(ItemFacts const& facts, unsigned char const* stored, Buffer& content) {
  auto const storedSize = static_cast<std::size_t>(facts.storedSize);
  std::size_t used = 0, produced = 0;
  auto const result = libdeflate_deflate_decompress_ex(decompressor(), stored, storedSize, content.data.get(),
                                                       content.size, &used, &produced);
  if (result == LIBDEFLATE_INSUFFICIENT_SPACE) throw invalidItem(facts.name, fault::kWrongLength);
  if (result != LIBDEFLATE_SUCCESS) throw invalidItem(facts.name, fault::kDamagedData);
  if (produced != content.size) throw invalidItem(facts.name, fault::kWrongLength);
  if (used != storedSize) throw invalidItem(facts.name, fault::kLeftOver);
}

}  // namespace

std::uint32_t crcOf(std::uint32_t crc, void const* data, std::size_t count) {
  // A null pointer asks libdeflate for the initial value.
  return count == 0 ? crc : libdeflate_crc32(crc, data, count);
}

void checkFacts(ItemFacts const& facts) {
  if (facts.method != kStored && facts.method != kDeflated) throw unknownMethod(facts.name, facts.method);
  bool const possible =
      facts.method == kStored ? facts.size == facts.storedSize : facts.size / kMaximumExpansion <= facts.storedSize;
  if (!possible) throw invalidItem(facts.name, fault::kWrongLength);
}

Buffer unpack(ItemFacts const& facts, unsigned char const* stored) {
  Buffer content(static_cast<std::size_t>(facts.size));
  if (facts.method == kStored)
    std::copy_n(stored, content.size, content.data.get());
  else
    inflateWhole(facts, stored, content);
  if (crcOf(0, content.data.get(), content.size) != facts.crc) throw invalidItem(facts.name, fault::kWrongCrc);
  return content;
}

Inflater::Inflater() {
  if (inflateInit2(&stream_, -MAX_WBITS) != Z_OK) throw std::bad_alloc();
}

Inflater::~Inflater() { inflateEnd(&stream_); }

void Inflater::restart() {
  inflateReset(&stream_);
  stream_.avail_in = 0;
  ended_ = false;
}

void Inflater::setInput(unsigned char* data, std::size_t count) {
  stream_.next_in = data;
  stream_.avail_in = static_cast<uInt>(count);
}

std::size_t Inflater::produce(unsigned char* to, std::size_t count, bool& sound) {
  auto const room = static_cast<uInt>(std::min<std::size_t>(count, std::numeric_limits<uInt>::max()));
  stream_.next_out = to;
  stream_.avail_out = room;
  int const result = inflate(&stream_, Z_NO_FLUSH);
  if (result == Z_MEM_ERROR) throw std::bad_alloc();
  ended_ = result == Z_STREAM_END;
  sound = ended_ || result == Z_OK || result == Z_BUF_ERROR;  // the latter: it wants more input
  return room - stream_.avail_out;
}

}  // namespace opc::model::zip
