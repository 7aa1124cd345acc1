// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/stat.h>

#include <boost/date_time/posix_time/ptime.hpp>
#include <boost/system/error_code.hpp>
#include <string>

#include "io/FileHandle.hpp"
#include "opc/FileSystemOps.hpp"

namespace opc {

/// Whether these are bits of a mode: unknown permissions are not.
inline bool arePermissionBits(Perms::Perms_tag permissions) { return (permissions & ~07777u) == 0; }
inline Perms::Perms_tag permissionsOf(struct stat const& status) {
  return static_cast<Perms::Perms_tag>(status.st_mode & 07777u);
}

/// ERANGE for a time that the time type cannot hold.
boost::posix_time::ptime modificationTimeOf(struct stat const& status, boost::system::error_code& error);

/// Sets the time of an open file, or of what a name in a folder stands for (`flags` as of utimensat). EINVAL for a
/// special time, ERANGE for one that the file system cannot keep.
boost::system::error_code setModificationTime(FileHandle const& file, boost::posix_time::ptime const& time);
boost::system::error_code setModificationTime(int folder, char const* name, boost::posix_time::ptime const& time,
                                              int flags);

/// A stream over an open file, as makeInputStream() makes it, with the file's attributes.
OpenedFile makeOpenedFile(FileHandle file, std::u16string const& path);

/// The target text of the symbolic link of that name in a folder; `path` is for messages. Throws Exception
/// with the system's code, InvalidText for a target that is not UTF-8.
std::u16string readLink(int folder, char const* name, std::u16string const& path);

[[noreturn]] void throwCouldNotReadLink(std::u16string const& path, boost::system::error_code error);

}  // namespace opc
