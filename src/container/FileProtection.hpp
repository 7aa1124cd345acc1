// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/stat.h>

#include <string>
#include <utility>
#include <vector>

#include "io/FileHandle.hpp"

namespace opc::model::zip {

/// Who may use a file, and the notes of its users: owner, group, mode, access list (POSIX ACL) and user attributes. A
/// file that replaces another one takes them over, so that nobody gains rights by a save.
///
/// Every call sets or clears `error`.
class FileProtection {
 public:
  /// The protection that the system gives a new file in the folder: 0666 less the umask, or the folder's default list.
  static FileProtection ofNewFile(FileHandle const& folder, boost::system::error_code& error);
  /// The protection of an existing file. A file that is not open (its reader has no right to read it) has an unknown
  /// access list; its mode then gives no rights to its group.
  static FileProtection of(FileHandle const& file, struct stat const& status, boost::system::error_code& error);

  /// Protects another file in the same way. EPERM where this process may not keep owner and group; with
  /// `mayChangeOwner` it keeps what it may, without the rights that would then concern another owner or group.
  void applyTo(FileHandle const& file, bool mayChangeOwner, boost::system::error_code& error) const;
  /// Sets only the owner and the group that applyTo() requires. Returns the lost mode bits.
  mode_t applyOwnerTo(FileHandle const& file, bool mayChangeOwner, boost::system::error_code& error) const;

 private:
  struct Attribute {
    std::string name, value;
  };

  void applyListTo(FileHandle const& file, bool withGroup, boost::system::error_code& error) const;

  bool isNew_ = false;  // no owner to keep
  uid_t owner_ = 0;
  gid_t group_ = 0;
  mode_t mode_ = 0;
  std::string accessList_;  // as the system passes it; empty: the mode says everything
  std::vector<Attribute> attributes_;
};

}  // namespace opc::model::zip
