// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "opc/FileSystemOps.hpp"

namespace ztpkg {

/// Reads small files on a thread of its own before their turn comes: to find, open and read one takes about as long
/// as to store it. What it holds has a bound, and what it cannot read is left to the caller, errors and all.
class FilesAhead {
 public:
  /// Content, permissions and time that belong together: the file did not change while it was read.
  struct File {
    std::string content;
    opc::Perms::Perms_tag permissions;
    boost::posix_time::ptime time;
  };

  /// Borrows the operations and uses them at the same time as the caller. Paths are native ones in UTF-16.
  FilesAhead(opc::FileSystemOps& disk, std::vector<std::u16string> paths);
  ~FilesAhead();
  FilesAhead(FilesAhead const&) = delete;
  FilesAhead& operator=(FilesAhead const&) = delete;

  /// The next of the paths, when the caller is done with the one before. None where that is no file, or a large one,
  /// or could not be read as it was.
  std::optional<File> next();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace ztpkg
