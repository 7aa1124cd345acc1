// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/stat.h>

#include "disk/FileMetadata.hpp"
#include "disk/NativePath.hpp"
#include "opc/FileSystemOps.hpp"

namespace opc {
namespace {

constexpr std::uint32_t kPermissionBits = 07777;

}  // namespace

Perms::Perms_tag LocalFileSystemOps::getPermissions(std::u16string const& path, boost::system::error_code& error) {
  struct stat status;
  if (!callOnPath(path, error, [&](char const* native) { return ::stat(native, &status); })) return Perms::NotKnown;
  return static_cast<Perms::Perms_tag>(status.st_mode & kPermissionBits);
}

void LocalFileSystemOps::setPermissions(std::u16string const& path, Perms::Perms_tag permissions,
                                        boost::system::error_code& error) {
  if (permissions & ~kPermissionBits) {  // unknown permissions are no permissions
    error = posixError(EINVAL);
    return;
  }
  callOnPath(path, error, [&](char const* native) { return ::chmod(native, permissions); });
}

boost::posix_time::ptime LocalFileSystemOps::getLastModifiedTime(std::u16string const& path,
                                                                 boost::system::error_code& error) {
  struct stat status;
  if (!callOnPath(path, error, [&](char const* native) { return ::stat(native, &status); })) return {};
  return modificationTimeOf(status, error);
}

void LocalFileSystemOps::setLastModifiedTime(std::u16string const& path, boost::posix_time::ptime const& time,
                                             boost::system::error_code& error) {
  std::string native;
  error = toNativePath(path, native) ? setModificationTime(AT_FDCWD, native.c_str(), time, 0) : posixError(EINVAL);
}

}  // namespace opc
