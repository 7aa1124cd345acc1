// SPDX-License-Identifier: Apache-2.0
#include "opc/Time.hpp"

#include <array>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cstdio>

#include "text/Iso8601.hpp"

namespace opc {
namespace {

// `format` takes the numbers given and yields ASCII.
template <typename... Numbers>
void appendFormatted(std::u16string& text, char const* format, Numbers... numbers) {
  std::array<char, 64> buffer;
  int const length = std::snprintf(buffer.data(), buffer.size(), format, numbers...);
  text.append(buffer.data(), buffer.data() + length);
}

}  // namespace

boost::posix_time::ptime convertStringToTime(std::u16string const& text) {
  auto const time = parseIso8601(text);
  return time ? fromEpoch(*time) : boost::posix_time::ptime();
}

std::u16string convertTimeToString(boost::posix_time::ptime const& time) {
  std::u16string text;
  if (time.is_special()) return text;
  auto const date = time.date().year_month_day();
  auto const day = time.time_of_day();
  appendFormatted(text, "%04d-%02d-%02d", int{date.year}, int{date.month}, int{date.day});
  appendFormatted(text, "T%02d:%02d:%02d", static_cast<int>(day.hours()), static_cast<int>(day.minutes()),
                  static_cast<int>(day.seconds()));
  auto const microseconds = static_cast<int>(toEpoch(time).microseconds);
  if (microseconds != 0) appendFormatted(text, ".%06d", microseconds);
  return text + u'Z';
}

boost::posix_time::ptime getCurrentTime() { return boost::posix_time::microsec_clock::universal_time(); }

}  // namespace opc
