// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/stat.h>

#include <cstdint>

namespace opc::model::zip {

/// What tells one state of a file from another: replaced, it is another inode; written in place, it has another
/// size or time. A change of its mode, owner or links is none of its content.
struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;
  std::uint64_t size = 0;
  std::int64_t seconds = 0;
  std::int64_t nanoseconds = 0;

  static FileIdentity of(struct stat const& status);
  /// Of an open file. Throws CouldNotOpenPackage, naming `path`.
  static FileIdentity of(int descriptor, char const* path);

  bool operator==(FileIdentity const&) const = default;
};

}  // namespace opc::model::zip
