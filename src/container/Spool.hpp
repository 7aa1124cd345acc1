// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "io/FileHandle.hpp"
#include "opc/Streams.hpp"

namespace opc::model::zip {

class ChunkIndex;

/// The bytes behind a ContentStore. They can only be appended. They stay in memory up to a limit; beyond it they go
/// into one temporary file (mode 0600, unlinked at once). The file is in `directory` (UTF-8), or in the system's
/// temporary directory if `directory` is empty or may not be written. A failed append changes nothing. One thread at a
/// time uses it. Throws CouldNotSavePackage with the system's code.
class Spool {
 public:
  explicit Spool(std::string directory, std::size_t memoryLimit = kMemoryLimit);
  ~Spool();
  Spool(Spool const&) = delete;
  Spool& operator=(Spool const&) = delete;

  /// Returns the offset at which the bytes can be read back.
  std::uint64_t append(void const* data, std::size_t count);
  void readAt(std::uint64_t offset, void* buffer, std::size_t count) const;
  std::uint64_t size() const;
  bool isInFile() const;
  /// The file, with all bytes in it; -1 while everything is in memory.
  int descriptor() const;

  /// Whether a thread of the spool writes to the file, here and in lanes that are made later. Initially false. The next
  /// call repeats a failed write and throws if it fails again.
  void setWritesBehind(bool does);

  /// Replaces bytes that were appended.
  void overwrite(std::uint64_t offset, void const* data, std::size_t count);

  /// Drops what was appended behind `size`, unless a write fails.
  void cut(std::uint64_t size) noexcept;

  /// The spool, or another one while somebody else has it. It belongs to one borrower until giveBack(), so that what is
  /// appended in several steps is contiguous.
  static std::shared_ptr<Spool> borrow(std::shared_ptr<Spool> const& spool);
  void giveBack();

  /// Has the file's bytes stored early, since they are to stay: otherwise the sync of the package would wait for all.
  void keepFile();
  /// The file with exactly the bytes of the spool, for a package that takes it over. Nothing is appended to the spool
  /// any more, but read from it. Not open where the bytes are in memory, the file is not in the directory that was
  /// asked for, or somebody has the spool.
  FileHandle shareFile();

  static constexpr std::size_t kMemoryLimit = 4u << 20;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// One item's complete content as a spool holds it, compressed or not. Immutable. It keeps the bytes alive, also after
/// its store has started again.
struct Content {
  std::shared_ptr<Spool const> spool;  // holds the bytes; null for the empty content of a part without a write
  std::uint64_t offset = 0;
  std::uint64_t storedSize = 0;
  std::uint64_t size = 0;
  std::uint32_t crc = 0;
  std::uint16_t method = 0;                    // 0 stored, 8 deflated
  std::uint16_t headerSize = 0;                // of the item's local header, directly in front; 0: no header
  std::shared_ptr<ChunkIndex const> chunks{};  // null where the content has one chunk at most

  /// The content from that offset on, inflated and verified as Archive::openContent does it. `name` is for messages.
  std::unique_ptr<InputStream> open(std::string const& name, std::uint64_t from = 0) const;
};

}  // namespace opc::model::zip
