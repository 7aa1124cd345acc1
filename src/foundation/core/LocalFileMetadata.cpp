// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/stat.h>

#include <cstdlib>
#include <limits>

#include "foundation/core/EpochTime.hpp"
#include "foundation/core/NativePath.hpp"
#include "opc/FileSystemOps.hpp"

namespace opc {
namespace {

constexpr std::uint32_t kPermissionBits = 07777;
constexpr long kNanosecondsPerMicrosecond = 1000;
constexpr std::int64_t kCoarsestClock = 2;  // seconds; the coarsest in which a file system keeps times

// Every file system can keep these; others are set to its nearest without a word.
bool isCommonlyKept(std::int64_t seconds) {
  return seconds >= 0 && seconds <= std::numeric_limits<std::int32_t>::max();
}

bool isKept(char const* path, std::int64_t seconds) {
  struct stat status;
  return ::stat(path, &status) == 0 && std::abs(std::int64_t{status.st_mtim.tv_sec} - seconds) <= kCoarsestClock;
}

int setModificationTime(char const* path, EpochTime const& time) {
  timespec const times[2] = {{0, UTIME_OMIT}, {time.seconds, time.microseconds * kNanosecondsPerMicrosecond}};
  if (::utimensat(AT_FDCWD, path, times, 0) != 0) return -1;
  if (isCommonlyKept(time.seconds) || isKept(path, time.seconds)) return 0;
  errno = ERANGE;
  return -1;
}

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
  auto const time = fromEpoch({status.st_mtim.tv_sec, status.st_mtim.tv_nsec / kNanosecondsPerMicrosecond});
  if (time.is_special()) error = posixError(ERANGE);
  return time;
}

void LocalFileSystemOps::setLastModifiedTime(std::u16string const& path, boost::posix_time::ptime const& time,
                                             boost::system::error_code& error) {
  if (time.is_special()) {
    error = posixError(EINVAL);
    return;
  }
  EpochTime const sinceEpoch = toEpoch(time);
  callOnPath(path, error, [&](char const* native) { return setModificationTime(native, sinceEpoch); });
}

}  // namespace opc
