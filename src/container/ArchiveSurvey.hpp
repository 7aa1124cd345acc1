// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "container/Archive.hpp"
#include "container/EndRecord.hpp"
#include "container/LocalHeader.hpp"
#include "container/RandomAccessBytes.hpp"
#include "container/ReadAhead.hpp"
#include "opc/Streams.hpp"

namespace opc::model::zip {

enum class ArchiveFault {
  NoEndRecord,
  DamagedEndRecord,
  TrailingData,
  DamagedDirectory,
  DamagedEntry,
  PrefixBytes,
  Overlap,
  Gap,
  BadLocalHeader,
  BadDescriptor,
  UnreadableItem,
  DamagedContent,
  GrowthHint
};

/// Reads a container whatever state it is in and tells every fault, where Archive refuses at the first one; also
/// what Archive tolerates: bytes that belong to no item, and growth hints (ECMA-376-2, Annex C). Where the end
/// record or the directory does not lead to the items, they are found by their local headers, as far as these
/// follow one another. What the disk refuses is thrown (CouldNotOpenPackage). One thread at a time.
class ArchiveSurvey {
 public:
  /// `item` is the raw name, empty for the container as a whole.
  using FaultSink = std::function<void(ArchiveFault fault, std::string_view item, std::string const& message)>;
  /// An item that could be read to its end, or not.
  using ItemSink = std::function<void(std::size_t index, bool isSound)>;
  /// The next bytes of an item's content, which are there during the call.
  using ContentSink = std::function<void(std::size_t index, std::span<unsigned char const> bytes)>;

  /// Reads the directory; beyond `maximumEntries` it is cut off, which is a fault.
  ArchiveSurvey(std::shared_ptr<RandomAccessBytes const> bytes, std::uint64_t maximumEntries, FaultSink tell);

  std::size_t size() const { return offsets_.size(); }
  /// Views into the directory, which lives as long as the survey.
  Entry entry(std::size_t index) const;

  /// Reads all items in the order of the file, in one pass and with little memory, and what lies between them. What
  /// `take` got of an item counts only when `done` says that it is sound.
  void readItems(ItemSink const& done, ContentSink const& take = {});

  /// The content of one item. Throws InvalidItem.
  std::unique_ptr<InputStream> openContent(std::size_t index) const;

 private:
  struct Place;

  void findItems(std::uint64_t maximumEntries);
  bool findByEndRecord();
  bool findBehindLaterBytes(std::string const& fault);
  void findByHeaders(std::uint64_t maximumEntries);
  void readDirectory(RandomAccessBytes const& bytes, DirectoryPlace place, std::uint64_t maximumEntries);
  void takeDirectory(RandomAccessBytes const& bytes, DirectoryPlace const& place);
  void checkEntries();
  void readItem(std::size_t index, std::uint64_t limit, ItemSink const& done, ContentSink const& take);
  void checkGap(Entry const& item, LocalHeader const& header, std::uint64_t end, std::uint64_t limit);
  std::uint64_t endOfDescriptor(Entry const& item, LocalHeader const& header, std::uint64_t begin, std::uint64_t limit);
  void tellHints(Entry const& item, std::string_view localExtra);
  bool readContent(std::size_t index, std::uint64_t begin, ContentSink const& take);
  unsigned char const* window(std::uint64_t offset, std::uint64_t count);
  void tell(ArchiveFault fault, std::string_view item, std::string const& message) const {
    tell_(fault, item, message);
  }

  std::shared_ptr<RandomAccessBytes const> bytes_;
  FaultSink tell_;
  DirectoryPlace place_{};
  std::unique_ptr<unsigned char[]> directory_;
  std::vector<std::uint64_t> offsets_;  // of each entry within directory_
  std::vector<bool> isUsable_;          // whether the entry leads to bytes of the file
  bool isComplete_ = false;             // whether the directory could be read to its end
  ReadAhead ahead_;
};

}  // namespace opc::model::zip
