// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "container/RandomAccessBytes.hpp"
#include "opc/Streams.hpp"

namespace opc::model::zip {

struct DirectoryPlace;
struct ItemFacts;

/// An item's central directory entry. Names and the like are views into the archive's copy of the
/// directory.
struct Entry {
  std::string_view name;
  std::uint16_t versionMadeBy;
  std::uint16_t versionNeeded;
  std::uint16_t flags;
  std::uint16_t method;
  std::uint32_t dosTimeAndDate;
  std::uint32_t crc;
  std::uint64_t storedSize;
  std::uint64_t size;
  std::uint64_t localHeaderOffset;  // in the file
  std::uint16_t internalAttributes;
  std::uint32_t externalAttributes;
  std::string_view extra;  // as in the central directory, the zip64 field included
  std::string_view comment;
};

/// The read side of a ZIP container: the directory, checked, and the items. Immutable, so any number of
/// threads may read from it at once; streams keep it alive.
class Archive : public std::enable_shared_from_this<Archive> {
 public:
  /// Reads end record, zip64 records and central directory. Throws InvalidPackage when they do not agree
  /// with each other and with the file, when items overlap, and when there are more than `maximumEntries`
  /// ("Not a ZIP archive: ..." where there is no end record, otherwise "Damaged ZIP archive: ..."). Bytes
  /// in front of the archive are accepted, whether its offsets count them or not.
  static std::shared_ptr<Archive const> open(std::shared_ptr<RandomAccessBytes const> bytes,
                                             std::uint64_t maximumEntries = UINT64_MAX);

  std::size_t size() const { return offsets_.size(); }
  /// Decoded from the directory at each call; cheap.
  Entry entry(std::size_t index) const;

  /// The item's content, verified: length and CRC are checked before the end is reported, for items of up
  /// to kVerifiedWholeBytes before the first byte is handed out. Throws InvalidItem, naming the item, for
  /// unknown methods, encryption, a local header that disagrees, wrong length or CRC.
  std::unique_ptr<InputStream> openContent(std::size_t index) const;

  /// Where the next item begins, or the directory: no byte of this item may stand there or beyond.
  std::uint64_t limitOf(std::size_t index) const;

  /// Compares every local header and descriptor with the directory, as openContent does for one item. Throws
  /// InvalidPackage. Reads in large steps, so that it costs little more than opening when the items are small.
  void checkHeaders() const;

  /// Bytes in front of the first item; 0 for an ordinary archive.
  std::uint64_t prefixSize() const;

  RandomAccessBytes const& bytes() const { return *bytes_; }

  static constexpr std::uint64_t kVerifiedWholeBytes = 8u << 20;

 private:
  struct Located;
  struct Window;

  Archive() = default;
  void readDirectory(DirectoryPlace const& place);
  void checkPlaces();
  void checkHeaders(std::size_t index, Window& window) const;
  Located locate(std::size_t index, std::uint64_t wanted) const;
  static std::unique_ptr<InputStream> unpackLocated(Entry const& item, ItemFacts const& facts, Located const& located);

  std::shared_ptr<RandomAccessBytes const> bytes_;
  std::unique_ptr<unsigned char[]> directory_;  // the central directory as read
  std::vector<std::uint64_t> offsets_;          // of each entry within directory_
  std::vector<std::uint64_t> starts_;  // of the local headers, sorted; empty when the directory is in that order
  std::uint64_t directoryBegin_ = 0;
  std::uint64_t prefix_ = 0;  // to be added to the directory's offsets
};

}  // namespace opc::model::zip
