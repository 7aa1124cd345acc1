// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace opc::model::zip {

/// The bytes behind a ContentStore. They can only be appended. They stay in memory up to a limit and go into one
/// temporary file beyond it (mode 0600, unlinked at once). The file is in `directory` (UTF-8), or in the system's
/// temporary directory if that is empty or may not be written. A failed append changes nothing. Used by one thread at a
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
  /// The file, with all bytes in it; -1 while everything is in memory.
  int descriptor() const;

  /// Whether a thread of the spool writes to the file, here and in lanes that are made later; at first not. A failed
  /// write is repeated by the next call, which throws if it fails again.
  void setWritesBehind(bool does);

  /// A spool beside this one, for content that is appended in several steps and must stay in one piece. It belongs to
  /// one borrower until giveBack().
  std::shared_ptr<Spool> borrowLane();
  void giveBack();

  static constexpr std::size_t kMemoryLimit = 4u << 20;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace opc::model::zip
