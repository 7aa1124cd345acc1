// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "container/Directory.hpp"
#include "container/RandomAccessBytes.hpp"

namespace opc::model::zip {

/// A directory made from the local headers of a container whose own cannot be found.
struct FoundItems {
  std::vector<unsigned char> directory;
  std::uint64_t count = 0;
  std::uint64_t begin = 0;  // of the first item
  std::uint64_t end = 0;    // where the walk came to its end: a directory, something else, or the end of the file
  bool endsAtDirectory = false;
};

/// Goes from local header to local header, beginning with the first of them. Sizes that stand in a data descriptor
/// are found by its signature. Ends where no header follows, and after `maximumItems`.
FoundItems walkHeaders(RandomAccessBytes const& bytes, std::uint64_t maximumItems);

/// A local header that agrees with its directory entry.
struct LocalHeader {
  std::size_t size = 0;      // with name and extra field
  std::string_view extra{};  // a view into the bytes given
  bool hasDescriptor = false;
  bool isComplete = true;  // holds CRC and sizes whether there is a descriptor or not
};

/// Length of the local header that begins with these kLocalSize bytes, its name and extra field included.
/// Throws InvalidItem where they are no local header.
std::size_t localHeaderSize(Entry const& entry, unsigned char const* begin);

/// Compares a whole local header with the directory: name, method, encryption, and CRC and sizes unless
/// they stand in a data descriptor. `size` comes from localHeaderSize(). Throws InvalidItem.
LocalHeader checkLocalHeader(Entry const& entry, unsigned char const* begin, std::size_t size);

/// Compares the data descriptor in the bytes behind the item's data with the directory. Writers may leave out
/// its signature, and the descriptor itself where the local header is complete. Returns the length of the descriptor, 0
/// where it is left out. Throws InvalidItem.
std::size_t checkDescriptor(Entry const& entry, LocalHeader const& header, unsigned char const* behindData,
                            std::size_t available);

}  // namespace opc::model::zip
