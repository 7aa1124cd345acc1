// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "container/Archive.hpp"
#include "container/Content.hpp"

namespace opc::model::zip {

/// Where an archive is written, from its first byte on.
class ArchiveSink {
 public:
  virtual ~ArchiveSink();
  virtual void write(void const* data, std::size_t count) = 0;
  /// Takes `count` bytes of a file from `offset`, copied by the kernel where that works.
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

/// Writes a ZIP container in one pass. Sizes and CRCs are known before each header, so there are no data
/// descriptors; zip64 fields appear only where they are needed; times are fixed, so that equal content
/// gives equal bytes. finish() writes the directory; without it the archive is incomplete. What the sink throws comes
/// out of any call behind it, finish() at the latest; the archive is of no use then.
class ArchiveWriter {
 public:
  /// With a thread of its own, the sink is used there, in the same order, while the caller goes on.
  explicit ArchiveWriter(ArchiveSink& sink, bool hasThread = false);
  ~ArchiveWriter();

  void add(std::string_view name, Content const& content);
  /// Copies an item as it is: stored bytes, method, flags, extra fields, comment, times, attributes. A data
  /// descriptor is not kept, its values go into the local header.
  void copy(Archive const& archive, std::size_t index);
  void finish();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace opc::model::zip
