// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <zlib.h>

#include <cstddef>

#include "foundation/zip/Inflate.hpp"
#include "foundation/zip/Spool.hpp"

namespace opc::model::zip {

/// How much of the content the probe looks at.
inline constexpr std::size_t kProbeSize = 64u << 10;

/// Whether these bytes are worth deflating. Media, archives and ciphertext are not, and are found out here
/// at the price of a quick look at their beginning.
bool doesShrink(void const* data, std::size_t count);

/// Deflates everything at once. The result is empty when it would not be smaller than the content.
Buffer deflateWhole(Effort effort, void const* data, std::size_t count);

/// Deflates content in chunks that are independent but for the 32 KiB in front of each, so that memory is
/// bounded and the bytes depend on nothing but the content.
class ChunkDeflater {
 public:
  static constexpr std::size_t kChunk = 1u << 20;
  static constexpr std::size_t kWindow = 32u << 10;

  explicit ChunkDeflater(Effort effort);
  ~ChunkDeflater();
  ChunkDeflater(ChunkDeflater const&) = delete;
  ChunkDeflater& operator=(ChunkDeflater const&) = delete;

  /// `before` are the up to kWindow bytes that precede the chunk. The result is valid until the next call.
  struct Result {
    unsigned char const* data;
    std::size_t size;
  };
  Result deflateChunk(void const* before, std::size_t beforeCount, void const* data, std::size_t count, bool last);

 private:
  z_stream stream_{};
  Buffer output_{0};
};

}  // namespace opc::model::zip
