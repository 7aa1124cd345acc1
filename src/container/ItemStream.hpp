// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "opc/Streams.hpp"

namespace opc::model::zip {

/// Bytes whose number is known before they are.
struct Buffer {
  explicit Buffer(std::size_t count) : data(std::make_unique_for_overwrite<unsigned char[]>(count)), size(count) {}

  std::unique_ptr<unsigned char[]> data;
  std::size_t size;
};

/// What the directory (or a Content) says of an item.
struct ItemFacts {
  std::string name;  // for messages
  std::uint16_t method;
  std::uint64_t storedSize;
  std::uint64_t size;
  std::uint32_t crc;
};

std::uint32_t crcOf(std::uint32_t crc, void const* data, std::size_t count);

/// Throws InvalidItem for what cannot be read whatever its bytes are: unknown methods, and sizes that no
/// data can have. So nothing is allocated for a size that is a lie of more than a thousandfold.
void checkFacts(ItemFacts const& facts);

/// The content of an item of which all stored bytes are at hand; facts have been checked. Throws
/// InvalidItem unless length and CRC are right.
Buffer unpack(ItemFacts const& facts, unsigned char const* stored);

/// zlib's raw inflate.
class Inflater {
 public:
  Inflater();
  ~Inflater();
  Inflater(Inflater const&) = delete;
  Inflater& operator=(Inflater const&) = delete;

  void restart();
  bool needsInput() const { return stream_.avail_in == 0; }
  /// The bytes stay the caller's and must live until they are used up.
  void setInput(unsigned char* data, std::size_t count);
  /// Returns how many bytes it produced. False in `sound` for damaged data.
  std::size_t produce(unsigned char* to, std::size_t count, bool& sound);
  bool isEnd() const { return ended_; }

 private:
  z_stream stream_{};
  bool ended_ = false;
};

/// Reads an item's stored bytes, counted from the first of them; keeps alive what it reads from.
using StoredBytes = std::function<void(std::uint64_t offset, void* buffer, std::size_t count)>;

/// Whether an item is checked as a whole before its first byte is handed out.
bool isVerifiedWhole(ItemFacts const& facts);

/// Whether its stored bytes are few enough, too, to be read at once. (Nothing honest makes them many.)
bool isReadWhole(ItemFacts const& facts);

/// Over content that is in memory and verified.
std::unique_ptr<InputStream> makeStream(Buffer content);

/// The item's content, verified before its first or before its last byte; throws InvalidItem.
std::unique_ptr<InputStream> openItem(ItemFacts facts, StoredBytes source);

}  // namespace opc::model::zip
