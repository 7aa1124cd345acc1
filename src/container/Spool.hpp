// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "container/RandomAccessBytes.hpp"
#include "opc/Streams.hpp"

namespace opc::model::zip {

/// How hard to deflate, if at all.
enum class Effort { Store, Fast, Default, Small };

/// Append-only store for compressed content until it is saved: in memory while it is small altogether,
/// in one temporary file beyond (mode 0600, unlinked at once) in `directory` (UTF-8; empty, or one that may
/// not be written: the system's temporary directory). A failed append leaves it as it was. One thread at a
/// time. Throws CouldNotSavePackage with the system's code.
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
  /// After pending writes are in the file; -1 while everything is in memory.
  int descriptor() const;

  /// Whether a thread of its own, begun with the file, writes what is appended, for this store and lanes that it is
  /// still to make. What fails there is tried again, and thrown, by whatever comes next. At first it does not.
  void setWritesBehind(bool does);

  /// A store beside this one for content that is appended in several steps and must not be mixed with what
  /// others append meanwhile. It is the borrower's alone until giveBack(), then the next one's.
  std::shared_ptr<Spool> borrowLane();
  void giveBack();

  static constexpr std::size_t kMemoryLimit = 4u << 20;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// One item's compressed content, complete and immutable; keeps its spool alive. Value-sized on purpose:
/// a package may hold a million of them.
struct Content {
  std::shared_ptr<Spool const> spool;
  std::uint64_t offset = 0;
  std::uint64_t storedSize = 0;
  std::uint64_t size = 0;
  std::uint32_t crc = 0;
  std::uint16_t method = 0;  // 0 stored, 8 deflated

  /// The content, inflated and verified as Archive::openContent does it. `name` is for messages.
  std::unique_ptr<InputStream> open(std::string const& name) const;
};

}  // namespace opc::model::zip
