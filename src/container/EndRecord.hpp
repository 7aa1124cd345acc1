// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "container/RandomAccessBytes.hpp"

namespace opc::model::zip {

/// Where the central directory stands, as the end records say; within the file and ending right before
/// them.
struct DirectoryPlace {
  std::uint64_t begin;
  std::uint64_t size;
  std::uint64_t count;
  /// Bytes that stand before the archive and are not counted by its offsets.
  std::uint64_t prefix;
};

/// Reads the end record, which must end where the file ends, and the zip64 records where there are any.
/// Throws InvalidPackage where there is none, where a second one lies within the comment, where the
/// archive is split, and where they disagree with each other or the file.
DirectoryPlace findDirectory(RandomAccessBytes const& bytes);

}  // namespace opc::model::zip
