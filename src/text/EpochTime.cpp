// SPDX-License-Identifier: Apache-2.0
#include "text/EpochTime.hpp"

#include <boost/date_time/gregorian/greg_date.hpp>
#include <boost/date_time/posix_time/posix_time_duration.hpp>

namespace opc {
namespace {

constexpr std::int64_t kFirstSecond = -17'987'443'200;  // 1400-01-01T00:00:00
constexpr std::int64_t kLastSecond = 253'402'300'799;   // 9999-12-31T23:59:59
constexpr std::int64_t kMicroseconds = 1'000'000;

boost::posix_time::ptime epoch() {
  return boost::posix_time::ptime(boost::gregorian::date(1970, 1, 1), boost::posix_time::time_duration(0, 0, 0));
}

}  // namespace

boost::posix_time::ptime fromEpoch(EpochTime const& time) {
  if (time.seconds < kFirstSecond || time.seconds > kLastSecond) return {};
  return epoch() + boost::posix_time::microseconds(time.seconds * kMicroseconds + time.microseconds);
}

EpochTime toEpoch(boost::posix_time::ptime const& time) {
  std::int64_t const total = (time - epoch()).total_microseconds();
  std::int64_t const part = (total % kMicroseconds + kMicroseconds) % kMicroseconds;
  return {(total - part) / kMicroseconds, part};
}

}  // namespace opc
