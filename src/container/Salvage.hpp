// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "container/Archive.hpp"
#include "container/LocalHeader.hpp"
#include "container/RandomAccessBytes.hpp"
#include "opc/Streams.hpp"

namespace opc::model::zip {

/// A second look at items whose header or content a Reader has found damaged. An item is known twice, from the
/// directory and from its local header: where both give it the same name, either may tell where its data are and what
/// CRC they have. One thread at a time.
class Salvage {
 public:
  Salvage(std::shared_ptr<RandomAccessBytes const> bytes, std::shared_ptr<Archive const> archive,
          std::uint64_t maximumItems);

  /// The content of an item, if any data in the file have its name, length and CRC; otherwise null.
  std::unique_ptr<InputStream> open(std::size_t index);

  /// What can be read of a content before its first damage, and whether it only breaks off where the file ends. The
  /// bytes are not verified.
  struct Beginning {
    std::vector<unsigned char> bytes;
    bool isCutOff;
  };
  Beginning beginningOf(std::size_t index, std::size_t maximumBytes) const;

 private:
  std::unique_ptr<InputStream> openAt(Entry const& item, std::uint64_t begin) const;
  std::unique_ptr<InputStream> openByDirectory(std::size_t index, Entry const& item) const;
  std::unique_ptr<InputStream> openByHeader(Entry const& item);
  void walk();
  std::uint64_t dataOf(std::uint64_t header) const;
  bool hasNameAt(Entry const& item, std::uint64_t header) const;

  std::shared_ptr<RandomAccessBytes const> bytes_;
  std::shared_ptr<Archive const> archive_;
  std::uint64_t maximumItems_;
  std::optional<FoundItems> found_;                                  // by a walk that takes place when it is needed
  std::unordered_multimap<std::string_view, std::size_t> places_{};  // by name, in the directory of `found_`
};

}  // namespace opc::model::zip
