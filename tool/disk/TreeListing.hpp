// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/Errors.hpp"
#include "disk/Paths.hpp"
#include "opc/FileIdentity.hpp"

namespace ztpkg {

/// What the disk says of a file.
struct FileFacts {
  opc::FileIdentity identity = {};
  std::uint32_t permissions = 0;  ///< read, write and execute bits
};

/// The time of the last change of the content, if it can be recorded.
std::optional<boost::posix_time::ptime> timeOf(opc::FileIdentity const& identity);

/// An item of a directory on the disk; links are not followed.
struct ListedItem {
  enum class Kind { File, Link, Folder, Fifo, Socket, Device };

  std::u16string path;
  Kind kind = Kind::File;
  FileFacts facts = {};  ///< of a file
  int error = 0;         ///< why it cannot be looked at or, a file, read
  bool isThere = false;  ///< it was looked at
};

/// Whether a name is of a temporary file of an extraction, a save or a spool.
bool isLeftover(std::u16string_view name);

/// Looks at one item. The path for the system is relative to an open folder, or to the working directory (AT_FDCWD).
ListedItem listItem(int folder, char const* name, std::u16string path);

/// Everything below a directory. Folders that cannot be listed and names that are not UTF-8 are faults; the rest is
/// listed. Two directories at most are open at a time, beside the root, however deep the tree is.
class TreeListing {
 public:
  using Exclusion = std::function<bool(std::u16string const& path)>;

  /// Excluded items are neither listed nor opened. With `oneFileSystem` directories of other ones are listed and not
  /// opened. Throws Interrupted.
  TreeListing(GivenDirectory root, Exclusion isExcluded, bool oneFileSystem = false);

  /// By code units of their paths, which are relative to the root and begin with a slash.
  std::vector<ListedItem> items;
  std::vector<Report> faults;

 private:
  struct OpenFolder;
  void visit(int root, std::u16string folder, OpenFolder& last);
  void meet(int folder, std::u16string const& prefix, char const* name, unsigned char type);
  void addBadName(std::u16string const& prefix, std::string const& name);
  void addUnreadable(std::u16string const& folder, int error);

  GivenDirectory root_;
  Exclusion isExcluded_;
  std::optional<std::uint64_t> device_;  // the only one to look at
  std::vector<std::u16string> pending_;  // folders to visit
};

}  // namespace ztpkg
