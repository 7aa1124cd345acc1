// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "container/Archive.hpp"
#include "container/Faults.hpp"
#include "container/LocalHeader.hpp"
#include "container/RandomAccessBytes.hpp"
#include "io/TaskQueue.hpp"

namespace opc::model::zip {

/// Reads a container: end record, central directory, places of the items, local headers and descriptors. Reports every
/// fault. With a sink that throws it is the strict reader for opening a package. With a sink that returns, it recovers
/// as much as it can: an end record with bytes behind it, the first entries of a damaged directory, and items found by
/// their local headers. Throws exceptions of reading the bytes. One thread at a time uses it.
class Reader {
 public:
  /// Receives an item and whether its header and its content are sound.
  using ItemSink = std::function<void(std::size_t index, bool isSound)>;
  /// Receives the next bytes of an item's content, which are valid during the call.
  using ContentSink = std::function<void(std::size_t index, std::span<unsigned char const> bytes)>;

  /// Reads the end record and the directory. More than `maximumItems` are a fault; the reader skips the rest. `walk`
  /// says how thoroughly it looks for local headers where the directory is damaged.
  Reader(std::shared_ptr<RandomAccessBytes const> bytes, std::uint64_t maximumItems, Faults& faults,
         HeaderWalk walk = HeaderWalk::Chained);

  /// The items that were found.
  std::shared_ptr<Archive const> archive() const { return archive_; }
  /// Whether the directory was found and read to its end. Otherwise there may have been items that nothing shows.
  bool hasWholeDirectory() const { return hasWholeDirectory_; }

  /// Compares all local headers and descriptors with the directory, in the order of the directory. Reads in large
  /// steps, so that small items cost little more than the directory.
  void checkHeaders();

  /// The same in the order of the file; also reads all contents, in one pass and with little memory. Content that
  /// `take` receives is valid only if `done` reports the item as sound. With `threads`, contents are inflated on that
  /// many; faults and calls come in the same order, on the caller's thread.
  void readItems(ItemSink const& done = {}, ContentSink const& take = {}, std::size_t threads = 0);

  /// False when readItems() has found a fault in the item's header or content.
  bool isSound(std::size_t index) const { return isUnsound_.empty() || !isUnsound_[index]; }

 private:
  struct Start;

  std::vector<Start> usableStarts() const;
  void checkPlaces();
  std::uint64_t limitAfter(std::vector<Start> const& starts, std::size_t index) const;

  bool checkHeader(Entry const& item, std::uint64_t limit, LocalHeader& header);
  void checkBehind(Entry const& item, LocalHeader const& header, std::uint64_t limit);
  std::optional<std::uint64_t> endOfDescriptor(Entry const& item, LocalHeader const& header, std::uint64_t begin,
                                               std::uint64_t limit);
  struct Reading;
  class ContentTask;
  void finish(std::size_t index, bool isSound, ItemSink const& done);
  void readItem(std::size_t index, std::uint64_t limit, Reading& reading);
  bool checkExtra(Entry const& item, LocalHeader const& header);
  void readContent(std::size_t index, std::uint64_t begin, bool isSound, Reading& reading);
  bool readLongContent(Entry const& item, std::size_t index, std::uint64_t begin, Reading& reading);
  void refuse(char const* code, std::string_view item, std::string const& message) const;
  void tolerate(char const* code, std::string_view item, std::string const& message) const;
  void settle() const;
  unsigned char const* window(std::uint64_t offset, std::uint64_t count);

  std::shared_ptr<RandomAccessBytes const> bytes_;
  Faults& faults_;
  std::shared_ptr<Archive> archive_;
  bool isComplete_ = false;  // whether the directory, or one made of local headers, was read to its end
  bool hasWholeDirectory_ = false;
  std::vector<bool> isUnsound_;  // by item; empty before all items are read
  ReadAhead ahead_;
  TaskQueue* queue_ = nullptr;  // of contents that are read before their faults are reported
};

}  // namespace opc::model::zip
