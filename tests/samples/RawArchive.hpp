// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// ZIP archives of which every record can be made to say anything.
namespace zt_test {

/// One of the two headers of an item, to be written whatever it says.
struct RawHeader {
  std::string name;
  std::uint16_t flags = 0;
  std::uint16_t method = 0;
  std::uint32_t crc = 0;
  std::uint32_t stored = 0;
  std::uint32_t size = 0;
  std::string extra{};
  std::uint32_t offset = 0;  // central only, added to where the item is
  std::uint16_t disk = 0;    // central only
};

struct RawItem {
  RawHeader local;
  RawHeader central;
  std::string data;
  std::string behind{};  // a descriptor or a gap
  std::string comment{};
};

/// Both headers say the same of it.
RawItem storedItem(std::string const& name, std::string const& content);
/// Of a content that shrinks.
RawItem deflatedItem(std::string const& name, std::string const& content);
/// Its local header says nothing; `descriptor` stands behind the data.
RawItem streamedItem(RawItem item, std::string const& descriptor);
/// The descriptor of an item, with sizes of so many bytes.
std::string descriptorOf(RawItem const& item, std::size_t width, bool withSignature);

struct RawArchive {
  std::vector<RawItem> items;
  std::string prefix{};
  bool offsetsCountPrefix = true;
  std::string beforeEnd{};  // zip64 records
  std::string comment{};

  std::string build() const;
};

std::string le(std::uint64_t value, std::size_t size);
/// Overwrites a number, counted from the end of the bytes. The end record begins at 22.
std::string patched(std::string bytes, std::size_t fromEnd, std::uint64_t value, std::size_t size);

}  // namespace zt_test
