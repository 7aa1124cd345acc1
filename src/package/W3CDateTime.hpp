// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <string>

namespace opc::model::detail {

/// The UTC time of a W3CDTF text: YYYY, YYYY-MM, YYYY-MM-DD, or with a time hh:mm, hh:mm:ss or
/// hh:mm:ss.fraction and a zone Z, +hh:mm or -hh:mm. What is not said is the first of its kind.
/// Not-a-date-time when the text is none.
boost::posix_time::ptime parseW3CDateTime(std::u16string const& text);

}  // namespace opc::model::detail
