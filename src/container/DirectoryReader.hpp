// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "container/Archive.hpp"
#include "container/EndRecord.hpp"
#include "container/Faults.hpp"
#include "container/LocalHeader.hpp"
#include "container/RandomAccessBytes.hpp"

namespace opc::model::zip {

/// Fills an Archive with the items of a container: by the end record and the directory, and where these are damaged by
/// the local headers. Reports every fault. For one Reader, during its construction.
class DirectoryReader {
 public:
  DirectoryReader(RandomAccessBytes const& bytes, Archive& archive, Faults& faults, HeaderWalk walk)
      : bytes_(bytes), archive_(archive), faults_(faults), walk_(walk) {}

  /// More than `maximumItems` are a fault; the rest is skipped.
  void read(std::uint64_t maximumItems);

  /// Whether the directory, or one made of local headers, was read to its end.
  bool isComplete() const { return isComplete_; }
  /// Whether the container's own directory was found and read to its end.
  bool isWhole() const { return isWhole_; }

 private:
  std::optional<DirectoryPlace> findPlace();
  void readDirectory(DirectoryPlace const& place, std::uint64_t maximumItems);
  void takeEntries(RandomAccessBytes const& bytes, DirectoryPlace const& place, std::uint64_t most,
                   std::uint64_t checked);
  void compareCount(std::uint64_t count, std::uint64_t maximumItems, bool isCountRefused);
  void findByHeaders(std::uint64_t maximumItems);
  std::uint64_t prefixBefore(std::uint64_t firstItem) const;
  void recheckEntries();
  void checkEntryAt(std::size_t index, unsigned char const* p, std::uint64_t room);
  void refuse(char const* code, std::string_view item, std::string const& message) const;

  RandomAccessBytes const& bytes_;
  Archive& archive_;
  Faults& faults_;
  HeaderWalk walk_;
  std::set<std::string> entryFaults_;  // messages, so that none is repeated for a recovered directory
  bool isComplete_ = false;
  bool isWhole_ = false;
};

}  // namespace opc::model::zip
