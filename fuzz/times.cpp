// SPDX-License-Identifier: Apache-2.0
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <string>
#include <vector>

#include "FuzzTarget.hpp"
#include "opc/Strings.hpp"
#include "opc/Time.hpp"

/// A time as text: one that is read is written as a text that is read as the same time.
namespace zt_fuzz {
namespace {

void run(Bytes const& input) {
  std::string const bytes = textOf(input);
  for (std::u16string const& text : {std::u16string(bytes.begin(), bytes.end()), unitsOf(bytes)}) {
    auto const time = opc::convertStringToTime(text);
    if (time.is_not_a_date_time()) continue;
    require(!time.is_special(), "a text is a time or none");
    require(opc::convertStringToTime(opc::convertTimeToString(time)) == time, "a time is kept");
  }
}

std::vector<Bytes> seeds() {
  return {bytesOf("2024-02-29T23:59:59.999999Z"), bytesOf("20240229T235959,5+0530"), bytesOf("1400-01-01"),
          bytesOf("9999-12-31T23:59:60Z"), bytesOf(" 2024-01-01T24:00-23 ")};
}

Registration const registration("times", run, seeds);

}  // namespace
}  // namespace zt_fuzz
