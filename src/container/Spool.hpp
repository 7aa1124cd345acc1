// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

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
  /// The file, with all bytes in it; -1 while everything is in memory.
  int descriptor() const;

  /// Whether a thread of the spool writes to the file, here and in lanes that are made later. Initially false. The next
  /// call repeats a failed write and throws if it fails again.
  void setWritesBehind(bool does);

  /// A second spool, for content that is appended in several steps and must be contiguous. It belongs to one borrower
  /// until giveBack().
  std::shared_ptr<Spool> borrowLane();
  void giveBack();

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
  std::shared_ptr<ChunkIndex const> chunks{};  // null where the content has one chunk at most

  /// The content from that offset on, inflated and verified as Archive::openContent does it. `name` is for messages.
  std::unique_ptr<InputStream> open(std::string const& name, std::uint64_t from = 0) const;
};

}  // namespace opc::model::zip
