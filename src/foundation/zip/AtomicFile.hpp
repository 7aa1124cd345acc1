// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "foundation/zip/ArchiveWriter.hpp"

namespace opc::model::zip {

/// Replaces a file in one step: bytes go to a temporary file beside it (O_EXCL, mode 0600), commit() syncs
/// it, gives it the mode of the file that it replaces (0666 less the umask for a new one), renames it over
/// the target and syncs the directory. A target that is a symbolic link is followed. Destroyed without
/// commit() it removes the temporary and leaves the target alone; so does every failure, after which the
/// object is of no further use, but for one of syncDirectory(). Owner and group are kept as far as the
/// process may; mode bits that would then mean somebody else are not. Throws CouldNotSavePackage with the
/// system's code, naming the target. `target` is UTF-8.
class AtomicFile final : public ArchiveSink {
 public:
  enum class Target { MayExist, MustNotExist };

  AtomicFile(std::string const& target, Target rule);
  ~AtomicFile() override;

  void write(void const* data, std::size_t count) override;
  void copyFrom(int descriptor, std::uint64_t offset, std::uint64_t count) override;
  /// Both of the following. Comes once and last.
  void commit();
  /// After it the target is the new file.
  void replace();
  /// When this throws, the new file is in place, but it is not certain that it is after a power failure (or
  /// a second name of it could not be removed).
  void syncDirectory();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace opc::model::zip
