// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "container/ChunkIndex.hpp"
#include "container/ItemStream.hpp"
#include "opc/Streams.hpp"

namespace opc::model::zip {

/// The content of an item by its chunks, from `offset` on. Each chunk is verified before its first byte is handed out,
/// and the CRC of the whole, when it is read from its beginning, before the last chunk is. Read from its beginning it
/// is what a reader without the index finds: each chunk has to hold whole blocks that refer to no byte before the
/// chunk, so the one behind it begins where a block does. Throws InvalidItem.
///
/// With `threads`, the stream starts that many at its first read. They load the next chunks meanwhile, up to 32 MiB or
/// two chunks, and call `source`.
std::unique_ptr<InputStream> openChunks(ItemFacts facts, ChunkIndex index, StoredBytes source, std::uint64_t offset = 0,
                                        std::size_t threads = 0);

}  // namespace opc::model::zip
