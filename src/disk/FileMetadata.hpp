// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/stat.h>

#include <boost/date_time/posix_time/ptime.hpp>
#include <boost/system/error_code.hpp>

namespace opc {

/// ERANGE for a time that the time type cannot hold.
boost::posix_time::ptime modificationTimeOf(struct stat const& status, boost::system::error_code& error);

/// Sets the time of what a name in a folder stands for (`flags` as of utimensat); EINVAL for a special time,
/// ERANGE for one that the file system cannot keep.
boost::system::error_code setModificationTime(int folder, char const* name, boost::posix_time::ptime const& time,
                                              int flags);

}  // namespace opc
