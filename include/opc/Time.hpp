// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <string>

#include "opc/Export.hpp"

/// Times are UTC with microseconds; the unknown time is not-a-date-time. All functions are thread-safe.
namespace opc {

/// The time of an ISO 8601 text of the form of xsd:dateTime (YYYY-MM-DDThh:mm:ss, an optional fraction,
/// an optional Z or offset; without one the text is UTC; XML white space at the ends is disregarded).
/// Digits beyond the microsecond are cut off. Not-a-date-time when the text is none, or lies outside the
/// years 1400 to 9999 of the time type.
ZT_API boost::posix_time::ptime convertStringToTime(std::u16string const& text);

/// YYYY-MM-DDThh:mm:ss, a fraction of six digits where it is not zero, and Z: a valid xsd:dateTime that
/// convertStringToTime reads back exactly. Empty for the special values.
ZT_API std::u16string convertTimeToString(boost::posix_time::ptime const& time);

ZT_API boost::posix_time::ptime getCurrentTime();

}  // namespace opc
