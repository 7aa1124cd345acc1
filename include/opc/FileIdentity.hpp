// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "opc/Export.hpp"

struct stat;

namespace opc {

/// Identifies one state of a file of the disk. A replaced file has another inode, one written in place another size,
/// time or change time. The disk sets the change time itself: nobody can put it back. Changes of mode, owner, name or
/// links change it too.
struct ZT_API FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint64_t size = 0;
  std::int64_t seconds = 0;  ///< of the last change of the content, since 1970
  std::int64_t nanoseconds = 0;
  std::int64_t changeSeconds = 0;  ///< of the last change of the inode
  std::int64_t changeNanoseconds = 0;

  static FileIdentity of(struct stat const& status);

  bool operator==(FileIdentity const&) const = default;
  /// Whether both are states of one file.
  bool isOfSameFile(FileIdentity const& other) const { return device == other.device && inode == other.inode; }
};

}  // namespace opc
