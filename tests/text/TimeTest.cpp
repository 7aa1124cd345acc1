// SPDX-License-Identifier: Apache-2.0
#include <boost/date_time/posix_time/posix_time.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <gmock/gmock.h>
#include <random>
#include <string>
#include <vector>

#include "opc/Time.hpp"
#include "text/EpochTime.hpp"

namespace {

using boost::gregorian::date;
using boost::posix_time::microseconds;
using boost::posix_time::ptime;
using boost::posix_time::time_duration;
using opc::convertStringToTime;
using opc::convertTimeToString;

ptime at(int year, int month, int day, int hour = 0, int minute = 0, int second = 0, int microsecond = 0) {
  return ptime(
      date(static_cast<unsigned short>(year), static_cast<unsigned short>(month), static_cast<unsigned short>(day)),
      time_duration(hour, minute, second) + microseconds(microsecond));
}

bool isNone(std::u16string const& text) { return convertStringToTime(text).is_not_a_date_time(); }

TEST(ConvertStringToTime, ReadsATimeInUTC) {
  EXPECT_EQ(convertStringToTime(u"2026-01-31T23:59:58Z"), at(2026, 1, 31, 23, 59, 58));
}

TEST(ConvertStringToTime, TakesATimeWithoutAZoneForUTC) {
  EXPECT_EQ(convertStringToTime(u"2026-01-31T23:59:58"), at(2026, 1, 31, 23, 59, 58));
}

TEST(ConvertStringToTime, ReadsFractionsOfEveryLength) {
  EXPECT_EQ(convertStringToTime(u"2026-01-01T00:00:00.5Z"), at(2026, 1, 1, 0, 0, 0, 500'000));
  EXPECT_EQ(convertStringToTime(u"2026-01-01T00:00:00.000001"), at(2026, 1, 1, 0, 0, 0, 1));
  EXPECT_EQ(convertStringToTime(u"2026-01-01T00:00:00.000Z"), at(2026, 1, 1));
}

TEST(ConvertStringToTime, CutsOffWhatIsFinerThanAMicrosecond) {
  EXPECT_EQ(convertStringToTime(u"2026-01-01T00:00:59.9999999999999999999999Z"), at(2026, 1, 1, 0, 0, 59, 999'999));
  EXPECT_EQ(convertStringToTime(u"1960-01-01T00:00:59.1234567Z"), at(1960, 1, 1, 0, 0, 59, 123'456));
}

TEST(ConvertStringToTime, AppliesOffsets) {
  EXPECT_EQ(convertStringToTime(u"2026-03-01T01:30:00+02:00"), at(2026, 2, 28, 23, 30));
  EXPECT_EQ(convertStringToTime(u"2026-12-31T20:00:00-05:30"), at(2027, 1, 1, 1, 30));
  EXPECT_EQ(convertStringToTime(u"2026-01-01T00:00:00-00:00"), at(2026, 1, 1));
  EXPECT_EQ(convertStringToTime(u"2026-01-01T14:00:00+14:00"), at(2026, 1, 1));
  EXPECT_EQ(convertStringToTime(u"2026-01-01T10:00:00-14:00"), at(2026, 1, 2));
}

TEST(ConvertStringToTime, ReadsTheEndOfADayAsTheNextDay) {
  EXPECT_EQ(convertStringToTime(u"2026-12-31T24:00:00Z"), at(2027, 1, 1));
  EXPECT_EQ(convertStringToTime(u"2026-12-31T24:00:00.000Z"), at(2027, 1, 1));
  EXPECT_TRUE(isNone(u"2026-12-31T24:00:01Z"));
  EXPECT_TRUE(isNone(u"2026-12-31T24:01:00Z"));
  EXPECT_TRUE(isNone(u"2026-12-31T24:00:00.0000001Z"));
}

TEST(ConvertStringToTime, KnowsTheLengthOfEveryMonth) {
  EXPECT_EQ(convertStringToTime(u"2024-02-29T00:00:00Z"), at(2024, 2, 29));
  for (char16_t const* text :
       {u"2023-02-29T00:00:00Z", u"1900-02-29T00:00:00Z", u"2026-04-31T00:00:00Z", u"2026-00-01T00:00:00Z",
        u"2026-13-01T00:00:00Z", u"2026-01-00T00:00:00Z", u"2026-01-32T00:00:00Z"})
    EXPECT_TRUE(isNone(text)) << testing::PrintToString(std::u16string(text));
}

TEST(ConvertStringToTime, KnowsNoLeapSeconds) { EXPECT_TRUE(isNone(u"2016-12-31T23:59:60Z")); }

TEST(ConvertStringToTime, RefusesImpossibleTimesOfDay) {
  for (char16_t const* text :
       {u"2026-01-01T25:00:00Z", u"2026-01-01T00:60:00Z", u"2026-01-01T00:00:61Z", u"2026-01-01T00:00:00+14:01",
        u"2026-01-01T00:00:00+15:00", u"2026-01-01T00:00:00+00:60"})
    EXPECT_TRUE(isNone(text)) << testing::PrintToString(std::u16string(text));
}

TEST(ConvertStringToTime, RefusesOtherForms) {
  for (char16_t const* text : {u"",
                               u" ",
                               u"Z",
                               u"2026-01-01Z",
                               u"00:00:00Z",
                               u"2026-01-01 00:00:00Z",
                               u"2026-01-01t00:00:00Z",
                               u"2026-01-01T00:00:00z",
                               u"2026-1-01T00:00:00Z",
                               u"2026-01-01T0:00:00Z",
                               u"26-01-01T00:00:00Z",
                               u"02026-01-01T00:00:00Z",
                               u"+2026-01-01T00:00:00Z",
                               u"-2026-01-01T00:00:00Z",
                               u"2026-01-01T00:00:00.Z",
                               u"2026-01-01T00:00:00ZZ",
                               u"2026-01-01T00:00:00Zx",
                               u"2026-01-01T00:00:00 Z",
                               u"2026-01-0\u0661T00:00:00Z",
                               u"2026-W01-1T00:00:00Z",
                               u"2026",
                               u"2026-01",
                               u"202601",
                               u"2026-0101",
                               u"202601-01",
                               u"2026-01-01T000000Z",
                               u"20260101T00:00:00Z",
                               u"20260101T0000:00",
                               u"2026-01-01T",
                               u"2026-01-01T00",
                               u"2026-01-01T00.5Z",
                               u"2026-01-01T00:00.5Z",
                               u"20260101+01",
                               u"2026-01-01T00:00:00+1",
                               u"2026-01-01T00:00:00+01:",
                               u"2026-01-01T00:00:00+010",
                               u"2026-01-01T00:00:00,",
                               u"020260101",
                               u"not-a-date-time"})
    EXPECT_TRUE(isNone(text)) << testing::PrintToString(std::u16string(text));
}

TEST(ConvertStringToTime, ReadsADateAloneAsItsFirstInstant) {
  EXPECT_EQ(convertStringToTime(u"2026-01-31"), at(2026, 1, 31));
  EXPECT_EQ(convertStringToTime(u"20260131"), at(2026, 1, 31));
}

TEST(ConvertStringToTime, ReadsTheBasicFormat) {
  EXPECT_EQ(convertStringToTime(u"20260131T235958Z"), at(2026, 1, 31, 23, 59, 58));
  EXPECT_EQ(convertStringToTime(u"20260131T235958.25+0130"), at(2026, 1, 31, 22, 29, 58, 250'000));
  EXPECT_EQ(convertStringToTime(u"20260131T2359"), at(2026, 1, 31, 23, 59));
}

TEST(ConvertStringToTime, ReadsHoursAndMinutes) {
  EXPECT_EQ(convertStringToTime(u"2026-01-31T23:59"), at(2026, 1, 31, 23, 59));
  EXPECT_EQ(convertStringToTime(u"2026-01-31T23:59Z"), at(2026, 1, 31, 23, 59));
  EXPECT_EQ(convertStringToTime(u"2026-01-31T24:00"), at(2026, 2, 1));
}

TEST(ConvertStringToTime, ReadsShortOffsets) {
  EXPECT_EQ(convertStringToTime(u"2026-03-01T01:30:00+02"), at(2026, 2, 28, 23, 30));
  EXPECT_EQ(convertStringToTime(u"2026-03-01T01:30:00+0200"), at(2026, 2, 28, 23, 30));
  EXPECT_EQ(convertStringToTime(u"20260301T013000-02"), at(2026, 3, 1, 3, 30));
}

TEST(ConvertStringToTime, ReadsAFractionBehindAComma) {
  EXPECT_EQ(convertStringToTime(u"2026-01-01T00:00:00,5Z"), at(2026, 1, 1, 0, 0, 0, 500'000));
}

TEST(ConvertStringToTime, ReadsOnlyThoseTruncationsThatAreFormsOfTheirOwn) {
  std::u16string const whole = u"2026-01-31T23:59:58.123456+01:30";
  for (std::size_t length = 0; length < whole.size(); ++length) {
    bool const isForm = length == 10 || length == 16 || length == 19 || (length > 20 && length <= 26) || length == 29;
    EXPECT_EQ(isNone(whole.substr(0, length)), !isForm) << length;
  }
}

TEST(ConvertStringToTime, DisregardsXMLWhiteSpaceAtTheEnds) {
  EXPECT_EQ(convertStringToTime(u"\n\t 2026-01-01T00:00:00Z\r\n"), at(2026, 1, 1));
  EXPECT_TRUE(isNone(u"\u00A02026-01-01T00:00:00Z"));
}

TEST(ConvertStringToTime, ReachesExactlyAsFarAsTheTimeType) {
  EXPECT_EQ(convertStringToTime(u"1400-01-01T00:00:00Z"), at(1400, 1, 1));
  EXPECT_EQ(convertStringToTime(u"9999-12-31T23:59:59.999999Z"), at(9999, 12, 31, 23, 59, 59, 999'999));
  for (char16_t const* text : {u"1399-12-31T23:59:59.999999Z", u"9999-12-31T24:00:00Z", u"10000-01-01T00:00:00Z",
                               u"0000-01-01T00:00:00Z", u"0001-01-01T00:00:00Z", u"1400-01-01T00:00:00+00:01",
                               u"9999-12-31T23:59:59-00:01", u"40000-01-01T00:00:00Z", u"99999999999-01-01T00:00:00Z"})
    EXPECT_TRUE(isNone(text)) << testing::PrintToString(std::u16string(text));
}

TEST(ConvertStringToTime, JudgesTheRangeInUTC) {
  EXPECT_EQ(convertStringToTime(u"1399-12-31T23:30:00-01:00"), at(1400, 1, 1, 0, 30));
  EXPECT_EQ(convertStringToTime(u"10000-01-01T00:30:00+01:00"), at(9999, 12, 31, 23, 30));
}

TEST(ConvertTimeToString, WritesWholeSecondsWithoutAFraction) {
  EXPECT_EQ(convertTimeToString(at(2026, 1, 2, 3, 4, 5)), u"2026-01-02T03:04:05Z");
}

TEST(ConvertTimeToString, WritesSixDigitsOfAFraction) {
  EXPECT_EQ(convertTimeToString(at(2026, 1, 2, 3, 4, 5, 600)), u"2026-01-02T03:04:05.000600Z");
  EXPECT_EQ(convertTimeToString(at(1969, 12, 31, 23, 59, 59, 999'999)), u"1969-12-31T23:59:59.999999Z");
}

TEST(ConvertTimeToString, IsEmptyForTheSpecialValues) {
  EXPECT_EQ(convertTimeToString(ptime()), u"");
  EXPECT_EQ(convertTimeToString(ptime(boost::posix_time::pos_infin)), u"");
  EXPECT_EQ(convertTimeToString(ptime(boost::posix_time::neg_infin)), u"");
}

TEST(ConvertTimeToString, IsReadBackExactly) {
  std::mt19937_64 random(7);
  std::int64_t const first = opc::toEpoch(at(1400, 1, 1)).seconds,
                     last = opc::toEpoch(at(9999, 12, 31, 23, 59, 59)).seconds;
  std::uniform_int_distribution<std::int64_t> seconds(first, last), parts(0, 999'999);
  for (int i = 0; i < 2000; ++i) {
    ptime const time = opc::fromEpoch({seconds(random), parts(random)});
    EXPECT_EQ(convertStringToTime(convertTimeToString(time)), time);
  }
}

TEST(EpochTime, IsReadBackExactlyOnBothSidesOf1970) {
  for (auto const seconds : std::vector<std::int64_t>{-17'987'443'200, -1, 0, 1, 2'147'483'648, 253'402'300'799})
    for (std::int64_t const part : {0L, 1L, 999'999L}) {
      opc::EpochTime const back = opc::toEpoch(opc::fromEpoch({seconds, part}));
      EXPECT_EQ(back.seconds, seconds);
      EXPECT_EQ(back.microseconds, part);
    }
}

TEST(EpochTime, IsNoneOutsideTheTimeType) {
  EXPECT_EQ(opc::fromEpoch({-17'987'443'200, 0}), at(1400, 1, 1));
  EXPECT_TRUE(opc::fromEpoch({-17'987'443'201, 999'999}).is_not_a_date_time());
  EXPECT_EQ(opc::fromEpoch({253'402'300'799, 0}), at(9999, 12, 31, 23, 59, 59));
  EXPECT_TRUE(opc::fromEpoch({253'402'300'800, 0}).is_not_a_date_time());
}

TEST(GetCurrentTime, IsNowInUTC) {
  auto const now = [] {
    return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()).time_since_epoch().count();
  };
  std::int64_t const before = now();
  std::int64_t const asked = opc::toEpoch(opc::getCurrentTime()).seconds;
  EXPECT_LE(before, asked);
  EXPECT_LE(asked, now());
}

}  // namespace
