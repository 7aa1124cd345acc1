// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "opc/FileSystemOps.hpp"

namespace ztpkg {

/// The bytes of a file. They begin as whatever stood in the memory, since to fill them with zeros first takes a
/// noticeable part of the time that reading takes.
class FileContent {
 public:
  explicit FileContent(std::size_t size) : bytes_(std::make_unique_for_overwrite<char[]>(size)), size_(size) {}

  char* data() { return bytes_.get(); }
  std::size_t size() const { return size_; }
  std::string_view text() const { return {bytes_.get(), size_}; }

 private:
  std::unique_ptr<char[]> bytes_;
  std::size_t size_;
};

/// Reads small files on a thread of its own before their turn comes: to find, open and read one takes about as long
/// as to store it. What it holds has a bound, and what it cannot read is left to the caller, errors and all.
class FilesAhead {
 public:
  /// Content, permissions and time that belong together: the file did not change while it was read.
  struct File {
    FileContent content;
    opc::Perms::Perms_tag permissions;
    boost::posix_time::ptime time;
  };

  /// Paths are those of LocalFileSystemOps.
  explicit FilesAhead(std::vector<std::u16string> paths);
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
