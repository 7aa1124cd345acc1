// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "container/Directory.hpp"
#include "container/RandomAccessBytes.hpp"
#include "opc/Streams.hpp"

namespace opc::model::zip {

/// The items of a ZIP container that a Reader has read. Immutable, so any number of threads may read it at once.
/// Streams keep it alive.
class Archive : public std::enable_shared_from_this<Archive> {
 public:
  /// Reads end record, zip64 records and central directory. Throws InvalidPackage when they disagree with each other or
  /// with the file, when items overlap, and when there are more than `maximumEntries`. The message begins with "Not a
  /// ZIP archive: " where there is no end record, otherwise with "Damaged ZIP archive: ". Accepts bytes in front of the
  /// archive, whether its offsets count them or not.
  static std::shared_ptr<Archive const> open(std::shared_ptr<RandomAccessBytes const> bytes,
                                             std::uint64_t maximumEntries = UINT64_MAX);

  std::size_t size() const { return offsets_.size(); }
  /// Decoded from the directory at each call; cheap. The texts are views into the archive's copy of the directory.
  Entry entry(std::size_t index) const;

  /// The item's content, from that offset on as openItem() reads it. Its length and CRC are verified before the stream
  /// reports the end, for items of up to kVerifiedWholeBytes before it delivers the first byte. Throws InvalidItem,
  /// naming the item, for an unknown method, encryption, a local header that disagrees, and a wrong length or CRC. In
  /// an archive from a Reader that lists all faults, the local header only serves to find the data.
  std::unique_ptr<InputStream> openContent(std::size_t index, std::uint64_t offset = 0, std::size_t threads = 0) const;

  /// The begin of the next item or of the directory: this item must end before it.
  std::uint64_t limitOf(std::size_t index) const;

  /// Whether the items follow one another without bytes in between, in the order of the directory and without data
  /// descriptors. Known only where a Reader has checked the local headers.
  bool isSeamless() const { return isSeamless_; }

  /// Bytes in front of the first item; 0 for an ordinary archive.
  std::uint64_t prefixSize() const;
  /// The comment of the whole archive.
  std::string const& comment() const { return comment_; }

  RandomAccessBytes const& bytes() const { return *bytes_; }

  /// Whether the bytes still hold the directory that was read; false for one that a Reader has made of local headers.
  /// Throws exceptions of reading the bytes.
  bool holdsItsDirectory() const;

  static constexpr std::uint64_t kVerifiedWholeBytes = 8u << 20;

 private:
  friend class Reader;  // with DirectoryReader fills the fields below, which do not change afterwards
  friend class DirectoryReader;
  struct Located;

  Archive() = default;
  Located locate(std::size_t index, std::uint64_t wanted) const;
  std::uint64_t roomOf(Entry const& item, std::size_t index) const;
  bool isUsable(std::size_t index) const { return index >= isUnusable_.size() || !isUnusable_[index]; }
  static std::unique_ptr<InputStream> unpackLocated(Entry const& item, ItemFacts const& facts, Located const& located);

  std::shared_ptr<RandomAccessBytes const> bytes_;
  std::unique_ptr<unsigned char[]> directory_;  // as read, perhaps without the end of its signature
  std::size_t directorySize_ = 0;
  std::vector<std::uint64_t> offsets_;  // of each entry within directory_
  std::vector<std::uint64_t> starts_;   // of local headers, sorted; empty when the directory has that order
  std::uint64_t directoryBegin_ = 0;
  std::string comment_;
  std::uint64_t prefix_ = 0;  // to be added to the directory's offsets
  bool isSeamless_ = false;
  bool isLenient_ = false;        // openContent skips checks whose faults the reader has listed
  std::vector<bool> isUnusable_;  // the entry leads out of the file; empty where no entry does
};

}  // namespace opc::model::zip
