// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <string>

#include "opc/Time.hpp"
#include "package/CorePropertiesPart.hpp"

namespace opc::model::detail {
namespace {

std::u16string parsed(char16_t const* text) { return convertTimeToString(parseW3CDateTime(text)); }

TEST(W3CDateTime, HasSixForms) {
  EXPECT_EQ(parsed(u"2006"), u"2006-01-01T00:00:00Z");
  EXPECT_EQ(parsed(u"2006-10"), u"2006-10-01T00:00:00Z");
  EXPECT_EQ(parsed(u"2006-10-13"), u"2006-10-13T00:00:00Z");
  EXPECT_EQ(parsed(u"2006-10-13T18:06Z"), u"2006-10-13T18:06:00Z");
  EXPECT_EQ(parsed(u"2006-10-13T18:06:07+02:00"), u"2006-10-13T16:06:07Z");
  EXPECT_EQ(parsed(u"2006-10-13T18:06:07.25-01:30"), u"2006-10-13T19:36:07.250000Z");
  EXPECT_EQ(parsed(u"2006-10-13T18:06+02:00"), u"2006-10-13T16:06:00Z");
}

TEST(W3CDateTime, RefusesEverythingElse) {
  for (auto text : {u"",
                    u"06",
                    u"2006-1",
                    u"2006-13",
                    u"2006-02-30",
                    u"2006-10-13T",
                    u"2006-10-13T18Z",
                    u"2006-10-13T18:06",
                    u"2006-10-13T18:06:07",
                    u"2006-10-13 18:06:07Z",
                    u"2006-10-13T25:06Z",
                    u"2006-10-13T18:06:07+0200",
                    u"2006-10-13T18:06:Z",
                    u"2006-10-13T18:06.5Z",
                    u"20061013",
                    u" 2006",
                    u"2006Z",
                    u"-2006",
                    u"yesterday",
                    u"2006-10-13T18:06:07ZZ",
                    u"2006-10-13T18:06:07.Z"})
    EXPECT_TRUE(parseW3CDateTime(text).is_special()) << std::u16string(text).size();
}

}  // namespace
}  // namespace opc::model::detail
