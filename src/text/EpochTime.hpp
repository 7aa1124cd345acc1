// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <cstdint>

namespace opc {

/// A time as the system counts it: seconds since 1970, and microseconds (0 to 999,999) in addition.
struct EpochTime {
  std::int64_t seconds;
  std::int64_t microseconds;
};

/// Not-a-date-time outside the years 1400 to 9999 of the time type.
boost::posix_time::ptime fromEpoch(EpochTime const& time);

/// `time` must not be a special value.
EpochTime toEpoch(boost::posix_time::ptime const& time);

}  // namespace opc
