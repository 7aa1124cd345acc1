// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

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

}  // namespace opc::model::zip
