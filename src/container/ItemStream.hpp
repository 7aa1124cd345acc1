// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "opc/Streams.hpp"

namespace opc::model::zip {

class ChunkIndex;

/// A fixed number of bytes, uninitialized at first.
struct Buffer {
  explicit Buffer(std::size_t count) : data(std::make_unique_for_overwrite<unsigned char[]>(count)), size(count) {}

  std::unique_ptr<unsigned char[]> data;
  std::size_t size;
};

/// An item as its directory entry or its Content describes it.
struct ItemFacts {
  std::string name;  // for messages
  std::uint16_t method;
  std::uint64_t storedSize;
  std::uint64_t size;
  std::uint32_t crc;
};

std::uint32_t crcOf(std::uint32_t crc, void const* data, std::size_t count);

/// Throws InvalidItem for an unknown method and for sizes that no data can have. So no memory is allocated for a size
/// that is wrong by more than a factor of a thousand.
void checkFacts(ItemFacts const& facts);

/// The content of an item from its stored bytes, after checkFacts(). Throws InvalidItem unless length and CRC are
/// right.
Buffer unpack(ItemFacts const& facts, unsigned char const* stored);

/// Reads an item's stored bytes; offset 0 is the first of them. Keeps its source alive.
using StoredBytes = std::function<void(std::uint64_t offset, void* buffer, std::size_t count)>;

/// Whether an item is verified before its stream delivers the first byte.
bool isVerifiedWhole(ItemFacts const& facts);

/// Whether the stored bytes of such an item are also few enough to be read at once, as those of honest items are.
bool isReadWhole(ItemFacts const& facts);

/// A stream over verified content in memory.
std::unique_ptr<InputStream> makeStream(Buffer content);

/// The item's content, verified before the stream delivers its first or its last byte. Throws InvalidItem.
/// Where an index of chunks is given, a long item is read by its chunks, from `offset` in its content on; without one,
/// what precedes the offset is read and skipped. With `threads`, which call `source` at once, several chunks are
/// inflated at a time.
std::unique_ptr<InputStream> openItem(ItemFacts facts, StoredBytes source, ChunkIndex const* chunks = nullptr,
                                      std::uint64_t offset = 0, std::size_t threads = 0);

/// The stream without its first `offset` bytes, which are read and skipped; at its end where it has fewer. reset() goes
/// back to there.
std::unique_ptr<InputStream> startingAt(std::uint64_t offset, std::unique_ptr<InputStream> stream);

/// The content of a deflate stream. Borrows the stream, which holds nothing else. Reads throw InvalidItem, which names
/// `name`, for damaged data, a missing end, and bytes behind the end; where `size` is given, also for a content of
/// another size, of which they deliver no byte behind that size.
std::unique_ptr<InputStream> openDeflated(InputStream& deflated, std::string name,
                                          std::optional<std::uint64_t> size = {});

/// Inflates a whole deflate stream into a content of known size. False for damaged data.
bool inflateExactly(std::span<unsigned char const> stored, std::span<unsigned char> content);

}  // namespace opc::model::zip
