// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <istream>
#include <memory>
#include <span>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

#include "disk/TreeListing.hpp"
#include "opc/ForwardingFileSystemOps.hpp"

namespace ztpkg {

/// The bytes of a file. They are not zeroed first, which would take a noticeable part of the time of reading.
class FileContent {
 public:
  explicit FileContent(std::size_t size) : bytes_(std::make_unique_for_overwrite<char[]>(size)), size_(size) {}

  char* data() { return bytes_.get(); }
  std::size_t size() const { return size_; }
  std::string_view text() const { return {bytes_.get(), size_}; }
  void shrink(std::size_t size) { size_ = size; }

 private:
  std::unique_ptr<char[]> bytes_;
  std::size_t size_;
};

/// Reads from memory.
class HeldInput final : public std::streambuf {
 public:
  explicit HeldInput(FileContent content);

 protected:
  pos_type seekoff(off_type offset, std::ios::seekdir from, std::ios::openmode mode) override;
  pos_type seekpos(pos_type position, std::ios::openmode mode) override;

 private:
  FileContent content_;
};

/// Reads small files on a thread before they are opened for adding: finding, opening and reading a file takes about as
/// long as storing it. Holds a bounded number of bytes. Leaves a file that it cannot read, and the error, to the disk.
class FilesAhead final : public opc::ForwardingFileSystemOps {
 public:
  /// The path on the disk of one of the paths. Called on two threads.
  using OnDisk = std::function<std::u16string(std::u16string const&)>;

  /// Reads these paths, which are in code-unit order, one after the other. `disk` is used on two threads. A file of the
  /// local disk that is, behind its last byte, as it was listed has not changed meanwhile: that takes no look at it
  /// beforehand. `listed` has facts for each path (zeros for what is no file), or is empty. All are borrowed. Without
  /// `onDisk` the paths are those on the disk.
  FilesAhead(opc::FileSystemOps& disk, std::span<std::u16string const> paths, std::span<FileFacts const> listed = {},
             OnDisk onDisk = {});
  ~FilesAhead() override;
  FilesAhead(FilesAhead const&) = delete;
  FilesAhead& operator=(FilesAhead const&) = delete;

  /// A path behind the last one drops the files read between them. Any other path is read from the disk.
  opc::OpenedFile openForAdding(std::u16string const& path) override;
  /// Whether the path is the next one and its file was read ahead; waits until that is known.
  bool holdsNext(std::u16string const& path);
  /// Whether a file was read ahead. Such a file did not change while it was read.
  static bool isHeld(opc::OpenedFile const& file);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace ztpkg
