// SPDX-License-Identifier: Apache-2.0
#include "opc/Time.hpp"

#include <algorithm>
#include <boost/date_time/gregorian/greg_date.hpp>
#include <boost/date_time/posix_time/posix_time_duration.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "text/Ascii.hpp"
#include "text/EpochTime.hpp"

namespace opc {
namespace {

constexpr std::int64_t kFirstSecond = -17'987'443'200;  // 1400-01-01T00:00:00
constexpr std::int64_t kLastSecond = 253'402'300'799;   // 9999-12-31T23:59:59
constexpr std::int64_t kMicroseconds = 1'000'000;

boost::posix_time::ptime epoch() {
  return boost::posix_time::ptime(boost::gregorian::date(1970, 1, 1), boost::posix_time::time_duration(0, 0, 0));
}

/// Appends the number in decimal, with leading zeros, behind a character. Manifests hold many times, and printf would
/// take a third of the time of writing them.
void appendDigits(std::u16string& text, char16_t before, int number, std::size_t digits) {
  std::size_t const begin = text.size();
  text.append(1 + digits, before);
  for (std::size_t at = begin + digits; at > begin; --at, number /= 10)
    text[at] = static_cast<char16_t>(u'0' + number % 10);
}

constexpr int kFractionDigits = 6;
constexpr std::size_t kLongestText = 28;  // "-2026-03-01T12:30:00.250000Z"
constexpr int kLastYear = 10'000;         // with an offset it may still lie in the last hours of 9999

std::u16string_view trimmed(std::u16string_view text) {
  constexpr std::u16string_view kSpaces = u" \t\n\r";
  std::size_t const first = text.find_first_not_of(kSpaces);
  if (first == std::u16string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kSpaces) - first + 1);
}

/// Reads the text from left to right. Once something is missing, the scanner stays failed.
class Scanner {
 public:
  explicit Scanner(std::u16string_view text) : rest_(text) {}

  bool failed() const { return failed_; }
  bool atEnd() const { return rest_.empty(); }
  bool accept(char16_t c);
  void expect(char16_t c) { failed_ = !accept(c) || failed_; }
  int number(std::size_t digits);
  int year();
  std::size_t countDigits() const;
  std::u16string_view digits();

 private:
  std::u16string_view rest_;
  bool failed_ = false;
};

bool Scanner::accept(char16_t c) {
  if (!rest_.starts_with(c)) return false;
  rest_.remove_prefix(1);
  return true;
}

// Exactly `digits` digits.
int Scanner::number(std::size_t digits) {
  int value = 0;
  for (std::size_t i = 0; i < digits; ++i) {
    if (i >= rest_.size() || !ascii::isDigit(rest_[i])) {
      failed_ = true;
      return 0;
    }
    value = value * 10 + (rest_[i] - u'0');
  }
  rest_.remove_prefix(digits);
  return value;
}

// At least four digits; a leading zero only in a year of four.
int Scanner::year() {
  std::size_t const count = countDigits();
  failed_ = failed_ || count < 4 || count > 5 || (count == 5 && rest_.front() == u'0');
  return failed_ ? 0 : number(count);
}

std::size_t Scanner::countDigits() const {
  auto const end = std::find_if_not(rest_.begin(), rest_.end(), ascii::isDigit<char16_t>);
  return static_cast<std::size_t>(end - rest_.begin());
}

std::u16string_view Scanner::digits() {
  std::size_t const count = countDigits();
  std::u16string_view const taken = rest_.substr(0, count);
  rest_.remove_prefix(count);
  failed_ = failed_ || count == 0;
  return taken;
}

struct TimeOfDay {
  int hour = 0, minute = 0, second = 0, microsecond = 0;
  bool hasFraction = false;  // a fraction that is not zero, however small
};

void scanFraction(Scanner& scanner, TimeOfDay& time) {
  std::u16string_view const digits = scanner.digits();
  time.hasFraction = digits.find_first_not_of(u'0') != std::u16string_view::npos;
  for (std::size_t i = 0; i < kFractionDigits; ++i)
    time.microsecond = time.microsecond * 10 + (i < digits.size() ? digits[i] - u'0' : 0);
}

/// hh:mm or hh:mm:ss with an optional fraction; hhmm or hhmmss in the basic format.
TimeOfDay scanTimeOfDay(Scanner& scanner, bool isBasic) {
  TimeOfDay time;
  time.hour = scanner.number(2);
  if (!isBasic) scanner.expect(u':');
  time.minute = scanner.number(2);
  bool const hasSeconds = isBasic ? scanner.countDigits() > 0 : scanner.accept(u':');
  if (!hasSeconds) return time;
  time.second = scanner.number(2);
  if (scanner.accept(u'.') || scanner.accept(u',')) scanFraction(scanner, time);
  return time;
}

// 24:00:00 is the first instant of the next day.
bool isValid(TimeOfDay const& time) {
  if (time.hour == 24) return time.minute == 0 && time.second == 0 && !time.hasFraction;
  return time.hour < 24 && time.minute < 60 && time.second < 60;
}

/// YYYY-MM-DD, or YYYYMMDD in the basic format.
std::chrono::year_month_day scanDate(Scanner& scanner, bool isBasic) {
  int const year = isBasic ? scanner.number(4) : scanner.year();
  if (!isBasic) scanner.expect(u'-');
  int const month = scanner.number(2);
  if (!isBasic) scanner.expect(u'-');
  int const day = scanner.number(2);
  return std::chrono::year_month_day(std::chrono::year(year > kLastYear ? 0 : year),
                                     std::chrono::month(static_cast<unsigned>(month)),
                                     std::chrono::day(static_cast<unsigned>(day)));
}

// Minutes east of UTC, at most fourteen hours; empty for anything else.
std::optional<int> scanOffset(Scanner& scanner) {
  if (scanner.atEnd() || scanner.accept(u'Z')) return 0;
  bool const west = scanner.accept(u'-');
  if (!west) scanner.expect(u'+');
  int const hours = scanner.number(2);
  int const minutes = scanner.atEnd() ? 0 : (scanner.accept(u':'), scanner.number(2));
  if (minutes > 59 || hours * 60 + minutes > 14 * 60) return std::nullopt;
  return west ? -(hours * 60 + minutes) : hours * 60 + minutes;
}

/// Reads a form of ISO 8601, with white space at its ends. Empty where the text does not have such a form, names no day
/// or time of day, or is far outside the years of the time type.
std::optional<EpochTime> parseIso8601(std::u16string_view text) {
  constexpr std::size_t kBasicDate = 8;
  Scanner scanner(trimmed(text));
  bool const isBasic = scanner.countDigits() == kBasicDate;
  auto const date = scanDate(scanner, isBasic);
  TimeOfDay time;
  std::optional<int> offset = 0;
  if (!scanner.atEnd()) {
    scanner.expect(u'T');
    time = scanTimeOfDay(scanner, isBasic);
    offset = scanOffset(scanner);
  }
  if (scanner.failed() || !scanner.atEnd() || !offset || !date.ok() || date.year() == std::chrono::year(0) ||
      !isValid(time))
    return std::nullopt;
  std::int64_t const days = std::chrono::sys_days(date).time_since_epoch().count();
  std::int64_t const minutes = (days * 24 + time.hour) * 60 + time.minute - *offset;
  return EpochTime{minutes * 60 + time.second, time.microsecond};
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

boost::posix_time::ptime convertStringToTime(std::u16string const& text) {
  auto const time = parseIso8601(text);
  return time ? fromEpoch(*time) : boost::posix_time::ptime();
}

std::u16string convertTimeToString(boost::posix_time::ptime const& time) {
  std::u16string text;
  if (time.is_special()) return text;
  text.reserve(kLongestText);
  auto const date = time.date().year_month_day();
  auto const day = time.time_of_day();
  appendDigits(text, u'-', int{date.year}, 4);
  text.erase(0, 1);
  appendDigits(text, u'-', int{date.month}, 2);
  appendDigits(text, u'-', int{date.day}, 2);
  appendDigits(text, u'T', static_cast<int>(day.hours()), 2);
  appendDigits(text, u':', static_cast<int>(day.minutes()), 2);
  appendDigits(text, u':', static_cast<int>(day.seconds()), 2);
  if (auto const microseconds = static_cast<int>(toEpoch(time).microseconds)) appendDigits(text, u'.', microseconds, 6);
  return text + u'Z';
}

boost::posix_time::ptime getCurrentTime() { return boost::posix_time::microsec_clock::universal_time(); }

}  // namespace opc
