// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_set>

#include "disk/AtomicOutputStream.hpp"
#include "disk/DirectoryWalk.hpp"
#include "io/FileHandle.hpp"
#include "opc/ConfinedFileSystemOps.hpp"

namespace opc {

/// Opens what a relative path names beneath an open folder, without a step through a symbolic link, the last
/// one included (ELOOP); "." is the folder itself. The path holds no ".." segment. Not open, with `error`
/// set, where that fails.
FileHandle openBeneath(int folder, std::string const& path, int flags, mode_t mode, boost::system::error_code& error);

/// The same, segment by segment, for systems that cannot do it in one step.
FileHandle openBeneathBySegments(int folder, std::string const& path, int flags, mode_t mode,
                                 boost::system::error_code& error);

/// The folders beneath the root that files were made in last, held open: files that follow each other are mostly of one
/// folder. Any number of threads.
class HeldFolders {
 public:
  using Folder = std::shared_ptr<FileHandle const>;

  /// A new name in the folder. Null where it is not held.
  Place takePlace(std::string const& path, std::string const& name);
  /// `isNew`: it was just made, and has no names but those of its places.
  void hold(std::string path, Folder folder, bool isNew = false);
  void letGo(std::string const& path);

 private:
  struct Held {
    std::string path;
    Folder folder;
    bool isNew;
    std::unordered_set<std::string> names;  // of a new folder
  };
  static constexpr std::size_t kMost = 8;

  std::mutex mutex_;
  std::deque<Held> folders_;  // the one that was held first is the first to be let go
};

/// The open root directory and the way from it to what lies beneath. Relative paths are UTF-8 without empty,
/// "." and ".." segments; "." is the root itself.
class ConfinedFileSystemOps::Root {
 public:
  explicit Root(std::u16string const& path);

  /// EPERM for a path that is neither the root nor beneath it by its text, EINVAL for one that no disk knows.
  std::string relative(std::u16string const& path, boost::system::error_code& error) const;

  FileHandle open(std::u16string const& path, int flags, boost::system::error_code& error) const;
  /// For makeInputStream().
  FileHandle openToRead(std::u16string const& path, boost::system::error_code& error) const;
  FolderOpener opener() const;
  /// The open folder that holds what the path names.
  Place placeOf(std::u16string const& path, boost::system::error_code& error) const;
  /// The same; a held folder is not looked up again.
  Place heldPlaceOf(std::u16string const& path, boost::system::error_code& error) const;
  /// Has the folder, or the one that holds what the path names, looked up at the next time.
  void letGo(std::u16string const& path) const;
  void letGoParentOf(std::u16string const& path) const;
  void makeFolders(std::u16string const& path, boost::system::error_code& error) const;

  /// Whether a link at that path would lead to the root or beneath it.
  bool staysBeneath(std::u16string const& linkPath, std::u16string const& target) const;

  /// What the umask left of 0666 when the root was opened.
  mode_t modeOfNewFiles() const { return modeOfNewFiles_; }

 private:
  bool isFolder(std::string const& relative) const;

  std::string text_;  // as given, without slashes at the end
  FileHandle folder_;
  mode_t modeOfNewFiles_;
  mutable HeldFolders held_;
};

}  // namespace opc
