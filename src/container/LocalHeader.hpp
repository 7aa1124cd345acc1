// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "container/Directory.hpp"
#include "container/RandomAccessBytes.hpp"

namespace opc::model::zip {

/// A directory made from local headers, for a container whose own directory cannot be found.
struct FoundItems {
  std::vector<unsigned char> directory;
  std::uint64_t count = 0;
  std::uint64_t begin = 0;  // of the first item
  std::uint64_t end = 0;    // of the walk: at a directory, other bytes, or the end of the file
  bool endsAtDirectory = false;
};

/// How a walk goes on where no header follows an item.
enum class HeaderWalk {
  Chained,  ///< it ends there
  Thorough  ///< it searches the rest of the file, and what follows the header of a damaged item, for further headers
};

/// Walks from the first local header to the next. Finds sizes in a data descriptor by its signature. Ends where no
/// header follows, and after `maximumItems`.
FoundItems walkHeaders(RandomAccessBytes const& bytes, std::uint64_t maximumItems,
                       HeaderWalk walk = HeaderWalk::Chained);

/// A local header that agrees with its directory entry.
struct LocalHeader {
  std::size_t size = 0;      // with name and extra field
  std::string_view extra{};  // a view into the bytes given
  bool hasDescriptor = false;
  bool isComplete = true;  // it holds CRC and sizes itself, with or without a descriptor
};

/// Length of the local header that begins with these kLocalSize bytes, including its name and extra field. Throws
/// InvalidItem where they are no local header.
std::size_t localHeaderSize(Entry const& entry, unsigned char const* begin);

/// Compares a whole local header with the directory: name, method, encryption, and, unless a data descriptor has them,
/// CRC and sizes. `size` comes from localHeaderSize(). Throws InvalidItem.
LocalHeader checkLocalHeader(Entry const& entry, unsigned char const* begin, std::size_t size);

/// Compares the data descriptor in the bytes behind the item's data with the directory. A descriptor may lack its
/// signature, and may be missing where the local header is complete. Returns its length, 0 where it is missing. Throws
/// InvalidItem.
std::size_t checkDescriptor(Entry const& entry, LocalHeader const& header, unsigned char const* behindData,
                            std::size_t available);

}  // namespace opc::model::zip
