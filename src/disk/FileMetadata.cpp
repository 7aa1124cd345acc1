// SPDX-License-Identifier: Apache-2.0
#include "disk/FileMetadata.hpp"

#include <fcntl.h>

#include <cstdlib>
#include <limits>

#include "text/EpochTime.hpp"
#include "text/PosixError.hpp"

namespace opc {
namespace {

constexpr long kNanosecondsPerMicrosecond = 1000;
constexpr std::int64_t kCoarsestClock = 2;  // seconds; the coarsest in which a file system keeps times

// Every file system can keep these; others are set to its nearest without a word.
bool isCommonlyKept(std::int64_t seconds) {
  return seconds >= 0 && seconds <= std::numeric_limits<std::int32_t>::max();
}

bool isKept(int folder, char const* name, std::int64_t seconds, int flags) {
  struct stat status;
  return ::fstatat(folder, name, &status, flags) == 0 &&
         std::abs(std::int64_t{status.st_mtim.tv_sec} - seconds) <= kCoarsestClock;
}

}  // namespace

boost::posix_time::ptime modificationTimeOf(struct stat const& status, boost::system::error_code& error) {
  auto const time = fromEpoch({status.st_mtim.tv_sec, status.st_mtim.tv_nsec / kNanosecondsPerMicrosecond});
  if (time.is_special()) error = posixError(ERANGE);
  return time;
}

boost::system::error_code setModificationTime(int folder, char const* name, boost::posix_time::ptime const& time,
                                              int flags) {
  if (time.is_special()) return posixError(EINVAL);
  EpochTime const sinceEpoch = toEpoch(time);
  timespec const times[2] = {{0, UTIME_OMIT},
                             {sinceEpoch.seconds, sinceEpoch.microseconds * kNanosecondsPerMicrosecond}};
  if (::utimensat(folder, name, times, flags) != 0) return lastPosixError();
  bool const kept = isCommonlyKept(sinceEpoch.seconds) || isKept(folder, name, sinceEpoch.seconds, flags);
  return kept ? boost::system::error_code() : posixError(ERANGE);
}

}  // namespace opc
