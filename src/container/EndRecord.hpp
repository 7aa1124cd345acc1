// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "container/RandomAccessBytes.hpp"

namespace opc::model::zip {

/// The place of the central directory. It lies within the file and ends where the end records begin.
struct DirectoryPlace {
  std::uint64_t begin;
  std::uint64_t size;
  std::uint64_t count;
  /// Bytes in front of the archive that its offsets do not count.
  std::uint64_t prefix;
  std::string comment{};
};

/// Reads the end record, which must end where the file ends, and any zip64 records. Throws InvalidPackage where there
/// is no end record, where a second one lies within the comment, where the archive is split, and where the records
/// disagree with each other or with the file.
DirectoryPlace findDirectory(RandomAccessBytes const& bytes);

/// A directory whose end record does not end the file.
struct EarlierDirectory {
  DirectoryPlace place;
  std::uint64_t bytesBehind;  // follow the end record and its comment
};

/// The directory of the last end record near the end of the file that leads to one. For files for which findDirectory()
/// throws.
std::optional<EarlierDirectory> findEarlierDirectory(RandomAccessBytes const& bytes);

/// Whether the signature of an end record stands near the end of the file.
bool hasEndSignature(RandomAccessBytes const& bytes);

}  // namespace opc::model::zip
