// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "container/Archive.hpp"
#include "container/Spool.hpp"

namespace opc::model::zip {

/// Receives the bytes of an archive in order.
class ArchiveSink {
 public:
  virtual ~ArchiveSink();
  virtual void write(void const* data, std::size_t count) = 0;
  /// Appends `count` bytes of a file from `offset` on. The kernel copies them where it can.
  virtual void copyFrom(int descriptor, std::uint64_t offset, std::uint64_t count) = 0;
};

class MemorySink final : public ArchiveSink {
 public:
  explicit MemorySink(std::vector<unsigned char>& bytes) : bytes_(bytes) {}
  void write(void const* data, std::size_t count) override;
  void copyFrom(int descriptor, std::uint64_t offset, std::uint64_t count) override;

 private:
  std::vector<unsigned char>& bytes_;
};

/// Writes a ZIP container in one pass. Sizes and CRCs are known before each header, so it needs no data descriptors. It
/// writes zip64 fields only where they are needed, and a fixed time, so that equal content gives equal bytes. finish()
/// writes the directory; without it the archive is incomplete. Any later call, finish() at the latest, throws an
/// exception of the sink; the archive is then unusable.
class ArchiveWriter {
 public:
  /// With `hasThread`, a thread of the writer calls the sink, in the same order, while the caller continues. `begin` is
  /// the size of what the sink holds already.
  explicit ArchiveWriter(ArchiveSink& sink, bool hasThread = false, std::uint64_t begin = 0);
  ~ArchiveWriter();

  void add(std::string_view name, Content const& content);
  /// The same for a content that the sink holds already at its offset, behind its local header.
  void addInPlace(std::string_view name, Content const& content);
  /// Takes over what stands in front of another archive's items, and its comment. Comes before the first item.
  void keepSurroundings(Archive const& former);
  /// Copies an item unchanged: stored bytes, method, flags, extra fields, comment, times, attributes. The values of a
  /// data descriptor move into the local header.
  void copy(Archive const& archive, std::size_t index);
  /// Copies neighbours of a seamless archive, local headers included, in one piece.
  void copyRange(Archive const& archive, std::size_t first, std::size_t last);
  void finish();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace opc::model::zip
