// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <string>

#include "opc/Export.hpp"

/// Times are UTC with a resolution of microseconds; the unknown time is not-a-date-time. Every function may be called
/// from any thread. None throws for an invalid text or time.
namespace opc {

/// Reads an ISO 8601 text: a date, YYYY-MM-DD, and behind a T the time hh:mm or hh:mm:ss, with a fraction of the second
/// behind a dot or comma, and with Z or an offset, +hh:mm, +hhmm or +hh. The basic format, YYYYMMDDThhmmss, has the
/// same parts. A date alone is its first instant, and a text without an offset is UTC. XML white space at the ends is
/// ignored, and digits beyond the microsecond are cut off. Returns not-a-date-time where the text has none of these
/// forms or lies outside the years 1400 to 9999 of the time type.
ZT_API boost::posix_time::ptime convertStringToTime(std::u16string const& text);

/// Writes YYYY-MM-DDThh:mm:ss, a fraction of six digits unless it is zero, and Z. That is a valid xsd:dateTime, which
/// convertStringToTime reads back exactly. Empty for the special values.
ZT_API std::u16string convertTimeToString(boost::posix_time::ptime const& time);

/// The system clock's time.
ZT_API boost::posix_time::ptime getCurrentTime();

}  // namespace opc
