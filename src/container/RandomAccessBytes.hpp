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

/// Saves system calls when many small pieces are read: as long as they follow one another they come out of
/// one read, the larger the longer the row is; a piece elsewhere is read alone.
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
  std::size_t window_ = 0;  // of the last read; 0 for one alone
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

/// A file; kept open while the object lives, so that the bytes stay readable when the path is replaced.
/// `path` is UTF-8. Throws CouldNotOpenPackage, naming the path ("Could not open package: PATH: TEXT"); a
/// directory or another special file too.
std::shared_ptr<RandomAccessBytes const> openFileBytes(std::string const& path);

/// Of the file behind `openFileBytes`, as it is now. Throws CouldNotOpenPackage, naming `path`.
FileIdentity identityOf(RandomAccessBytes const& file, std::string const& path);

std::shared_ptr<RandomAccessBytes const> makeMemoryBytes(std::vector<unsigned char> bytes);

}  // namespace opc::model::zip
