// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "container/ItemStream.hpp"
#include "io/FileHandle.hpp"

namespace opc::model::zip {

/// Saves system calls when many small pieces are read. Pieces that follow one another share a read, which grows with
/// the length of their row. A piece elsewhere is read alone.
class ReadAhead {
 public:
  struct Source {
    void const* id;
    std::uint64_t size;
    StoredBytes readAt;
  };

  /// The bytes, valid until the next call.
  unsigned char const* bytes(Source const& source, std::uint64_t offset, std::size_t count);

 private:
  void read(Source const& source, std::uint64_t offset, std::size_t count);

  void const* id_ = nullptr;
  std::uint64_t begin_ = 0;
  std::size_t filled_ = 0;
  std::size_t window_ = 0;  // of the last read; 0 for a single piece
  Buffer buffer_{0};
};

/// Immutable bytes that can be read at any offset, from any thread.
class RandomAccessBytes {
 public:
  virtual ~RandomAccessBytes();
  virtual std::uint64_t size() const = 0;
  /// Fills the buffer or throws: InvalidPackage beyond the end, CouldNotOpenPackage with the system's code.
  virtual void readAt(std::uint64_t offset, void* buffer, std::size_t count) const = 0;
  /// A file descriptor from which the bytes can be copied by the kernel, or -1.
  virtual int descriptor() const = 0;
};

/// A regular file. It stays open while the object lives, so that the bytes stay readable when another file replaces it.
/// `path` is UTF-8. Throws CouldNotOpenPackage ("Could not open package: PATH: TEXT"), for a directory or special file
/// too.
std::shared_ptr<RandomAccessBytes const> openFileBytes(std::string const& path);

/// Throws CouldNotOpenPackage, naming `path`, where the process may not write the file.
void requireWritable(std::string const& path);

/// The present identity of a file from openFileBytes(). Throws CouldNotOpenPackage, naming `path`.
FileIdentity identityOf(RandomAccessBytes const& file, std::string const& path);

std::shared_ptr<RandomAccessBytes const> makeMemoryBytes(std::vector<unsigned char> bytes);

}  // namespace opc::model::zip
