// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/stat.h>

#include <string>
#include <string_view>

#include "disk/DirectoryWalk.hpp"
#include "io/FileHandle.hpp"
#include "opc/ConfinedFileSystemOps.hpp"

namespace opc {

/// A name in an open folder: whatever happens to the path by which the folder was found, it stays this one.
struct Place {
  FileHandle folder;
  std::string name;
};

/// The open root directory and the way from it to what lies beneath. Relative paths are UTF-8 without empty,
/// "." and ".." segments; "." is the root itself.
class ConfinedFileSystemOps::Root {
 public:
  explicit Root(std::u16string const& path);

  /// EPERM for a path that is neither the root nor beneath it by its text, EINVAL for one that no disk knows.
  std::string relative(std::u16string const& path, boost::system::error_code& error) const;

  FileHandle open(std::u16string const& path, int flags, boost::system::error_code& error) const;
  FolderOpener opener() const;
  /// The open folder that holds what the path names.
  Place placeOf(std::u16string const& path, boost::system::error_code& error) const;
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
};

}  // namespace opc
