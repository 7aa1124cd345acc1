// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "container/ArchiveWriter.hpp"
#include "io/FileHandle.hpp"

namespace opc::model::zip {

/// Replaces a file in one step: bytes go to a temporary file beside it (O_EXCL, mode 0600), commit() syncs
/// it, gives it the mode of the file that it replaces (0666 less the umask for a new one), renames it over
/// the target and syncs the directory. A target that is a symbolic link is followed. Destroyed without
/// commit() it removes the temporary and leaves the target alone; so does every failure, after which the
/// object is of no further use, but for one of syncDirectory(). Owner and group are kept as far as the
/// process may; mode bits that would then mean somebody else are not. Throws CouldNotSavePackage with the
/// system's code, naming the target. `target` is UTF-8.
///
/// The directory that holds the resolved target is locked (flock) twice: while the temporary is made, and from the
/// check of the target to the rename, which are instants however long the writing takes. Since the lock is shared
/// with the saves of everything else in the directory, one that is taken is waited for, and reported as
/// PackageIsBusy only after `patience`. The temporary itself stays locked while its process lives; the next
/// AtomicFile for the same target removes those that are not.
class AtomicFile final : public ArchiveSink {
 public:
  enum class Target { MayExist, MustNotExist };

  struct Rules {
    Target target = Target::MayExist;
    std::optional<FileIdentity> expected{};  ///< what must still be there; otherwise PackageHasChanged
    std::chrono::milliseconds patience{10'000};
  };

  AtomicFile(std::string const& target, Rules const& rules);
  ~AtomicFile() override;

  void write(void const* data, std::size_t count) override;
  void copyFrom(int descriptor, std::uint64_t offset, std::uint64_t count) override;
  /// Both of the following. Comes once and last.
  void commit();
  /// After it the target is the new file, whose identity is returned.
  FileIdentity replace();
  /// When this throws, the new file is in place, but it is not certain that it is after a power failure (or
  /// a second name of it could not be removed).
  void syncDirectory();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace opc::model::zip
