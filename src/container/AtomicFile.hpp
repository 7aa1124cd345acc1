// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "container/ArchiveWriter.hpp"
#include "io/FileHandle.hpp"

namespace opc::model::zip {

/// Whether both are states of one file with the same content. The change time does not count: another mode, owner, name
/// or link of the file changes it too.
bool isSameContent(FileIdentity const& a, FileIdentity b);

/// Replaces a file in one step. Bytes go to a temporary file beside it, of mode 0600: a new one (O_EXCL), or a file
/// without a name that gets one there. commit() syncs the temporary file, protects it as the file that it replaces
/// (FileProtection), renames it over the target and syncs the directory. It follows a target that is a symbolic link.
/// Destroyed without commit(), it removes the temporary file and leaves the target unchanged. So does every failure
/// except one of syncDirectory(); the object is then unusable. Throws CouldNotSavePackage with the system's code,
/// naming the target: EACCES for a file that the process may not write, EPERM for one whose owner or group it cannot
/// keep. `target` is UTF-8.
///
/// It locks (flock) the file that it replaces from the check of the target to the rename, for an instant. Only those
/// who may read that file can hold its lock. A save waits for it and throws PackageIsBusy after `patience`. The
/// temporary file stays locked while its process lives; the next AtomicFile for the same target removes unlocked ones.
class AtomicFile final : public ArchiveSink {
 public:
  enum class Target { MayExist, MustNotExist };

  struct Rules {
    Target target = Target::MayExist;
    std::optional<FileIdentity> expected{};  ///< the file that must still be there; otherwise PackageHasChanged
    std::chrono::milliseconds patience{10'000};
    bool replacesProtected = false;  ///< replaces a file that may not be written or whose owner cannot be kept
    std::function<void()>
        checkpoint{};  ///< called when the file is on the disk; what it throws leaves the target alone
  };

  AtomicFile(std::string const& target, Rules const& rules);
  /// Takes over an open file without a name, with what it holds, as the temporary file. It stays open, and a new
  /// temporary file is made, where the system cannot give it a name in the target's directory.
  AtomicFile(std::string const& target, Rules const& rules, FileHandle& contents);
  ~AtomicFile() override;

  void write(void const* data, std::size_t count) override;
  std::uint64_t size() const;
  /// Replaces bytes that the file holds.
  void overwrite(std::uint64_t offset, void const* data, std::size_t count);
  void copyFrom(int descriptor, std::uint64_t offset, std::uint64_t count) override;
  /// replace() and syncDirectory(). The last call.
  void commit();
  /// Puts the new file in the place of the target and returns its identity, with the change time from before.
  FileIdentity replace();
  /// Throws PackageNotSynced: the new file is in place, but may not survive a power failure, or a second name of it
  /// could not be removed.
  void syncDirectory();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace opc::model::zip
